#include "host/storage/TextTable.h"

#include <map>
#include <mutex>

#include "host/common/ModuleFolder.h"
#include "host/core/Text.h"
#include "host/storage/AtomicFile.h"

namespace host::storage {

namespace {

std::wstring Unescape(std::wstring_view text) {
  std::wstring out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\\' && i + 1 < text.size()) {
      const wchar_t next = text[i + 1];
      if (next == L'n' || next == L't' || next == L'\\') {
        out.push_back(next == L'n' ? L'\n' : next == L't' ? L'\t' : L'\\');
        ++i;
        continue;
      }
    }
    out.push_back(text[i]);
  }
  return out;
}

}  // namespace

std::shared_ptr<const TextTable> TextTable::Parse(std::string_view bytes) {
  auto table = std::make_shared<TextTable>();
  ForEachLine(TextFileContent(bytes), [&table](std::wstring_view raw) {
    const std::wstring_view line = Trim(raw);
    if (line.empty() || line.front() == L'#') return;
    const std::size_t equals = line.find(L'=');
    if (equals == std::wstring_view::npos) return;
    std::wstring key(Trim(line.substr(0, equals)));
    if (key.empty() || table->byKey_.count(key) != 0) return;
    table->byKey_.emplace(key, static_cast<int>(table->entries_.size()));
    table->entries_.emplace_back(std::move(key), Unescape(Trim(line.substr(equals + 1))));
  });
  return table;
}

std::shared_ptr<const TextTable> TextTable::Load(std::wstring_view name) {
  if (!PlainFileName(name)) return nullptr;
  static std::mutex mutex;
  static std::map<std::wstring, std::shared_ptr<const TextTable>, std::less<>> loaded;
  std::lock_guard lock(mutex);
  if (const auto found = loaded.find(name); found != loaded.end()) return found->second;
  std::string bytes;
  if (Failed(
          ReadWholeFile(ModuleFolder() + "/" + Utf8FromWide(name) + ".strings", &bytes, 1u << 24)))
    return nullptr;  // not kept: a table that appears later is found then
  std::shared_ptr<const TextTable> table = Parse(bytes);
  loaded.emplace(std::wstring(name), table);
  return table;
}

int TextTable::Find(std::wstring_view key) const {
  const auto found = byKey_.find(key);
  return found == byKey_.end() ? -1 : found->second;
}

}  // namespace host::storage
