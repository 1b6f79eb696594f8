// The mapping of an effect's properties onto frei0r parameters, on property lists made here so
// that every kind is covered (the module's effects have no ranged property yet).
#include <gtest/gtest.h>

#include <cmath>

#include "frei0r/Parameters.h"

namespace {

using namespace kelo;
using namespace kelo::frei0r;

Property Make(int id, int kind, PropertyType type, std::string name = {}) {
  Property property;
  property.id = id;
  property.kind = kind;
  property.type = type;
  property.name = std::move(name);
  return property;
}

Property Choice() {
  Property property = Make(1, kPropInt32, PropertyType::kChoice, "Direction");
  property.choices = {{"Top", 0}, {"Right", 1}, {"", 7}};
  return property;
}

Property Ranged(PropertyType type, int minimum, int maximum) {
  Property property =
      Make(4, type == PropertyType::kInteger ? kPropInt32 : kPropDouble, type, "Amount");
  property.hasRange = true;
  property.minimum = minimum;
  property.maximum = maximum;
  return property;
}

// Catches parameters in the wrong order or of the wrong type, a property that cannot take a
// value offered anyway, and a nameless property named by a bare number (which MLT reads as an
// index).
TEST(Frei0rParameters, OneParameterPerSettablePropertyAfterProgress) {
  Property flag = Make(2, kPropInt32, PropertyType::kBoolean, "Mirror");
  flag.hasRange = true, flag.maximum = 1;
  const Property bands = Make(3, kPropInt32, PropertyType::kInteger, "Bands");
  const Property object = Make(5, kPropObject, PropertyType::kOther, "Thing");
  const Property nameless = Make(9, kPropString, PropertyType::kText);
  const auto parameters =
      ParametersOf({Choice(), flag, bands, object, Ranged(PropertyType::kDouble, -2, 6), nameless});
  ASSERT_EQ(parameters.size(), 6u);
  EXPECT_EQ(parameters[0].name, "progress");
  EXPECT_EQ(parameters[0].type, ParamType::kDouble);
  EXPECT_EQ(parameters[1].type, ParamType::kString);
  EXPECT_EQ(parameters[1].mapping, ParamMapping::kChoice);
  EXPECT_NE(parameters[1].explanation.find("Top, Right, 7"), std::string::npos);
  EXPECT_EQ(parameters[2].type, ParamType::kBool);
  EXPECT_EQ(parameters[3].type, ParamType::kString);  // no range: the number itself, as text
  EXPECT_EQ(parameters[3].mapping, ParamMapping::kText);
  EXPECT_EQ(parameters[4].name, "Amount");
  EXPECT_EQ(parameters[4].type, ParamType::kDouble);
  EXPECT_NE(parameters[4].explanation.find("-2..6"), std::string::npos);
  EXPECT_EQ(parameters[5].name, "property 9");
  EXPECT_EQ(DescribePlugin("PushTransition", parameters).find("Kelo PushTransition"), 0u);
}

// Catches a mapping that is not linear, not clamped, truncates integers, lets NaN through, or
// does not read back to the value that set it.
TEST(Frei0rParameters, RangedValuesMapLinearlyAndReadBack) {
  const Property integer = Ranged(PropertyType::kInteger, 2, 10);
  EXPECT_EQ(std::get<long>(FromUnit(integer, 0)), 2);
  EXPECT_EQ(std::get<long>(FromUnit(integer, 1)), 10);
  EXPECT_EQ(std::get<long>(FromUnit(integer, 0.5)), 6);
  EXPECT_EQ(std::get<long>(FromUnit(integer, 0.49)), 6);  // 5.92 rounds to the nearest
  EXPECT_EQ(std::get<long>(FromUnit(integer, -4)), 2);
  EXPECT_EQ(std::get<long>(FromUnit(integer, 7)), 10);
  EXPECT_EQ(std::get<long>(FromUnit(integer, std::nan(""))), 2);
  for (long value = 2; value <= 10; ++value)
    EXPECT_EQ(std::get<long>(FromUnit(integer, ToUnit(integer, value))), value);
  EXPECT_DOUBLE_EQ(ToUnit(integer, 4L), 0.25);
  EXPECT_DOUBLE_EQ(ToUnit(integer, 40L), 1);  // a value outside the range reads as its end

  const Property real = Ranged(PropertyType::kDouble, -2, 6);
  EXPECT_DOUBLE_EQ(std::get<double>(FromUnit(real, 0.25)), 0);
  EXPECT_DOUBLE_EQ(ToUnit(real, 5.0), 0.875);

  EXPECT_EQ(ClampUnit(-0.1), 0);
  EXPECT_EQ(ClampUnit(1.7), 1);
  EXPECT_EQ(ClampUnit(0.3), 0.3);
  EXPECT_EQ(ClampUnit(std::nan("")), 0);
  EXPECT_EQ(ClampUnit(INFINITY), 1);
}

// Catches a read-back that shows a choice's number instead of its text, or loses digits.
TEST(Frei0rParameters, ReadBackShowsChoicesByTextAndNumbersInFull) {
  EXPECT_EQ(ReadBackText(Choice(), 1L), "Right");
  EXPECT_EQ(ReadBackText(Choice(), 7L), "7");  // a choice without text
  const Property number = Make(1, kPropDouble, PropertyType::kDouble);
  EXPECT_EQ(ReadBackText(number, 2.125), "2.125");
  EXPECT_EQ(ReadBackText(number, std::string("x")), "x");
  EXPECT_EQ(ShortName("ShutterBandsTransition"), "shutterbands");
  EXPECT_EQ(ShortName("RandomTransition"), "random");
  EXPECT_EQ(PluginFileName("PushTransition"), "kelo_push.so");
}

}  // namespace
