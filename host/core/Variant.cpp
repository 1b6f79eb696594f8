#include "host/core/Variant.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "host/core/CreatableString.h"
#include "host/core/Text.h"

namespace host::core {

namespace {

// The number a whole text spells (surrounding blanks allowed), in decimal or scientific form.
bool ParseNumber(std::wstring_view text, double* number) {
  while (!text.empty() && (text.front() == L' ' || text.front() == L'\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == L' ' || text.back() == L'\t')) text.remove_suffix(1);
  if (text.empty() || text.size() > 64) return false;
  char narrow[64];
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] < 0 || text[i] > 127) return false;
    narrow[i] = static_cast<char>(text[i]);
  }
  const char* begin = narrow;
  if (*begin == '+') ++begin;  // from_chars takes no plus sign
  const char* end = narrow + text.size();
  const auto [stop, error] = std::from_chars(begin, end, *number);
  return error == std::errc() && stop == end && std::isfinite(*number);
}

// Truncation toward zero; fails for values no 32-bit integer holds.
bool Truncate(double value, int* out) {
  const double whole = std::trunc(value);
  if (!(whole >= std::numeric_limits<int>::min() && whole <= std::numeric_limits<int>::max()))
    return false;
  *out = static_cast<int>(whole);
  return true;
}

// The text of a number in `buffer` (decimal, or for a double the shortest form that reads back
// as the same value); empty when it does not fit. Works in place: a string is made only once.
template <class Number>
std::wstring_view NumberText(Number value, wchar_t (&buffer)[64]) {
  char narrow[64];
  const auto [stop, error] = std::to_chars(narrow, narrow + sizeof narrow, value);
  if (error != std::errc()) return {};
  std::copy(narrow, stop, buffer);
  return {buffer, static_cast<std::size_t>(stop - narrow)};
}

}  // namespace

HRESULT Variant::GetType(int* type) {
  if (type == nullptr) return E_INVALIDARG;
  switch (value_.index()) {
    case 1:
      *type = kVariantInteger;
      break;
    case 2:
      *type = kVariantDouble;
      break;
    case 3:
      *type = kVariantString;
      break;
    default:
      *type = kVariantEmptyOrObject;
      break;
  }
  return S_OK;
}

HRESULT Variant::GetDouble(double* value) {
  if (value == nullptr) return E_INVALIDARG;
  *value = 0.0;
  if (const int* integer = std::get_if<int>(&value_)) {
    *value = *integer;
    return S_OK;
  }
  if (const double* number = std::get_if<double>(&value_)) {
    *value = *number;
    return S_OK;
  }
  if (const auto* string = std::get_if<ComPtr<IString>>(&value_)) {
    double parsed = 0.0;
    if (!ParseNumber(TextOf(string->Get()), &parsed)) return E_FAIL;
    *value = parsed;
    return S_OK;
  }
  return E_FAIL;
}

HRESULT Variant::GetInteger(int* value) {
  if (value == nullptr) return E_INVALIDARG;
  *value = 0;
  if (const int* integer = std::get_if<int>(&value_)) {
    *value = *integer;
    return S_OK;
  }
  double number = 0.0;
  if (Failed(GetDouble(&number))) return E_FAIL;
  return Truncate(number, value) ? S_OK : E_FAIL;
}

HRESULT Variant::SetInteger(int value) {
  value_ = value;
  return S_OK;
}

HRESULT Variant::SetDouble(double value) {
  value_ = value;
  return S_OK;
}

template <class I>
void Variant::Hold(I* object) {
  if (object == nullptr) {
    value_ = Empty{};
  } else {
    value_ = ComPtr<I>::Share(object);
  }
}

template <class I>
bool Variant::HandOut(I** out) const {
  const auto* held = std::get_if<ComPtr<I>>(&value_);
  *out = held != nullptr ? ComPtr<I>(*held).Detach() : nullptr;
  return held != nullptr;
}

HRESULT Variant::SetObject(IUnknown* object) {
  Hold(object);
  return S_OK;
}

HRESULT Variant::GetObject(IUnknown** object) {
  if (object == nullptr) return E_INVALIDARG;
  return HandOut(object) ? S_OK : S_FALSE;
}

HRESULT Variant::SetString(IString* text) {
  Hold(text);
  return S_OK;
}

HRESULT Variant::IsString(int* isString) {
  if (isString == nullptr) return E_INVALIDARG;
  *isString = std::holds_alternative<ComPtr<IString>>(value_) ? 1 : 0;
  return S_OK;
}

HRESULT Variant::GetString(IString** text) {
  if (text == nullptr) return E_INVALIDARG;
  if (HandOut(text)) return S_OK;  // the held string itself
  wchar_t buffer[64];
  std::wstring_view number;
  if (const int* integer = std::get_if<int>(&value_)) {
    number = NumberText(*integer, buffer);
  } else if (const double* real = std::get_if<double>(&value_)) {
    number = NumberText(*real, buffer);
  } else {
    return S_FALSE;  // nothing or an object: no text
  }
  *text = CreatableString::Make(number);
  return *text != nullptr ? S_OK : E_FAIL;
}

}  // namespace host::core
