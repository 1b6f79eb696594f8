// Strings, variants and super collections of "CollectionsEx".
#include <cwchar>
#include <limits>
#include <optional>
#include <tuple>

#include "host/core/SuperCollection.h"
#include "host/core/Variant.h"
#include "tests/host/CoreTestSupport.h"

namespace coretest {
namespace {

int TypeOf(IVariant* variant) {
  int type = -1;
  variant->GetType(&type);
  return type;
}

using Reading = std::tuple<int, std::optional<int>, std::optional<double>>;

// The variant's type and what it reads as an integer and as a double (nothing where that fails).
Reading Read(IVariant* variant) {
  int integer = 0;
  double real = 0;
  const bool isInteger = Succeeded(variant->GetInteger(&integer));
  const bool isDouble = Succeeded(variant->GetDouble(&real));
  return {TypeOf(variant), isInteger ? std::optional(integer) : std::nullopt,
          isDouble ? std::optional(real) : std::nullopt};
}

// Catches: a string edit that reads its own moved buffer, loses the terminator, or changes the
// text on bad arguments; a string answering as a variant.
TEST_F(CoreTest, StringEditingIncludingItsOwnText) {
  auto string = Str(L"");
  const wchar_t* text = nullptr;
  int length = -1;
  ASSERT_EQ(string->GetBuffer(&text, &length), S_OK);
  EXPECT_EQ(std::pair(length, text[0]), std::pair(0, L'\0'));
  ASSERT_EQ(string->SetText(5, L"hello world"), S_OK);
  ASSERT_EQ(string->Append(3, L"!!!"), S_OK);
  EXPECT_EQ(Text(string.Get()), L"hello!!!");
  // Appending itself again and again moves the buffer many times over.
  for (int i = 0; i < 10; ++i) {
    string->GetBuffer(&text, &length);
    ASSERT_EQ(string->Append(length, text), S_OK);
  }
  string->GetBuffer(&text, &length);
  ASSERT_EQ(length, 8 * 1024);
  for (int i = 0; i < length; i += 8) ASSERT_EQ(std::wstring(text + i, 8), L"hello!!!") << i;
  EXPECT_EQ(text[length], L'\0');
  // A piece of itself as the new text.
  ASSERT_EQ(string->SetText(3, text + 2), S_OK);
  EXPECT_EQ(Text(string.Get()), L"llo");
  string->GetBuffer(&text, &length);
  ASSERT_EQ(string->Append(2, text + 1), S_OK);
  EXPECT_EQ(Text(string.Get()), L"llolo");
  // Bad arguments change nothing.
  EXPECT_EQ(string->SetText(-1, L"x"), E_INVALIDARG);
  EXPECT_EQ(string->Append(2, nullptr), E_INVALIDARG);
  string->GetBuffer(&text, &length);
  EXPECT_EQ(string->Append(length + 5, text + 1), E_INVALIDARG);  // runs past its own end
  EXPECT_EQ(Text(string.Get()), L"llolo");
  EXPECT_EQ(string->SetText(0, nullptr), S_OK);
  EXPECT_EQ(Text(string.Get()), L"");
  EXPECT_EQ(string->GetBuffer(nullptr, &length), E_INVALIDARG);
  // It answers both string identities.
  EXPECT_TRUE(string.As<ICreatableString>());
  EXPECT_FALSE(string.As<IVariant>());
}

// Catches: a wrong type code, doubles rounded instead of truncated, out-of-range or NaN doubles
// or non-numeric strings read as integers.
TEST_F(CoreTest, VariantTypeCodesAndConversions) {
  auto variant = Make<IVariant>(L"Variant");
  constexpr auto none = std::nullopt;
  EXPECT_EQ(Read(variant.Get()), Reading(kVariantEmptyOrObject, none, none));
  variant->SetInteger(-7);
  EXPECT_EQ(Read(variant.Get()), Reading(kVariantInteger, -7, -7.0));
  // Doubles truncate toward zero; what no integer holds fails.
  for (auto [value, integer] :
       {std::pair{-2.75, std::optional(-2)}, {3.999, 3}, {-0.5, 0}, {1e12, none}, {-1e12, none}}) {
    variant->SetDouble(value);
    EXPECT_EQ(Read(variant.Get()), Reading(kVariantDouble, integer, value));
  }
  variant->SetDouble(std::numeric_limits<double>::quiet_NaN());
  int integer = 0;
  EXPECT_EQ(variant->GetInteger(&integer), E_FAIL);
  // Numeric strings convert; others do not.
  auto number = Str(L"");
  variant->SetString(number.Get());
  for (auto [text, integer, real] : {std::tuple{L" 12.5", std::optional(12), std::optional(12.5)},
                                     {L"-3e2", -300, -300.0},
                                     {L"12x", none, none},
                                     {L"", none, none}}) {
    number->SetText(static_cast<int>(std::wcslen(text)), text);
    EXPECT_EQ(Read(variant.Get()), Reading(kVariantString, integer, real)) << text;
  }
}

// Catches: a held string copied, numbers written as strings wrongly, an object variant with a
// type, a string or a number, null not clearing.
TEST_F(CoreTest, VariantStringsAndObjects) {
  auto variant = Make<IVariant>(L"Variant");
  const auto isString = [&] {
    int answer = -1;
    variant->IsString(&answer);
    return answer;
  };
  auto text = Str(L"abc");
  variant->SetString(text.Get());
  EXPECT_EQ(isString(), 1);
  ComPtr<IString> held;
  ASSERT_EQ(variant->GetString(held.Put()), S_OK);
  EXPECT_EQ(held.Get(), text.Get());  // the same string object, not a copy
  ComPtr<IUnknown> object;
  EXPECT_EQ(variant->GetObject(object.Put()), S_FALSE);
  EXPECT_FALSE(object);
  variant->SetInteger(42);
  EXPECT_EQ(isString(), 0);
  ASSERT_EQ(variant->GetString(held.Put()), S_OK);
  EXPECT_EQ(Text(held.Get()), L"42");
  variant->SetDouble(0.5);
  ASSERT_EQ(variant->GetString(held.Put()), S_OK);
  EXPECT_EQ(Text(held.Get()), L"0.5");
  // An object: type 0, no string, no number.
  auto other = Make<IVariant>(L"Variant");
  variant->SetObject(other.Get());
  EXPECT_EQ(TypeOf(variant.Get()), kVariantEmptyOrObject);
  ASSERT_EQ(variant->GetObject(object.Put()), S_OK);
  EXPECT_EQ(object.Get(), other.As<IUnknown>().Get());
  EXPECT_EQ(variant->GetString(held.Put()), S_FALSE);
  EXPECT_FALSE(held);
  int integer = 0;
  EXPECT_EQ(variant->GetInteger(&integer), E_FAIL);
  // Null clears.
  variant->SetObject(nullptr);
  EXPECT_EQ(variant->GetObject(object.Put()), S_FALSE);
  EXPECT_EQ(variant->GetType(nullptr), E_INVALIDARG);
}

// Catches: entries lost, misnamed (variants as names), found by case-folded or empty names,
// values, extras or options misplaced, indexes past either end answered, removals miscounted.
TEST_F(CoreTest, SuperCollectionEntries) {
  auto collection = Make<ISuperCollection>(L"SuperCollection");
  EXPECT_TRUE(collection.As<INamedCollection>());
  auto value = Make<IVariant>(L"Variant");
  value->SetInteger(1);
  auto extra = Str(L"extra");
  ASSERT_EQ(collection->Add(Str(L"one").Get(), value.Get(), extra.Get(), 11), S_OK);
  ASSERT_EQ(collection->Add(Str(L"two").Get(), Str(L"2").Get(), nullptr, 22), S_OK);
  ASSERT_EQ(collection->Add(nullptr, nullptr, nullptr, 0), S_OK);
  // A variant holding a string serves as a name too.
  auto variantName = Make<IVariant>(L"Variant");
  variantName->SetString(Str(L"four").Get());
  ASSERT_EQ(collection->Add(variantName.Get(), nullptr, nullptr, 44), S_OK);
  int count = 0;
  collection->GetCount(&count);
  EXPECT_EQ(count, 4);
  const auto find = [&](std::wstring_view name) {
    int index = -1;
    return Succeeded(collection->Find(Str(name).Get(), &index)) ? index : -2;
  };
  EXPECT_EQ(find(L"two"), 1);
  EXPECT_EQ(find(L"four"), 3);
  EXPECT_EQ(find(L"TWO"), -2);
  EXPECT_EQ(find(L""), -2);
  ComPtr<IString> name;
  ASSERT_EQ(collection->GetName(0, name.Put()), S_OK);
  EXPECT_EQ(Text(name.Get()), L"one");
  EXPECT_EQ(collection->GetName(2, name.Put()), S_FALSE);
  EXPECT_FALSE(name);
  ComPtr<IUnknown> got;
  ASSERT_EQ(collection->GetValue(0, got.Put()), S_OK);
  EXPECT_EQ(got.Get(), value.As<IUnknown>().Get());
  ASSERT_EQ(collection->GetExtra(0, got.Put()), S_OK);
  EXPECT_EQ(got.Get(), extra.As<IUnknown>().Get());
  EXPECT_EQ(collection->GetExtra(1, got.Put()), S_FALSE);
  int option = 0;
  collection->GetOption(1, &option);
  EXPECT_EQ(option, 22);
  EXPECT_EQ(collection->GetOption(4, &option), E_INVALIDARG);
  EXPECT_EQ(collection->GetValue(-1, got.Put()), E_INVALIDARG);
  ASSERT_EQ(collection->Remove(0), S_OK);
  EXPECT_EQ(collection->Remove(3), E_INVALIDARG);
  EXPECT_EQ(find(L"two"), 0);
  ASSERT_EQ(collection->RemoveAll(), S_OK);
  collection->GetCount(&count);
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace coretest
