#include "host/storage/XMLStream.h"

#include "host/core/Text.h"
#include "host/storage/StreamFile.h"

namespace host::storage {

namespace {

constexpr wchar_t kDefaultRoot[] = L"KeloData";

// Parses `length` characters of XML content (elements and text) into `content`: E_INVALIDARG
// for bad arguments or text that is not well-formed, E_FAIL when memory runs out.
HRESULT ParseContent(int length, const wchar_t* text, XmlElement* content) {
  if (!ValidView({length, text})) return E_INVALIDARG;
  try {
    return ParseXmlContent(Utf8FromWide({text, static_cast<std::size_t>(length)}), content);
  } catch (...) {
    return E_FAIL;
  }
}

int Depth(const XmlElement* element) {
  int depth = 0;
  for (; element->parent != nullptr; element = element->parent) ++depth;
  return depth;
}

// Whether a child element named `name` may be written under `at`: E_INVALIDARG for a name that
// is no XML name, E_FAIL when the document would grow too deep.
HRESULT ChildAllowed(const XmlElement* at, tagREFString name) {
  if (!ValidView(name) || !ValidXmlName(ViewOf(name))) return E_INVALIDARG;
  return Depth(at) + 1 >= kMaxXmlDepth ? E_FAIL : S_OK;
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
  std::string bytes;
  if (HRESULT hr = ReadStreamFile(path, &bytes); Failed(hr)) return hr;
  try {
    XmlElement parsed;
    const HRESULT hr = ParseXmlDocument(bytes, &parsed);
    if (Failed(hr)) return hr;
    root_.name = std::move(parsed.name);
    root_.attributes = std::move(parsed.attributes);
    AdoptContent(std::move(parsed));
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::Commit(tagREFString path) {
  return WriteStreamFile(path, [this] { return SerializeXmlDocument(root_); });
}

HRESULT XMLStream::BeginElement(tagREFString name, int /*reserved1*/, int /*reserved2*/) {
  if (HRESULT hr = ChildAllowed(current_, name); Failed(hr)) return hr;
  try {
    current_ = current_->AddChild(std::wstring(ViewOf(name)));
    Changed();
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT XMLStream::SetItem(tagREFString name, int /*reserved1*/, IString* value,
                           int /*reserved2*/) {
  if (HRESULT hr = ChildAllowed(current_, name); Failed(hr)) return hr;
  try {
    std::wstring text(TextOf(value));
    if (!ValidXmlText(text)) return E_INVALIDARG;
    XmlElement* item = current_->FindLeaf(ViewOf(name));
    if (item == nullptr) item = current_->AddChild(std::wstring(ViewOf(name)));
    item->text = std::move(text);
    Changed();
  } catch (...) {
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
  } catch (...) {
    return E_FAIL;
  }
  *text = texts_.back()->c_str();
  *length = static_cast<int>(texts_.back()->size());
  return S_OK;
}

HRESULT XMLStream::SetText(int length, const wchar_t* text) {
  XmlElement content;
  if (HRESULT hr = ParseContent(length, text, &content); Failed(hr)) return hr;
  AdoptContent(std::move(content));
  return S_OK;
}

HRESULT XMLStream::Append(int length, const wchar_t* text) {
  if (length == 0) return S_OK;
  XmlElement content;
  if (HRESULT hr = ParseContent(length, text, &content); Failed(hr)) return hr;
  try {
    // What needs memory comes first, so that running out changes nothing.
    const bool dropBlank = !content.children.empty() && current_->children.empty() &&
                           current_->text.find_first_not_of(L" \t\r\n") == std::wstring::npos;
    std::wstring text = (dropBlank ? std::wstring() : current_->text) + content.text;
    current_->children.reserve(current_->children.size() + content.children.size());
    current_->text.swap(text);
  } catch (...) {
    return E_FAIL;
  }
  for (auto& child : content.children) {
    child->parent = current_;
    current_->children.push_back(std::move(child));
  }
  Changed();
  return S_OK;
}

}  // namespace host::storage
