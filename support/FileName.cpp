#include "support/FileName.h"

#include <cwctype>
#include <string>
#include <vector>

#include "frame/Loader.h"
#include "sdk/ComPtr.h"
#include "support/Convert.h"
#include "support/REFString.h"

namespace {

std::wstring Text(IString* string) {
  const CREFString view(string);
  return view.length > 0 ? std::wstring(view.text, static_cast<std::size_t>(view.length))
                         : std::wstring();
}

HRESULT Give(const std::wstring& text, IString** out) {
  *out = ISCreate(RefView(text));
  return *out != nullptr ? S_OK : E_FAIL;
}

bool IsSeparator(wchar_t c) {
  return c == L'/' || c == L'\\';
}

bool SameIgnoringCase(wchar_t a, wchar_t b) {
  if (IsSeparator(a) && IsSeparator(b)) return true;
  return std::towlower(a) == std::towlower(b);
}

bool StartsWithIgnoringCase(const std::wstring& text, const std::wstring& prefix) {
  if (prefix.empty() || text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i)
    if (!SameIgnoringCase(text[i], prefix[i])) return false;
  return true;
}

IRegistry* Registry() {
  IID iid = IID_IRegistry;
  return static_cast<IRegistry*>(CreateObject(RefLiteral(L"Registry"), &iid));
}

bool RegistryValue(tagREFString section, tagREFString key, std::wstring* value) {
  IRegistry* registry = Registry();
  if (registry == nullptr) return false;
  IString* text = nullptr;
  const bool found = registry->GetValue(section, key, &text) >= 0 && text != nullptr;
  if (found) *value = Text(text);
  if (text != nullptr) text->Release();
  registry->Release();
  return found;
}

bool InstallPath(std::wstring* path) {
  return RegistryValue(RefLiteral(L"Workspace"), RefLiteral(L"InstallPath"), path) &&
         !path->empty();
}

// `folder` without trailing separators, so that a mapped rest keeps its leading one.
std::wstring WithoutTrailingSeparator(std::wstring folder) {
  while (folder.size() > 1 && IsSeparator(folder.back())) folder.pop_back();
  return folder;
}

// Whether `file` lies in `folder` (or is it).
bool IsUnder(const std::wstring& file, const std::wstring& folder) {
  return StartsWithIgnoringCase(file, folder) &&
         (file.size() == folder.size() || IsSeparator(file[folder.size()]));
}

std::wstring AsFolder(std::wstring path) {
  if (!path.empty() && !IsSeparator(path.back())) path += L'/';
  return path;
}

// Removes "." and "name/.." segments.
std::wstring Normalised(const std::wstring& path) {
  const bool absolute = !path.empty() && IsSeparator(path.front());
  std::vector<std::wstring> parts;
  std::wstring part;
  auto flush = [&] {
    if (part == L"..") {
      if (!parts.empty() && parts.back() != L"..")
        parts.pop_back();
      else if (!absolute)
        parts.push_back(part);
    } else if (!part.empty() && part != L".") {
      parts.push_back(part);
    }
    part.clear();
  };
  for (wchar_t c : path) {
    if (IsSeparator(c))
      flush();
    else
      part += c;
  }
  flush();
  std::wstring result = absolute ? L"/" : L"";
  for (std::size_t i = 0; i < parts.size(); ++i) result += (i ? L"/" : L"") + parts[i];
  return result;
}

}  // namespace

HRESULT FILENAMEGetInstallPath(IString** out) {
  std::wstring path;
  if (!InstallPath(&path)) return E_FAIL;
  return Give(path, out);
}

HRESULT FILENAMECreateRelative(IString* base, IString* path, IString** out) {
  if (base == nullptr || path == nullptr) return E_INVALIDARG;
  const std::wstring folder = AsFolder(Text(base));
  const std::wstring file = Text(path);
  // The common prefix, up to and including its last separator.
  std::size_t common = 0;
  for (std::size_t i = 0;
       i < folder.size() && i < file.size() && SameIgnoringCase(folder[i], file[i]); ++i)
    if (IsSeparator(folder[i])) common = i + 1;
  if (common == 0) return Give(file, out);
  std::wstring relative;
  for (std::size_t i = common; i < folder.size(); ++i)
    if (IsSeparator(folder[i])) relative += L"../";
  relative += file.substr(common);
  return Give(relative, out);
}

HRESULT FILENAMECreateAbsolute(IString* path, IString** out, int /*reserved*/) {
  if (path == nullptr) return E_INVALIDARG;
  const std::wstring file = Text(path);
  if (!file.empty() && IsSeparator(file.front())) return Give(file, out);
  std::wstring install;
  if (!InstallPath(&install)) return E_FAIL;
  return Give(Normalised(AsFolder(install) + file), out);
}

HRESULT FILENAMEMap(IString* path, IString** out, short /*reserved*/) {
  if (path == nullptr) return E_INVALIDARG;
  const std::wstring file = Text(path);
  std::wstring install;
  if (InstallPath(&install)) {
    const std::wstring folder = WithoutTrailingSeparator(install);
    if (IsUnder(file, folder)) return Give(L"[InstallPath]" + file.substr(folder.size()), out);
  }
  IRegistry* registry = Registry();
  if (registry == nullptr) return E_FAIL;
  HRESULT result = E_FAIL;
  int count = 0;
  registry->GetKeyCount(RefLiteral(L"Mappings"), &count);
  for (int i = 0; i < count && result != S_OK; ++i) {
    IString* name = nullptr;
    IString* target = nullptr;
    if (registry->GetKey(RefLiteral(L"Mappings"), i, &name, &target) >= 0 && name != nullptr &&
        target != nullptr) {
      const std::wstring folder = WithoutTrailingSeparator(Text(target));
      if (IsUnder(file, folder))
        result = Give(L"[" + Text(name) + L"]" + file.substr(folder.size()), out);
    }
    if (name != nullptr) name->Release();
    if (target != nullptr) target->Release();
  }
  registry->Release();
  return result;
}

HRESULT FILENAMEUnmap(IString* mapped, IString** out) {
  if (mapped == nullptr) return E_INVALIDARG;
  const std::wstring text = Text(mapped);
  const std::size_t close = text.find(L']');
  if (text.empty() || text.front() != L'[' || close == std::wstring::npos) return E_FAIL;
  const std::wstring name = text.substr(1, close - 1);
  std::wstring folder;
  const bool known = StartsWithIgnoringCase(name, L"InstallPath") && name.size() == 11
                         ? InstallPath(&folder)
                         : RegistryValue(RefLiteral(L"Mappings"), RefView(name), &folder);
  if (!known) return E_FAIL;
  // The rest keeps its own leading separator; none is added.
  std::wstring result = WithoutTrailingSeparator(folder) + text.substr(close + 1);
  for (wchar_t& c : result)
    if (c == L'\\') c = L'/';
  return Give(result, out);
}
