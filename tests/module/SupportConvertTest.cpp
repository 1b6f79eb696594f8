// Value conversion: texts parsed into numbers and colours, and host strings and variants made
// from values through the real "CollectionsEx" host.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "effects/Dither.h"
#include "sdk/ComPtr.h"
#include "support/Convert.h"

namespace {

CREFString View(const std::wstring& text) {
  return CREFString(text.data(), static_cast<int>(text.size()));
}

// The text of a new string (its reference is released); "<null>" for no string.
std::wstring Take(IString* string) {
  if (string == nullptr) return L"<null>";
  const CREFString view(string);
  std::wstring text(view.text, static_cast<std::size_t>(view.length));
  string->Release();
  return text;
}

TEST(Convert, IntegersSignsRadixesAndWrapping) {
  EXPECT_EQ(_IS2Integer(View(L"#ff"), 10), 255);
  EXPECT_EQ(_IS2Integer(View(L"-12x"), 10), -12);
  EXPECT_EQ(_IS2Integer(View(L"+"), 10), 0);
  EXPECT_EQ(_IS2Integer(View(L"#"), 10), 0);
  EXPECT_EQ(_IS2Integer(View(L" 5"), 10), 0);
  EXPECT_EQ(_IS2Integer(View(L""), 10), 0);
  EXPECT_EQ(_IS2Integer(View(L"+42"), 10), 42);
  EXPECT_EQ(_IS2Integer(View(L"1A"), 10), 1) << "letters need a radix of 11 to 16";
  EXPECT_EQ(_IS2Integer(View(L"1a"), 16), 26);
  EXPECT_EQ(_IS2Integer(View(L"19"), 8), 17) << "digits are not checked against the radix";
  EXPECT_EQ(_IS2Integer(View(L"F"), 12), 15);
  EXPECT_EQ(_IS2Integer(View(L"1F"), 17), 1);
  EXPECT_EQ(_IS2Integer(View(L"4294967297"), 10), 1) << "32-bit arithmetic wraps";
  EXPECT_EQ(_IS2Integer(View(L"-2147483648"), 10), INT32_MIN);

  EXPECT_EQ(_IS2Color(View(L"#FF0000"), 10), 0x0000FF);
  EXPECT_EQ(_IS2Color(View(L"#12345678"), 10), 0x785634);
  EXPECT_EQ(_IS2Color(View(L"#00ff80"), 10), 0x80FF00);
}

TEST(Convert, DoublesFractionsAndExponentRules) {
  EXPECT_EQ(_IS2Double(View(L"3.25")), 3.25);
  EXPECT_EQ(_IS2Double(View(L"-0.5")), -0.5);
  EXPECT_EQ(_IS2Double(View(L"+2")), 2.0);
  EXPECT_EQ(_IS2Double(View(L"2.5e-1")), 0.25);
  EXPECT_EQ(_IS2Double(View(L"1.5E+2")), 150.0);
  // The exponent needs a non-zero fraction and an explicit sign.
  EXPECT_EQ(_IS2Double(View(L"1E+2")), 1.0);
  EXPECT_EQ(_IS2Double(View(L"1.0E+2")), 1.0);
  EXPECT_EQ(_IS2Double(View(L"1.5E2")), 1.5);
  EXPECT_EQ(_IS2Double(View(L"1.5e")), 1.5);
  EXPECT_EQ(_IS2Double(View(L"1.25e-2x")), 0.0125);
  EXPECT_EQ(_IS2Double(View(L"7.")), 7.0);
  EXPECT_EQ(_IS2Double(View(L"1.2.3")), 1.2);
  EXPECT_EQ(_IS2Double(View(L".5")), 0.5);
  EXPECT_EQ(_IS2Double(View(L"#10")), 16.0);
  EXPECT_EQ(_IS2Double(View(L"#FFFFFFFF")), -1.0) << "hexadecimal is a signed 32-bit value";
  EXPECT_EQ(_IS2Double(View(L"#")), 0.0);
  EXPECT_EQ(_IS2Double(View(L"")), 0.0);
  EXPECT_EQ(_IS2Double(View(L"abc")), 0.0);
  const double negativeZero = _IS2Double(View(L"-"));
  EXPECT_EQ(negativeZero, 0.0);
  EXPECT_TRUE(std::signbit(negativeZero));
  // The fraction stops once its scale passes 10^18 - 1, that last digit included.
  EXPECT_EQ(_IS2Double(View(L"0.1234567890123456789999")),
            static_cast<double>(123456789012345678LL) / 1e18);
}

TEST(Convert, FormattingIntoAFixedBuffer) {
  wchar_t buffer[8];
  EXPECT_EQ(_swprintf(buffer, 8, L"%d-%d", 12, 34), 5);
  EXPECT_EQ(std::wstring(buffer), L"12-34");
  EXPECT_EQ(_swprintf(buffer, 8, L"%s", "much too long"), -1);
  EXPECT_EQ(buffer[0], 0);
}

TEST(Convert, StringsFromValues) {
  EXPECT_EQ(Take(ISCreate(-17)), L"-17");
  EXPECT_EQ(Take(ISCreate(L"wide")), L"wide");
  EXPECT_EQ(Take(ISCreate(static_cast<const wchar_t*>(nullptr))), L"");
  const tagREFString view = CREFString(L"viewed text", 6);
  EXPECT_EQ(Take(ISCreate(view)), L"viewed");

  EXPECT_EQ(Take(ISCreate(0.5, -1)), L"0.5");
  EXPECT_EQ(Take(ISCreate(2.0, -1)), L"2");
  EXPECT_EQ(Take(ISCreate(-12.125, -1)), L"-12.125");
  EXPECT_EQ(Take(ISCreate(1.0 / 3.0, -1)), L"0.333333333");
  EXPECT_EQ(Take(ISCreate(3.14159, 2)), L"3.14");
  EXPECT_EQ(Take(ISCreate(2.5, 0)), L"2");
  EXPECT_EQ(Take(ISCreate(1e300, -1)).size(), 301u) << "large values are written in full";
}

TEST(Convert, Utf8DecodingByHand) {
  const char bytes[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80";
  EXPECT_EQ(Take(ISCreate(bytes, static_cast<int>(sizeof bytes - 1))),
            std::wstring(L"a\x00E9\x20AC\x1F600") + wchar_t{0});
  EXPECT_EQ(Take(ISCreate("\xC3", 1)), std::wstring(1, wchar_t{3})) << "lead byte at the end";
  EXPECT_EQ(Take(ISCreate("\xC3\xA9", 2)), L"\x00E9");
  EXPECT_EQ(Take(ISCreate("xyz", 0)), L"");
}

ComPtr<IVariant> StringVariant(const wchar_t* text) {
  auto variant = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  auto string = ComPtr<IString>::Adopt(ISCreate(text));
  variant->SetString(string.Get());
  return variant;
}

TEST(Convert, VariantsNumbersColoursAndBinary) {
  auto colour = ComPtr<IVariant>::Adopt(IVCreate(0x00FF8000));
  EXPECT_EQ(Take(ISCreate(colour.Get(), -16)), L"#FF8000");
  EXPECT_EQ(Take(ISCreate(colour.Get(), -22)), L"10000000");
  EXPECT_EQ(Take(ISCreate(colour.Get(), -24)), L"00000000");
  EXPECT_EQ(Take(ISCreate(colour.Get(), -23)), L"11111111");
  EXPECT_EQ(Take(ISCreate(colour.Get(), -2)), L"00000000");
  EXPECT_EQ(Take(ISCreate(colour.Get(), -1)), L"16744448");
  EXPECT_EQ(Take(ISCreate(colour.Get(), 2)), L"16744448.00");
  auto small = ComPtr<IVariant>::Adopt(IVCreate(0x12));
  EXPECT_EQ(Take(ISCreate(small.Get(), -16)), L"#000012");
  auto wide = ComPtr<IVariant>::Adopt(IVCreate(static_cast<int>(0xAB000012u)));
  EXPECT_EQ(Take(ISCreate(wide.Get(), -16)), L"#AB000012");
  EXPECT_EQ(Take(ISCreate(wide.Get(), -42)), L"10101011");

  auto real = ComPtr<IVariant>::Adopt(IVCreate(12.5));
  EXPECT_EQ(Take(ISCreate(real.Get())), L"12.5");
  EXPECT_EQ(Take(ISCreate(real.Get(), 0)), L"12");
  auto whole = ComPtr<IVariant>::Adopt(IVCreate(7.0));
  EXPECT_EQ(Take(ISCreate(whole.Get())), L"7");
  auto integer = ComPtr<IVariant>::Adopt(IVCreate(-42));
  EXPECT_EQ(Take(ISCreate(integer.Get())), L"-42");
  EXPECT_EQ(ISCreate(static_cast<IVariant*>(nullptr)), nullptr);
  EXPECT_EQ(ISCreate(static_cast<IVariant*>(nullptr), -16), nullptr);
}

TEST(Convert, VariantsHoldingStringsAndObjects) {
  // Texts that are not numbers, and integers of ten characters, come back as the same object.
  for (const wchar_t* text : {L"abc", L"1234567890", L"1-2", L"1.2.3"}) {
    auto variant = StringVariant(text);
    ComPtr<IString> held;
    variant->GetString(held.Put());
    IString* shown = ISCreate(variant.Get(), -1);
    EXPECT_EQ(shown, held.Get()) << testing::PrintToString(std::wstring(text));
    if (shown != nullptr) shown->Release();
  }
  // Numeric texts are shown as numbers: with a point as a double, else as an integer.
  EXPECT_EQ(Take(ISCreate(StringVariant(L"12.50").Get(), -1)), L"12.5");
  EXPECT_EQ(Take(ISCreate(StringVariant(L"007").Get(), -1)), L"7");
  EXPECT_EQ(Take(ISCreate(StringVariant(L"-00000007").Get(), -1)), L"-7");
  EXPECT_EQ(Take(ISCreate(StringVariant(L"0000000007").Get(), -1)), L"0000000007");
  EXPECT_EQ(Take(ISCreate(StringVariant(L"42").Get(), 1)), L"42.0");
  // Without a presentation the string itself is the text.
  EXPECT_EQ(Take(ISCreate(StringVariant(L"12.50").Get())), L"12.50");

  // An object variant shows its object's name; an object without one shows nothing.
  auto named = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  IID iid = IID_IUnknown;
  ComPtr<IUnknown> effect;
  ASSERT_EQ(CObject<CDither>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  named->SetObject(effect.Get());
  EXPECT_EQ(Take(ISCreate(named.Get())), L"DitherTransition");
  auto anonymous = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  auto string = ComPtr<IString>::Adopt(ISCreate(L"x"));
  anonymous->SetObject(string.Get());
  EXPECT_EQ(Take(ISCreate(anonymous.Get())), L"");
  auto empty = ComPtr<IVariant>::Adopt(CREFString::CreateVariant());
  EXPECT_EQ(Take(ISCreate(empty.Get())), L"");
}

}  // namespace
