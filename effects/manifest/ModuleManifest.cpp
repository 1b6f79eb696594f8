// Writes the transitions module's lines of the component manifest (component, module, kind,
// tab-separated), from the module's own registry. The host's manifest tool adds them to its own.
#include <cstdio>
#include <fstream>
#include <string>

#include "effects/KeloTransitions.h"
#include "sdk/Text.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kelo_module_manifest OUTPUT\n");
    return 2;
  }
  std::ofstream out(argv[1]);
  for (const ModuleComponent& row : ModuleComponents())
    out << kelo_text::Utf8FromWide(kelo_text::ViewOf(row.name)) << "\tKeloTransitions\t"
        << kelo_text::Utf8FromWide(kTransitionKind) << '\n';
  if (!out.flush()) {
    std::fprintf(stderr, "kelo_module_manifest: cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
