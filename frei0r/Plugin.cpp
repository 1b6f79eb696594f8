// The one source of every kelo_<short>.so plug-in. The file knows which transition it is from
// the component name stamped into it at build time (Stamp.cpp) and forwards each frei0r call to
// KeloFrei0r.so, which lies in the modules folder beside it (found through the run path).
// frei0r.h declares its functions without C linkage of its own.
extern "C" {
#include <frei0r.h>
}

#include <string>

#include "frei0r/Names.h"
#include "frei0r/Runtime.h"

namespace {

// Read through volatile accesses so that the compiler keeps the marker and never folds its
// content into the code: the stamp overwrites it in the finished file.
[[gnu::used]] volatile const char kComponentSlot[kelo::frei0r::kComponentSlotSize] =
    KELO_FREI0R_SLOT_MARKER;

const char* Component() {
  static const std::string name = [] {
    std::string text;
    for (std::size_t i = 0; i < sizeof kComponentSlot && kComponentSlot[i] != '\0'; ++i)
      text.push_back(kComponentSlot[i]);
    return text;
  }();
  return name.c_str();
}

}  // namespace

extern "C" {

// Cheap and repeatable: the host and the module are loaded when a first instance or the
// parameters are asked for.
int f0r_init() {
  return 1;
}
void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  KeloFrei0rPluginInfo(Component(), info);
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
  KeloFrei0rParamInfo(Component(), info, index);
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  return KeloFrei0rConstruct(Component(), width, height);
}

void f0r_destruct(f0r_instance_t instance) {
  KeloFrei0rDestruct(instance);
}

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  KeloFrei0rSetParam(instance, param, index);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
  KeloFrei0rGetParam(instance, param, index);
}

void f0r_update2(f0r_instance_t instance, double /*time*/, const uint32_t* inframe1,
                 const uint32_t* inframe2, const uint32_t* /*inframe3*/, uint32_t* outframe) {
  KeloFrei0rUpdate(instance, inframe1, inframe2, outframe);
}

// A mixer is driven through f0r_update2; a host that calls this one gets the frame unchanged.
void f0r_update(f0r_instance_t /*instance*/, double /*time*/, const uint32_t* /*inframe*/,
                uint32_t* /*outframe*/) {}

}  // extern "C"
