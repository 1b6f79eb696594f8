// File names stored relative to the host's install path or through named mappings.
// Each returns 0 on success and a failure code otherwise; out strings carry one reference.
#pragma once

#include "frame/Com.h"

// The install path: the host registry's "Workspace"/"InstallPath".
HRESULT FILENAMEGetInstallPath(IString** out);
// `path` relative to the folder `base` ("../" for each further level of base), or path itself
// when the two share nothing. Comparison ignores case; '\' and '/' both separate folders.
HRESULT FILENAMECreateRelative(IString* base, IString* path, IString** out);
// The inverse of FILENAMECreateRelative against the install path.
HRESULT FILENAMECreateAbsolute(IString* path, IString** out, int reserved);
// "[InstallPath]rest" for a path under the install path, "[name]rest" for one under a folder
// registered in the registry section "Mappings"; fails otherwise.
HRESULT FILENAMEMap(IString* path, IString** out, short reserved);
// Reverses FILENAMEMap; every backslash of the result becomes '/'. Fails on a text that does not
// start with '[' or has no ']', or names no known mapping.
HRESULT FILENAMEUnmap(IString* mapped, IString** out);
