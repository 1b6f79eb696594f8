#include "host/storage/FolderTree.h"

#include "host/core/Text.h"

namespace host::storage {

namespace {

constexpr char kMagic[8] = {'K', 'E', 'L', 'O', 'F', 'O', 'L', 'D'};
constexpr std::uint32_t kVersion = 1;

void PutU32(std::uint32_t value, std::string* out) {
  for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

void PutText(std::wstring_view text, std::string* out) {
  const std::string bytes = Utf8FromWide(text);
  PutU32(static_cast<std::uint32_t>(bytes.size()), out);
  *out += bytes;
}

void PutFolder(const FolderNode& folder, std::string* out) {
  PutText(folder.name, out);
  PutU32(static_cast<std::uint32_t>(folder.values.size()), out);
  for (const FolderValue& value : folder.values) {
    out->push_back(static_cast<char>(value.type));
    PutText(value.name, out);
    switch (value.type) {
      case FolderValue::kBinary:
        PutU32(static_cast<std::uint32_t>(value.bytes.size()), out);
        *out += value.bytes;
        break;
      case FolderValue::kString:
        PutText(value.text, out);
        break;
      case FolderValue::kObject:
        PutText(value.text, out);
        PutFolder(value.data ? *value.data : FolderNode{}, out);
        break;
    }
  }
  PutU32(static_cast<std::uint32_t>(folder.folders.size()), out);
  for (const auto& child : folder.folders) PutFolder(*child, out);
}

// Reads records from a byte range; every read checks what is left.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}
  bool AtEnd() const { return rest_.empty(); }
  std::size_t Left() const { return rest_.size(); }

  bool Bytes(std::size_t count, std::string_view* out) {
    if (count > rest_.size()) return false;
    *out = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return true;
  }
  bool U8(std::uint8_t* value) {
    std::string_view b;
    if (!Bytes(1, &b)) return false;
    *value = static_cast<std::uint8_t>(b[0]);
    return true;
  }
  bool U32(std::uint32_t* value) {
    std::string_view b;
    if (!Bytes(4, &b)) return false;
    *value = 0;
    for (int i = 3; i >= 0; --i)
      *value = (*value << 8) | static_cast<std::uint8_t>(b[static_cast<std::size_t>(i)]);
    return true;
  }
  bool Text(std::wstring* text) {
    std::uint32_t size = 0;
    std::string_view b;
    if (!U32(&size) || !Bytes(size, &b)) return false;
    *text = WideFromUtf8(b);
    return true;
  }

 private:
  std::string_view rest_;
};

bool ReadFolder(Reader& in, int depth, FolderNode* folder) {
  if (depth > kMaxFolderDepth) return false;
  std::uint32_t valueCount = 0;
  if (!in.Text(&folder->name) || !in.U32(&valueCount)) return false;
  // Each value takes at least 5 bytes: a count larger than what is left is a corrupt file.
  if (valueCount > in.Left() / 5) return false;
  folder->values.reserve(valueCount);
  for (std::uint32_t i = 0; i < valueCount; ++i) {
    FolderValue value;
    std::uint8_t type = 0;
    if (!in.U8(&type) || !in.Text(&value.name)) return false;
    switch (type) {
      case FolderValue::kBinary: {
        std::uint32_t size = 0;
        std::string_view bytes;
        if (!in.U32(&size) || !in.Bytes(size, &bytes)) return false;
        value.bytes.assign(bytes);
        break;
      }
      case FolderValue::kString:
        if (!in.Text(&value.text)) return false;
        break;
      case FolderValue::kObject:
        value.data = std::make_shared<FolderNode>();
        if (!in.Text(&value.text) || !ReadFolder(in, depth + 1, value.data.get())) return false;
        break;
      default:
        return false;
    }
    value.type = static_cast<FolderValue::Type>(type);
    folder->values.push_back(std::move(value));
  }
  std::uint32_t folderCount = 0;
  if (!in.U32(&folderCount) || folderCount > in.Left() / 12) return false;
  folder->folders.reserve(folderCount);
  for (std::uint32_t i = 0; i < folderCount; ++i) {
    auto child = std::make_shared<FolderNode>();
    if (!ReadFolder(in, depth + 1, child.get())) return false;
    folder->folders.push_back(std::move(child));
  }
  return true;
}

}  // namespace

FolderValue* FolderNode::FindValue(std::wstring_view valueName) {
  for (FolderValue& value : values)
    if (value.name == valueName) return &value;
  return nullptr;
}

void FolderNode::PutValue(FolderValue value) {
  if (FolderValue* existing = FindValue(value.name)) {
    *existing = std::move(value);
  } else {
    values.push_back(std::move(value));
  }
}

std::string EncodeFolder(const FolderNode& root) {
  std::string out(kMagic, sizeof kMagic);
  PutU32(kVersion, &out);
  PutFolder(root, &out);
  return out;
}

HRESULT DecodeFolder(std::string_view bytes, FolderNode* root) {
  Reader in(bytes);
  std::string_view magic;
  std::uint32_t version = 0;
  if (!in.Bytes(sizeof kMagic, &magic) || magic != std::string_view(kMagic, sizeof kMagic) ||
      !in.U32(&version) || version != kVersion)
    return E_INVALIDARG;
  FolderNode parsed;
  if (!ReadFolder(in, 0, &parsed) || !in.AtEnd()) return E_INVALIDARG;
  root->name = std::move(parsed.name);
  root->values = std::move(parsed.values);
  root->folders = std::move(parsed.folders);
  return S_OK;
}

}  // namespace host::storage
