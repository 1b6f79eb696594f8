// Writes one plug-in file per transition the component manifest lists: a copy of the plug-in
// template with the transition's component name written over the template's marker. So the
// plug-ins are fifteen distinct files (a loader would hand out one object for links to one file),
// and a transition added to the module's registry gets its plug-in without any list to edit.
//
//   kelo_frei0r_stamp TEMPLATE MANIFEST OUTDIR
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "frei0r/Names.h"
#include "sdk/Text.h"
#include "sdk/Transitions.h"

namespace {

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The template with every copy of the marker's slot holding `component` instead.
std::string Stamped(std::string bytes, const std::string& component) {
  using namespace kelo::frei0r;
  if (component.size() >= kComponentSlotSize)
    throw std::runtime_error("the component name " + component + " is too long for the slot");
  const std::string marker = kComponentSlotMarker;
  std::string slot = component;
  slot.resize(kComponentSlotSize, '\0');
  int copies = 0;
  for (auto at = bytes.find(marker); at != std::string::npos; at = bytes.find(marker, at + 1)) {
    if (at + kComponentSlotSize > bytes.size()) throw std::runtime_error("a truncated slot");
    bytes.replace(at, kComponentSlotSize, slot);
    ++copies;
  }
  if (copies == 0) throw std::runtime_error("the template holds no component slot");
  return bytes;
}

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  // Built in steps: GCC 12 warns falsely (-Wrestrict) about "." + name + ".tmp".
  std::string hidden = path.filename().string();
  hidden.insert(hidden.begin(), '.');
  hidden += ".tmp";
  const auto temporary = path.parent_path() / hidden;
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) {
      std::filesystem::remove(temporary);
      throw std::runtime_error("cannot write " + temporary.string());
    }
  }
  std::filesystem::permissions(temporary,
                               std::filesystem::perms::owner_exec |
                                   std::filesystem::perms::group_exec |
                                   std::filesystem::perms::others_exec,
                               std::filesystem::perm_options::add);
  std::filesystem::rename(temporary, path);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4) {
    std::fprintf(stderr, "usage: kelo_frei0r_stamp TEMPLATE MANIFEST OUTDIR\n");
    return 2;
  }
  const std::string plugin = ReadAll(argv[1]);
  const std::string kind = kelo_text::Utf8FromWide(kTransitionKind);
  std::filesystem::create_directories(argv[3]);
  std::istringstream manifest(ReadAll(argv[2]));
  int written = 0;
  for (std::string line; std::getline(manifest, line);) {
    // component, module, kind: tab-separated
    const auto first = line.find('\t'), second = line.find('\t', first + 1);
    if (second == std::string::npos || line.substr(second + 1) != kind) continue;
    const std::string component = line.substr(0, first);
    WriteFile(std::filesystem::path(argv[3]) / kelo::frei0r::PluginFileName(component),
              Stamped(plugin, component));
    ++written;
  }
  if (written == 0) throw std::runtime_error(std::string("no transitions in ") + argv[2]);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "kelo_frei0r_stamp: %s\n", error.what());
  return 1;
}
