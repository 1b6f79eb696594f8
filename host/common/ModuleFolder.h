// Where the host's modules and their data files are: the "_binARM64" folder that holds
// "components.manifest", and which names may stand for files in it. Header-only: each module
// finds the folder from its own code.
#pragma once

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace host {

namespace module_folder {

inline constexpr char kManifestName[] = "components.manifest";
inline constexpr char kFolderName[] = "_binARM64";

inline std::string Absolute(const std::string& path) {
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return path;
  return resolved;
}

// The folder of the file that holds this code (the module, or a program linking it).
inline std::string CodeFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&CodeFolder), &info) == 0 || info.dli_fname == nullptr)
    return Absolute(".");
  std::string path = info.dli_fname;
  if (path.find('/') == std::string::npos) {
    // A program found through PATH is named without a folder; ask the kernel instead.
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0) return Absolute(".");
    path.assign(self, static_cast<std::size_t>(length));
  }
  path = Absolute(path);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return Absolute(".");
  return slash == 0 ? "/" : path.substr(0, slash);
}

inline bool HasManifest(const std::string& folder) {
  return access((folder + "/" + kManifestName).c_str(), R_OK) == 0;
}

inline std::string Find() {
  const std::string code = CodeFolder();
  const std::string candidates[] = {code, code + "/" + kFolderName,
                                    Absolute(std::string("./") + kFolderName)};
  for (const std::string& folder : candidates)
    if (HasManifest(folder)) return folder;
  return code;
}

}  // namespace module_folder

// The folder (absolute, found once): beside the code that calls this (the shared module, or a
// program that links the static libraries); else its "_binARM64" sub-folder (a program in the
// build folder); else "./_binARM64" of the current folder (a test program in a sub-folder of the
// build folder, run from the build folder). Without a manifest anywhere, the folder of the code.
inline const std::string& ModuleFolder() {
  static const std::string folder = module_folder::Find();
  return folder;
}

// True for a name that can serve as a file name in the module folder (a module, a string
// table): up to 200 letters, digits, '_', '-' and '.', not starting with '.', so it can never
// leave the folder.
inline bool PlainFileName(std::wstring_view name) {
  if (name.empty() || name.size() > 200 || name.front() == L'.') return false;
  for (wchar_t c : name) {
    const bool ok = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
                    (c >= L'0' && c <= L'9') || c == L'_' || c == L'-' || c == L'.';
    if (!ok) return false;
  }
  return true;
}

}  // namespace host
