// Small helpers on wide text shared by the host modules: views of counted strings and host
// strings, and UTF-8 conversion for file names and data files.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Collections.h"

namespace host {

// The characters of a counted string; empty for a negative length or a null text.
inline std::wstring_view ViewOf(tagREFString text) {
  if (text.length <= 0 || text.text == nullptr) return {};
  return {text.text, static_cast<std::size_t>(text.length)};
}

// The current text of a host string (borrowed: valid until the string changes); empty for null.
inline std::wstring_view TextOf(IString* string) {
  if (string == nullptr) return {};
  const wchar_t* text = nullptr;
  int length = 0;
  if (Failed(string->GetBuffer(&text, &length)) || text == nullptr || length <= 0) return {};
  return {text, static_cast<std::size_t>(length)};
}

// The text without leading spaces and tabs and trailing spaces, tabs and carriage returns (as
// the host's text files are read line by line).
inline std::wstring_view Trim(std::wstring_view text) {
  while (!text.empty() && (text.front() == L' ' || text.front() == L'\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == L' ' || text.back() == L'\t' || text.back() == L'\r'))
    text.remove_suffix(1);
  return text;
}

// UTF-8 to wide characters; a malformed byte becomes U+FFFD.
std::wstring WideFromUtf8(std::string_view bytes);
// Wide characters to UTF-8; a value that is no Unicode scalar becomes U+FFFD.
std::string Utf8FromWide(std::wstring_view text);

}  // namespace host
