// Text helpers shared by the module, the host modules and the tools: views of counted strings
// and host strings, exact comparison, and UTF-8 conversion. Header-only, standard library only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/Collections.h"

namespace kelo_text {

// The characters of a counted string; empty for a negative length or a null text.
inline std::wstring_view ViewOf(tagREFString text) {
  if (text.length <= 0 || text.text == nullptr) return {};
  return {text.text, static_cast<std::size_t>(text.length)};
}

// A counted string is usable as an argument: a non-negative length, and text unless empty.
inline bool ValidView(tagREFString text) {
  return text.length >= 0 && (text.length == 0 || text.text != nullptr);
}

// Two counted strings hold the same characters. An empty (or negative-length) name matches
// nothing, not even another empty one: names are compared, and an empty name names nothing.
inline bool SameName(tagREFString a, tagREFString b) {
  if (a.length <= 0 || a.length != b.length || a.text == nullptr || b.text == nullptr) return false;
  return ViewOf(a) == ViewOf(b);
}

// The current text of a host string (borrowed: valid until the string changes); empty for null.
inline std::wstring_view TextOf(IString* string) {
  if (string == nullptr) return {};
  const wchar_t* text = nullptr;
  int length = 0;
  if (Failed(string->GetBuffer(&text, &length)) || text == nullptr || length <= 0) return {};
  return {text, static_cast<std::size_t>(length)};
}

// UTF-8 to wide characters. A byte that starts no valid sequence (malformed, truncated, overlong,
// a surrogate or past U+10FFFF) becomes U+FFFD and decoding goes on at the next byte.
inline std::wstring WideFromUtf8(std::string_view bytes) {
  static constexpr std::uint32_t kMinimum[5] = {0, 0, 0x80, 0x800, 0x10000};
  std::wstring out;
  out.reserve(bytes.size());
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const int length = lead < 0x80             ? 1
                       : (lead & 0xE0) == 0xC0 ? 2
                       : (lead & 0xF0) == 0xE0 ? 3
                       : (lead & 0xF8) == 0xF0 ? 4
                                               : 0;
    std::uint32_t value = length == 1 ? lead : lead & (0x7Fu >> length);
    bool valid = length > 0 && i + static_cast<std::size_t>(length) <= bytes.size();
    for (int k = 1; valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + static_cast<std::size_t>(k)]);
      valid = (next & 0xC0) == 0x80;
      value = (value << 6) | (next & 0x3Fu);
    }
    if (valid && length > 1 &&
        (value < kMinimum[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)))
      valid = false;
    out.push_back(valid ? static_cast<wchar_t>(value) : static_cast<wchar_t>(0xFFFD));
    i += valid ? static_cast<std::size_t>(length) : 1;
  }
  return out;
}

// Wide characters to UTF-8; a value that is no Unicode scalar becomes U+FFFD.
inline std::string Utf8FromWide(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t c : text) {
    auto value = static_cast<std::uint32_t>(c);
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) value = 0xFFFD;
    if (value < 0x80) {
      out.push_back(static_cast<char>(value));
    } else if (value < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (value >> 6)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    } else if (value < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (value >> 12)));
      out.push_back(static_cast<char>(0x80 | ((value >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (value >> 18)));
      out.push_back(static_cast<char>(0x80 | ((value >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((value >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    }
  }
  return out;
}

}  // namespace kelo_text
