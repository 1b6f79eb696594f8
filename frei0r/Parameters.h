// The frei0r parameters of a transition, derived from the properties its interrogation interface
// lists (app/Settings.h), never written per effect: first "progress", then one parameter per
// property that takes a value. Editors only know bool, double (0..1 by convention) and string
// parameters, so each property kind is mapped onto one of them here, and back.
#pragma once

#include <string>
#include <vector>

#include "app/Settings.h"
#include "frei0r/Names.h"

namespace kelo::frei0r {

// frei0r's parameter types (frei0r.h: F0R_PARAM_BOOL, _DOUBLE, _STRING).
enum class ParamType { kBool = 0, kDouble = 1, kString = 4 };

enum class ParamMapping {
  kProgress,  // the transition's progress, clamped to 0..1
  kChoice,    // a list property: a string holding a choice's text or value
  kRanged,    // a ranged integer or number: a double 0..1 mapped linearly onto its range
  kBoolean,   // a Boolean flag: a bool
  kText,      // anything else that takes a value (unranged numbers, colours, texts): a string
};

struct Parameter {
  std::string name;
  ParamType type = ParamType::kDouble;
  ParamMapping mapping = ParamMapping::kProgress;
  std::string explanation;
  Property property;  // the property it drives (not for progress)
};

inline constexpr char kProgressName[] = "progress";

// The parameters of a transition whose properties are `properties`: progress first, then each
// settable property in the effect's order.
std::vector<Parameter> ParametersOf(const std::vector<Property>& properties);

// A double parameter (0..1, clamped; NaN counts as 0) as the property's value: its range's
// minimum at 0, maximum at 1, linear between, integers rounded to the nearest.
PropertyValue FromUnit(const Property& property, double unit);
// The property's value as the double parameter that gives it.
double ToUnit(const Property& property, const PropertyValue& value);
// The value held, as a string parameter reads it back: a choice's text, a number or the text.
std::string ReadBackText(const Property& property, const PropertyValue& value);
// The progress a parameter value means: clamped to 0..1, NaN as 0.
double ClampUnit(double value);

// The plug-in's description: the transition and its settings with their choices or ranges.
std::string DescribePlugin(const std::string& component, const std::vector<Parameter>& parameters);

}  // namespace kelo::frei0r
