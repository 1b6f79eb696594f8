#include "host/storage/RegistryStore.h"

#include <cwctype>

#include "host/common/ModuleFolder.h"
#include "host/core/Text.h"
#include "host/storage/AtomicFile.h"

namespace host::storage {

namespace {

bool SameNameIgnoringCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::towlower(static_cast<wint_t>(a[i])) != std::towlower(static_cast<wint_t>(b[i])))
      return false;
  return true;
}

bool HasLineBreak(std::wstring_view text) {
  return text.find_first_of(L"\r\n") != std::wstring_view::npos;
}

bool ValidSection(std::wstring_view name) {
  return !name.empty() && Trim(name).size() == name.size() && !HasLineBreak(name) &&
         name.find(L']') == std::wstring_view::npos;
}

bool ValidKey(std::wstring_view key) {
  return !key.empty() && Trim(key).size() == key.size() && !HasLineBreak(key) &&
         key.find(L'=') == std::wstring_view::npos && key.front() != L'[' && key.front() != L';' &&
         key.front() != L'#';
}

std::wstring KeyLine(std::wstring_view key, std::wstring_view value) {
  const bool quote =
      !value.empty() && (Trim(value).size() != value.size() || value.front() == L'"');
  std::wstring line(key);
  line += L'=';
  if (quote) line += L'"';
  line += value;
  if (quote) line += L'"';
  return line;
}

}  // namespace

RegistryStore& RegistryStore::Default() {
  static RegistryStore store(ModuleFolder() + "/registry.ini");
  return store;
}

void RegistryStore::Load() {
  if (loaded_) return;
  // Read into a list of its own: when memory runs out half way, nothing is kept as if read.
  std::vector<Section> sections(1);
  std::string bytes;
  // A missing or unreadable file leaves the bytes empty: an empty registry.
  ReadWholeFile(path_, &bytes, 1u << 24);
  ForEachLine(TextFileContent(bytes), [&sections](std::wstring_view raw) {
    const std::wstring_view line = Trim(raw);
    if (line.size() >= 2 && line.front() == L'[' && line.back() == L']') {
      sections.push_back(Section{std::wstring(Trim(line.substr(1, line.size() - 2))), {}});
      return;
    }
    Line entry;
    entry.raw = raw;
    const std::size_t equals = line.find(L'=');
    const bool comment = line.empty() || line.front() == L';' || line.front() == L'#';
    if (!comment && equals != std::wstring_view::npos && sections.size() > 1) {
      std::wstring_view value = Trim(line.substr(equals + 1));
      if (value.size() >= 2 && value.front() == L'"' && value.back() == L'"')
        value = value.substr(1, value.size() - 2);
      entry.isKey = true;
      entry.key = Trim(line.substr(0, equals));
      entry.value = value;
    }
    sections.back().lines.push_back(std::move(entry));
  });
  sections_.swap(sections);
  loaded_ = true;
}

std::string RegistryStore::Serialize() const {
  std::wstring text;
  for (std::size_t s = 0; s < sections_.size(); ++s) {
    if (s > 0) text += L"[" + sections_[s].name + L"]\n";
    for (const Line& line : sections_[s].lines) text += line.raw + L"\n";
  }
  return Utf8FromWide(text);
}

RegistryStore::Section* RegistryStore::FindSection(std::wstring_view name) {
  for (std::size_t s = 1; s < sections_.size(); ++s)
    if (SameNameIgnoringCase(sections_[s].name, name)) return &sections_[s];
  return nullptr;
}

std::wstring RegistryStore::DefaultInstallPath() const {
  // The registry lives in ".../_binARM64/registry.ini": the install path is "...".
  std::string folder =
      path_.substr(0, path_.rfind('/') == std::string::npos ? 0 : path_.rfind('/'));
  const std::size_t slash = folder.rfind('/');
  folder = slash == std::string::npos ? std::string(".")
           : slash == 0               ? "/"
                                      : folder.substr(0, slash);
  return WideFromUtf8(folder);
}

HRESULT RegistryStore::Get(std::wstring_view section, std::wstring_view key, std::wstring* value) {
  std::lock_guard lock(mutex_);
  Load();
  if (const Section* found = FindSection(section)) {
    for (const Line& line : found->lines) {
      if (line.isKey && SameNameIgnoringCase(line.key, key)) {
        *value = line.value;
        return S_OK;
      }
    }
  }
  if (SameNameIgnoringCase(section, L"Workspace") && SameNameIgnoringCase(key, L"InstallPath")) {
    *value = DefaultInstallPath();
    return S_OK;
  }
  return E_FAIL;
}

HRESULT RegistryStore::Set(std::wstring_view section, std::wstring_view key,
                           const std::wstring* value) {
  if (!ValidSection(section) || !ValidKey(key)) return E_INVALIDARG;
  if (value != nullptr && HasLineBreak(*value)) return E_INVALIDARG;
  std::lock_guard lock(mutex_);
  Load();
  // Changed in place and put back as it was unless the file is written.
  std::vector<Section> before = sections_;
  try {
    Section* target = FindSection(section);
    if (target == nullptr) {
      if (value == nullptr) return S_OK;  // nothing to remove
      sections_.push_back(Section{std::wstring(section), {}});
      target = &sections_.back();
    }
    auto& lines = target->lines;
    std::size_t found = lines.size();
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].isKey && SameNameIgnoringCase(lines[i].key, key)) {
        found = i;
        break;
      }
    }
    if (value == nullptr) {
      if (found == lines.size()) return S_OK;
      lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(found));
    } else if (found != lines.size()) {
      lines[found].value = *value;
      lines[found].raw = KeyLine(lines[found].key, *value);
    } else {
      // After the section's last key, so trailing comments and blank lines stay at its end.
      std::size_t at = 0;
      bool anyKey = false;
      for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].isKey) {
          at = i + 1;
          anyKey = true;
        }
      }
      if (!anyKey) {
        at = lines.size();
        while (at > 0 && Trim(lines[at - 1].raw).empty()) --at;
      }
      lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at),
                   Line{KeyLine(key, *value), true, std::wstring(key), *value});
    }
    if (Succeeded(WriteFileAtomically(path_, Serialize()))) return S_OK;
  } catch (...) {
    sections_.swap(before);
    throw;
  }
  sections_.swap(before);
  return E_FAIL;
}

HRESULT RegistryStore::KeyCount(std::wstring_view section, int* count) {
  std::lock_guard lock(mutex_);
  Load();
  *count = 0;
  if (const Section* found = FindSection(section))
    for (const Line& line : found->lines) *count += line.isKey ? 1 : 0;
  return S_OK;
}

HRESULT RegistryStore::Key(std::wstring_view section, int index, std::wstring* key,
                           std::wstring* value) {
  std::lock_guard lock(mutex_);
  Load();
  const Section* found = FindSection(section);
  if (found == nullptr || index < 0) return E_INVALIDARG;
  for (const Line& line : found->lines) {
    if (!line.isKey) continue;
    if (index-- == 0) {
      if (key != nullptr) *key = line.key;
      if (value != nullptr) *value = line.value;
      return S_OK;
    }
  }
  return E_INVALIDARG;
}

}  // namespace host::storage
