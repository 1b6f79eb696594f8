// How a transition's plug-in is named, shared by the runtime, the build tools and the tests.
#pragma once

#include <string>
#include <string_view>

namespace kelo::frei0r {

// The short name of a transition component, as in its plug-in's file name kelo_<short>.so:
// lower case, without the "Transition" component names end in ("PushTransition": "push").
inline std::string ShortName(std::string_view component) {
  constexpr std::string_view kSuffix = "Transition";
  if (component.size() > kSuffix.size() && component.ends_with(kSuffix))
    component.remove_suffix(kSuffix.size());
  std::string name;
  for (char c : component)
    name.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
  return name;
}

inline std::string PluginFileName(std::string_view component) {
  return "kelo_" + ShortName(component) + ".so";
}

// The bytes a plug-in file holds in place of its transition's name until it is stamped, and the
// room there is for the name (with its terminating NULs).
#define KELO_FREI0R_SLOT_MARKER "@KELO-FREI0R-COMPONENT-SLOT@"
inline constexpr char kComponentSlotMarker[] = KELO_FREI0R_SLOT_MARKER;
inline constexpr std::size_t kComponentSlotSize = 96;

}  // namespace kelo::frei0r
