// The host's text helpers: those of sdk/Text.h (views of counted strings and host strings, exact
// comparison, UTF-8 conversion) in the host's namespace, and the reading of the host's own text
// files line by line. Header-only, so that every host module has them without linking the core.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "sdk/Text.h"

namespace host {

using kelo_text::SameName;
using kelo_text::TextOf;
using kelo_text::Utf8FromWide;
using kelo_text::ValidView;
using kelo_text::ViewOf;
using kelo_text::WideFromUtf8;

// Maps keyed by wide text that are searched with views, so that a look-up allocates nothing.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::wstring_view text) const noexcept {
    return std::hash<std::wstring_view>()(text);
  }
};
template <class Value>
using TextMap = std::unordered_map<std::wstring, Value, TextHash, std::equal_to<>>;

// The text without leading spaces and tabs and trailing spaces, tabs and carriage returns (as
// the host's text files are read line by line).
inline std::wstring_view Trim(std::wstring_view text) {
  while (!text.empty() && (text.front() == L' ' || text.front() == L'\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == L' ' || text.back() == L'\t' || text.back() == L'\r'))
    text.remove_suffix(1);
  return text;
}

// The text of a UTF-8 file that people may have written: a leading byte order mark is dropped.
inline std::wstring TextFileContent(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return WideFromUtf8(bytes);
}

// Calls line(text) for each line of `text` in order, without its '\n' and a '\r' before it. A
// last line without '\n' counts; the end of the text after a final '\n' does not.
template <class F>
void ForEachLine(std::wstring_view text, F&& line) {
  while (!text.empty()) {
    const std::size_t end = text.find(L'\n');
    std::wstring_view current = text.substr(0, end);
    text = end == std::wstring_view::npos ? std::wstring_view() : text.substr(end + 1);
    if (!current.empty() && current.back() == L'\r') current.remove_suffix(1);
    line(current);
  }
}

}  // namespace host
