// The file behind a data stream's Open and Commit: its path comes as a counted wide string and
// is used as UTF-8. Shared by the XML and folder streams.
#pragma once

#include <string>

#include "host/core/Text.h"
#include "host/storage/AtomicFile.h"

namespace host::storage {

// The whole file: E_INVALIDARG for an empty or bad path, else as ReadWholeFile; E_FAIL when
// memory runs out.
inline HRESULT ReadStreamFile(tagREFString path, std::string* bytes) {
  if (!ValidView(path) || path.length == 0) return E_INVALIDARG;
  try {
    return ReadWholeFile(Utf8FromWide(ViewOf(path)), bytes);
  } catch (...) {
    return E_FAIL;
  }
}

// Writes the bytes that makeBytes() gives (made only for a good path) as WriteFileAtomically
// does: E_INVALIDARG for an empty or bad path; E_FAIL when memory runs out.
template <class MakeBytes>
HRESULT WriteStreamFile(tagREFString path, MakeBytes&& makeBytes) {
  if (!ValidView(path) || path.length == 0) return E_INVALIDARG;
  try {
    return WriteFileAtomically(Utf8FromWide(ViewOf(path)), makeBytes());
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace host::storage
