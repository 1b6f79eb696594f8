// Text tables: the data behind the "StringTable" component.
//
// A table named N is the UTF-8 file "N.strings" in the module folder, loaded on first use and
// kept. One entry per line, "key = text"; blanks around the key and the text are dropped; lines
// that are empty or start with '#' are comments; in a text, "\n", "\t" and "\\" stand for a
// line break, a tab and a backslash. The first line of a key wins. To translate a table, give
// the file the same keys with translated texts.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/Text.h"

namespace host::storage {

class TextTable {
 public:
  // The entries of a table file's content; lines without '=' are skipped.
  static std::shared_ptr<const TextTable> Parse(std::string_view bytes);
  // The table named `name` from the module folder (cached), or null when there is no such
  // file or the name is no plain file name.
  static std::shared_ptr<const TextTable> Load(std::wstring_view name);

  // The index of `key`, or -1.
  int Find(std::wstring_view key) const;
  int Count() const { return static_cast<int>(entries_.size()); }
  const std::wstring& Key(int index) const {
    return entries_[static_cast<std::size_t>(index)].first;
  }
  const std::wstring& Text(int index) const {
    return entries_[static_cast<std::size_t>(index)].second;
  }

 private:
  std::vector<std::pair<std::wstring, std::wstring>> entries_;
  TextMap<int> byKey_;
};

}  // namespace host::storage
