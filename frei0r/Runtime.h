// The entry points of KeloFrei0r.so, the one runtime every kelo_<short>.so plug-in forwards to.
// Each plug-in file only knows which transition it is; loading the host and the transitions
// module, the parameters and the frames are handled here, once per process, so that every
// transition's calls into the module (which is not thread-safe) pass through one lock.
#pragma once

// frei0r.h declares its functions without C linkage of its own.
extern "C" {
#include <frei0r.h>
}

#include <cstdint>

// The runtime is compiled with hidden visibility; these are what it exports.
#define KELO_FREI0R_EXPORT __attribute__((visibility("default")))

extern "C" {

// `component` is the transition's component name ("PushTransition") in every call.
KELO_FREI0R_EXPORT void KeloFrei0rPluginInfo(const char* component, f0r_plugin_info_t* info);
KELO_FREI0R_EXPORT void KeloFrei0rParamInfo(const char* component, f0r_param_info_t* info,
                                            int index);
// Null (with a message on standard error) when the modules cannot be loaded, the transition
// cannot be made or the size is refused.
KELO_FREI0R_EXPORT f0r_instance_t KeloFrei0rConstruct(const char* component, unsigned width,
                                                      unsigned height);
KELO_FREI0R_EXPORT void KeloFrei0rDestruct(f0r_instance_t instance);
KELO_FREI0R_EXPORT void KeloFrei0rSetParam(f0r_instance_t instance, f0r_param_t param, int index);
KELO_FREI0R_EXPORT void KeloFrei0rGetParam(f0r_instance_t instance, f0r_param_t param, int index);
// Writes out (width x height RGBA, rows packed) from the outgoing and the incoming frame.
KELO_FREI0R_EXPORT void KeloFrei0rUpdate(f0r_instance_t instance, const std::uint32_t* from,
                                         const std::uint32_t* to, std::uint32_t* out);
}
