#include "host/core/ModuleFolder.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

namespace host {

namespace {

constexpr char kManifestName[] = "components.manifest";
constexpr char kModuleFolderName[] = "_binARM64";

std::string Absolute(const std::string& path) {
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return path;
  return resolved;
}

// The folder of the file that holds this code.
std::string CodeFolder() {
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

bool HasManifest(const std::string& folder) {
  return access((folder + "/" + kManifestName).c_str(), R_OK) == 0;
}

std::string FindModuleFolder() {
  const std::string code = CodeFolder();
  const std::string candidates[] = {code, code + "/" + kModuleFolderName,
                                    Absolute(std::string("./") + kModuleFolderName)};
  for (const std::string& folder : candidates)
    if (HasManifest(folder)) return folder;
  return code;
}

}  // namespace

const std::string& ModuleFolder() {
  static const std::string folder = FindModuleFolder();
  return folder;
}

}  // namespace host
