// Whole-file reads and atomic whole-file writes for the storage components.
#pragma once

#include <string>
#include <string_view>

#include "sdk/Com.h"

namespace host::storage {

// Replaces the file at `path` with `bytes` so that the file is either the old one or the
// complete new one, never a mixture: the bytes go to a temporary file in the same folder, which
// is flushed to disk (fsync) and renamed over `path`. On any failure (a full disk, a file size
// limit, a missing folder) the temporary file is removed and E_FAIL is returned.
HRESULT WriteFileAtomically(const std::string& path, std::string_view bytes);

// The whole content of a regular file. E_FAIL when it cannot be read; E_INVALIDARG when it is
// larger than `limit` bytes.
HRESULT ReadWholeFile(const std::string& path, std::string* bytes,
                      std::size_t limit = std::size_t{1} << 30);

}  // namespace host::storage
