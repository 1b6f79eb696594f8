// Value conversion: texts parsed into numbers and colours, and host strings and variants made
// from values through the real "CollectionsEx" host.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <utility>

#include "effects/Dither.h"
#include "sdk/ComPtr.h"
#include "support/Convert.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

CREFString View(const std::wstring& text) {
  return CREFString(text.data(), static_cast<int>(text.size()));
}

// The text of a new string (its reference is released); "<null>" for no string.
std::wstring Take(IString* string) {
  return string == nullptr ? L"<null>" : testhost::Text(ComPtr<IString>::Adopt(string).Get());
}

// Catches: letters read below radix 11, digits checked against the radix, signs or '#' misread,
// no 32-bit wrap, colours not stored as 0x00BBGGRR.
TEST(Convert, IntegersSignsRadixesAndWrapping) {
  // Letters need a radix of 11 to 16, digits are not checked against the radix ("19" in octal)
  // and the 32-bit arithmetic wraps.
  const std::tuple<const wchar_t*, int, int> cases[] = {
      {L"#ff", 10, 255}, {L"-12x", 10, -12}, {L"+42", 10, 42}, {L"#", 10, 0},
      {L" 5", 10, 0},    {L"", 10, 0},       {L"1A", 10, 1},   {L"1a", 16, 26},
      {L"F", 12, 15},    {L"1F", 17, 1},     {L"19", 8, 17},   {L"4294967297", 10, 1}};
  for (const auto& [text, radix, value] : cases)
    EXPECT_EQ(_IS2Integer(View(text), radix), value) << text;
  EXPECT_EQ(_IS2Integer(View(L"-2147483648"), 10), INT32_MIN);
  EXPECT_EQ(_IS2Color(View(L"#12345678"), 10), 0x785634);
  EXPECT_EQ(_IS2Color(View(L"#00ff80"), 10), 0x80FF00);
}

// Catches: an exponent read without a non-zero fraction or a sign, hexadecimal not a signed
// 32-bit value, the fraction's digit limit off by one, the sign of zero lost.
TEST(Convert, DoublesFractionsAndExponentRules) {
  // The exponent needs a non-zero fraction and an explicit sign; hexadecimal is a signed 32-bit
  // value.
  const std::pair<const wchar_t*, double> cases[] = {
      {L"-0.5", -0.5}, {L"+2", 2.0},          {L"2.5e-1", 0.25}, {L"1.5E+2", 150.0},
      {L"1E+2", 1.0},  {L"1.0E+2", 1.0},      {L"1.5E2", 1.5},   {L"1.5e", 1.5},
      {L"7.", 7.0},    {L"1.25e-2x", 0.0125}, {L"1.2.3", 1.2},   {L".5", 0.5},
      {L"#10", 16.0},  {L"#FFFFFFFF", -1.0},  {L"#", 0.0},       {L"", 0.0},
      {L"abc", 0.0}};
  for (const auto& [text, value] : cases) EXPECT_EQ(_IS2Double(View(text)), value) << text;
  // The fraction stops once its scale passes 10^18 - 1, that last digit included.
  EXPECT_EQ(_IS2Double(View(L"0.1234567890123456789999")), 123456789012345678LL / 1e18);
  const double negativeZero = _IS2Double(View(L"-"));
  EXPECT_EQ(negativeZero, 0.0);
  EXPECT_TRUE(std::signbit(negativeZero));
}

// Catches: a count other than the characters written, an overflow not reported or not emptied.
TEST(Convert, FormattingIntoAFixedBuffer) {
  wchar_t buffer[8];
  EXPECT_EQ(_swprintf(buffer, 8, L"%d-%d", 12, 34), 5);
  EXPECT_EQ(std::wstring(buffer), L"12-34");
  EXPECT_EQ(_swprintf(buffer, 8, L"%s", "much too long"), -1);
  EXPECT_EQ(buffer[0], 0);
}

// Catches: numbers written with the wrong decimals or in exponent form, views copied past their
// length, malformed UTF-8 decoded differently.
TEST(Convert, StringsFromValuesAndUtf8) {
  EXPECT_EQ(Take(ISCreate(-17)), L"-17");
  EXPECT_EQ(Take(ISCreate(L"wide")), L"wide");
  EXPECT_EQ(Take(ISCreate(static_cast<const wchar_t*>(nullptr))), L"");
  EXPECT_EQ(Take(ISCreate(tagREFString(CREFString(L"viewed text", 6)))), L"viewed");
  const std::tuple<double, short, const wchar_t*> numbers[] = {
      {0.5, -1, L"0.5"},         {2.0, -1, L"2"},
      {-12.125, -1, L"-12.125"}, {1.0 / 3, -1, L"0.333333333"},
      {3.14159, 2, L"3.14"},     {2.5, 0, L"2"}};
  for (const auto& [value, decimals, text] : numbers)
    EXPECT_EQ(Take(ISCreate(value, decimals)), text) << value;
  EXPECT_EQ(Take(ISCreate(1e300, -1)).size(), 301u) << "large values are written in full";

  const char bytes[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80";
  EXPECT_EQ(Take(ISCreate(bytes, static_cast<int>(sizeof bytes - 1))),
            std::wstring(L"a\x00E9\x20AC\x1F600") + wchar_t{0});
  EXPECT_EQ(Take(ISCreate("\xC3", 1)), std::wstring(1, wchar_t{3})) << "lead byte at the end";
  EXPECT_EQ(Take(ISCreate("xyz", 0)), L"");
}

ComPtr<IVariant> StringVariant(const wchar_t* text) {
  auto variant = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  auto string = ComPtr<IString>::Adopt(ISCreate(text));
  variant->SetString(string.Get());
  return variant;
}

// Catches: a presentation code giving the wrong colour, binary or decimal form; a null variant
// not refused.
TEST(Convert, VariantsNumbersColoursAndBinary) {
  const auto colour = ComPtr<IVariant>::Adopt(IVCreate(0x00FF8000));
  const auto wide = ComPtr<IVariant>::Adopt(IVCreate(static_cast<int>(0xAB000012u)));
  const auto small = ComPtr<IVariant>::Adopt(IVCreate(0x12));
  const std::tuple<IVariant*, short, const wchar_t*> cases[] = {
      {colour.Get(), -16, L"#FF8000"},   {colour.Get(), -22, L"10000000"},
      {colour.Get(), -24, L"00000000"},  {colour.Get(), -23, L"11111111"},
      {colour.Get(), -2, L"00000000"},   {colour.Get(), -1, L"16744448"},
      {colour.Get(), 2, L"16744448.00"}, {small.Get(), -16, L"#000012"},
      {wide.Get(), -16, L"#AB000012"},   {wide.Get(), -42, L"10101011"}};
  for (const auto& [variant, presentation, text] : cases)
    EXPECT_EQ(Take(ISCreate(variant, presentation)), text) << presentation;

  const auto real = ComPtr<IVariant>::Adopt(IVCreate(12.5));
  EXPECT_EQ(Take(ISCreate(real.Get())), L"12.5");
  EXPECT_EQ(Take(ISCreate(real.Get(), 0)), L"12");
  EXPECT_EQ(Take(ISCreate(ComPtr<IVariant>::Adopt(IVCreate(7.0)).Get())), L"7");
  EXPECT_EQ(Take(ISCreate(ComPtr<IVariant>::Adopt(IVCreate(-42)).Get())), L"-42");
  EXPECT_EQ(ISCreate(static_cast<IVariant*>(nullptr)), nullptr);
  EXPECT_EQ(ISCreate(static_cast<IVariant*>(nullptr), -16), nullptr);
}

// Catches: texts copied instead of handed back, numeric texts not shown as numbers, an object's
// name not shown.
TEST(Convert, VariantsHoldingStringsAndObjects) {
  // Texts that are not numbers, and integers of ten characters, come back as the same object.
  for (const wchar_t* text : {L"abc", L"1234567890", L"1-2", L"1.2.3"}) {
    auto variant = StringVariant(text);
    ComPtr<IString> held;
    variant->GetString(held.Put());
    EXPECT_EQ(ComPtr<IString>::Adopt(ISCreate(variant.Get(), -1)).Get(), held.Get()) << text;
  }
  // Numeric texts are shown as numbers: with a point as a double, else as an integer.
  const std::tuple<const wchar_t*, short, const wchar_t*> numeric[] = {
      {L"12.50", -1, L"12.5"},
      {L"007", -1, L"7"},
      {L"-00000007", -1, L"-7"},
      {L"0000000007", -1, L"0000000007"},
      {L"42", 1, L"42.0"}};
  for (const auto& [text, presentation, shown] : numeric)
    EXPECT_EQ(Take(ISCreate(StringVariant(text).Get(), presentation)), shown) << text;
  // Without a presentation the string itself is the text.
  EXPECT_EQ(Take(ISCreate(StringVariant(L"12.50").Get())), L"12.50");

  // An object variant shows its object's name; an object without one, or none, shows nothing.
  auto variant = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  EXPECT_EQ(Take(ISCreate(variant.Get())), L"");
  variant->SetObject(moduletest::New<CDither>().Get());
  EXPECT_EQ(Take(ISCreate(variant.Get())), L"DitherTransition");
  auto string = ComPtr<IString>::Adopt(ISCreate(L"x"));
  variant->SetObject(string.Get());
  EXPECT_EQ(Take(ISCreate(variant.Get())), L"");
}

}  // namespace
