// The tree behind the "FolderStream" component, and its file format.
//
// A folder has a name, named values and ordered sub-folders. A value is binary (bytes), a
// string, or an object (the object's component name and a folder holding what the object
// saved of itself).
//
// File format (all integers little-endian):
//   file   := "KELOFOLD" u32 version(1) folder
//   folder := text name, u32 valueCount, value*, u32 folderCount, folder*
//   value  := u8 type, text name, payload
//             type 1 binary: u32 size, size bytes
//             type 2 string: text
//             type 3 object: text component, folder
//   text   := u32 byteCount, UTF-8 bytes
// A file must be exactly one such record; anything else is refused as a whole.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/Com.h"

namespace host::storage {

struct FolderNode;

struct FolderValue {
  enum Type : std::uint8_t { kBinary = 1, kString = 2, kObject = 3 };
  std::wstring name;
  Type type = kBinary;
  std::string bytes;                 // binary
  std::wstring text;                 // string; component name of an object
  std::shared_ptr<FolderNode> data;  // object
};

struct FolderNode {
  std::wstring name;
  std::vector<FolderValue> values;
  std::vector<std::shared_ptr<FolderNode>> folders;

  FolderValue* FindValue(std::wstring_view valueName);
  // Sets `value` under its name, replacing a value of that name.
  void PutValue(FolderValue value);
};

// Nesting deeper than this is refused when reading.
inline constexpr int kMaxFolderDepth = 256;

std::string EncodeFolder(const FolderNode& root);
// E_INVALIDARG (and `root` untouched) for bytes that are not exactly one valid record.
HRESULT DecodeFolder(std::string_view bytes, FolderNode* root);

}  // namespace host::storage
