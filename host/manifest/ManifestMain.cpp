// Writes the component manifest: one line per component of every module, with its module and
// kind. The global component collection reads it to find components and load their modules.
#include <cstdio>
#include <fstream>
#include <string>

#include "effects/KeloTransitions.h"
#include "host/core/Components.h"
#include "host/imaging/Components.h"
#include "host/storage/Components.h"

namespace {

std::string Narrow(std::wstring_view text) {
  return std::string(text.begin(), text.end());
}

void WriteHostTable(std::ofstream& out, std::wstring_view module,
                    std::span<const host::HostComponent> table) {
  for (const host::HostComponent& row : table)
    out << Narrow(row.name) << '\t' << Narrow(module) << '\t' << Narrow(row.kind) << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kelo_manifest OUTPUT\n");
    return 2;
  }
  const std::string path = argv[1];
  const std::string temporary = path + ".tmp";
  {
    std::ofstream out(temporary);
    out << "# Components of the modules in this folder: component, module, kind (tab-separated).\n";
    WriteHostTable(out, host::core::kModuleName, host::core::Components());
    WriteHostTable(out, host::imaging::kModuleName, host::imaging::Components());
    WriteHostTable(out, host::storage::kModuleName, host::storage::Components());
    for (const ModuleComponent& row : ModuleComponents())
      out << Narrow({row.name.text, static_cast<std::size_t>(row.name.length)})
          << "\tKeloTransitions\t" << Narrow(kTransitionKind) << '\n';
    if (!out.flush()) {
      std::fprintf(stderr, "kelo_manifest: cannot write %s\n", temporary.c_str());
      return 1;
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::perror("kelo_manifest: rename");
    return 1;
  }
  return 0;
}
