#include "host/storage/XMLStream.h"

#include "host/core/Text.h"
#include "host/storage/AtomicFile.h"

namespace host::storage {

namespace {

constexpr wchar_t kDefaultRoot[] = L"KeloData";

int Depth(const XmlElement* element) {
  int depth = 0;
  for (; element->parent != nullptr; element = element->parent) ++depth;
  return depth;
}

}  // namespace

XMLStream::XMLStream() {
  root_.name = kDefaultRoot;
}

void XMLStream::AdoptContent(XmlElement&& content) {
  root_.text = std::move(content.text);
  root_.children = std::move(content.children);
  for (auto& child : root_.children) child->parent = &root_;
  current_ = &root_;
  Changed();
}

HRESULT XMLStream::Open(tagREFString path, int /*mode*/) {
  if (!ValidView(path) || path.length == 0) return E_INVALIDARG;
  try {
    std::string bytes;
    const HRESULT read = ReadWholeFile(Utf8FromWide(ViewOf(path)), &bytes);
    if (Failed(read)) return read;
    XmlElement parsed;
    const HRESULT hr = ParseXmlDocument(bytes, &parsed);
    if (Failed(hr)) return hr;
    root_.name = std::move(parsed.name);
    root_.attributes = std::move(parsed.attributes);
    AdoptContent(std::move(parsed));
  } catch (const std::exception&) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::Commit(tagREFString path) {
  if (!ValidView(path) || path.length == 0) return E_INVALIDARG;
  try {
    return WriteFileAtomically(Utf8FromWide(ViewOf(path)), SerializeXmlDocument(root_));
  } catch (const std::exception&) {
    return E_FAIL;
  }
}

HRESULT XMLStream::BeginElement(tagREFString name, int /*reserved1*/, int /*reserved2*/) {
  if (!ValidView(name) || !ValidXmlName(ViewOf(name))) return E_INVALIDARG;
  if (Depth(current_) + 1 >= kMaxXmlDepth) return E_FAIL;
  try {
    current_ = current_->AddChild(std::wstring(ViewOf(name)));
    Changed();
  } catch (const std::exception&) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::SetItem(tagREFString name, int /*reserved1*/, IString* value,
                           int /*reserved2*/) {
  if (!ValidView(name) || !ValidXmlName(ViewOf(name))) return E_INVALIDARG;
  if (Depth(current_) + 1 >= kMaxXmlDepth) return E_FAIL;
  try {
    std::wstring text(TextOf(value));
    if (!ValidXmlText(text)) return E_INVALIDARG;
    XmlElement* item = current_->FindLeaf(ViewOf(name));
    if (item == nullptr) item = current_->AddChild(std::wstring(ViewOf(name)));
    item->text = std::move(text);
    Changed();
  } catch (const std::exception&) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::EndElement() {
  if (current_->parent == nullptr) return E_FAIL;
  current_ = current_->parent;
  return S_OK;
}

HRESULT XMLStream::GetBuffer(const wchar_t** text, int* length) {
  if (text == nullptr || length == nullptr) return E_INVALIDARG;
  try {
    if (dirty_ || texts_.empty()) {
      // Earlier texts are kept: someone may still be reading one of them.
      texts_.push_back(std::make_unique<std::wstring>(SerializeXmlContent(root_, 1)));
      dirty_ = false;
    }
  } catch (const std::exception&) {
    return E_FAIL;
  }
  *text = texts_.back()->c_str();
  *length = static_cast<int>(texts_.back()->size());
  return S_OK;
}

HRESULT XMLStream::SetText(int length, const wchar_t* text) {
  if (!ValidView({length, text})) return E_INVALIDARG;
  try {
    XmlElement content;
    const HRESULT hr =
        ParseXmlContent(Utf8FromWide({text, static_cast<std::size_t>(length)}), &content);
    if (Failed(hr)) return hr;
    AdoptContent(std::move(content));
  } catch (const std::exception&) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::Append(int length, const wchar_t* text) {
  if (!ValidView({length, text})) return E_INVALIDARG;
  if (length == 0) return S_OK;
  try {
    XmlElement content;
    const HRESULT hr =
        ParseXmlContent(Utf8FromWide({text, static_cast<std::size_t>(length)}), &content);
    if (Failed(hr)) return hr;
    if (!content.children.empty() && current_->children.empty() &&
        current_->text.find_first_not_of(L" \t\r\n") == std::wstring::npos)
      current_->text.clear();
    current_->text += content.text;
    for (auto& child : content.children) {
      child->parent = current_;
      current_->children.push_back(std::move(child));
    }
    Changed();
  } catch (const std::exception&) {
    return E_FAIL;
  }
  return S_OK;
}

}  // namespace host::storage
