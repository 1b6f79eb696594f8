// Where the host's modules and their data files are: the "_binARM64" folder that holds
// "components.manifest".
#pragma once

#include <string>

namespace host {

// The folder (absolute, found once): beside the code that calls this (the shared module, or a
// program that links the static libraries); else its "_binARM64" sub-folder (a program in the
// build folder); else "./_binARM64" of the current folder (a test program in a sub-folder of the
// build folder, run from the build folder). Without a manifest anywhere, the folder of the code.
const std::string& ModuleFolder();

}  // namespace host
