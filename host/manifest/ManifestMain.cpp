// Writes the component manifest: one line per component of every host module, with its module
// and kind, followed by the lines other modules wrote of themselves (the files given after the
// output). The global component collection reads it to find components and load their modules.
#include <cstdio>
#include <fstream>
#include <string>

#include "host/core/Components.h"
#include "host/imaging/Components.h"
#include "host/storage/Components.h"
#include "sdk/Text.h"

namespace {

void WriteHostTable(std::ofstream& out, std::wstring_view module,
                    std::span<const host::HostComponent> table) {
  for (const host::HostComponent& row : table)
    out << kelo_text::Utf8FromWide(row.name) << '\t' << kelo_text::Utf8FromWide(module) << '\t'
        << kelo_text::Utf8FromWide(row.kind) << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: kelo_manifest OUTPUT [MODULE_LINES...]\n");
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
    for (int i = 2; i < argc; ++i) {
      std::ifstream lines(argv[i]);
      if (!lines) {
        std::fprintf(stderr, "kelo_manifest: cannot read %s\n", argv[i]);
        return 1;
      }
      out << lines.rdbuf();
    }
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
