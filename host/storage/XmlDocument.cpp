#include "host/storage/XmlDocument.h"

#include <expat.h>

#include <algorithm>

#include "host/core/Text.h"

namespace host::storage {

namespace {

bool IsBlank(std::wstring_view text) {
  return text.find_first_not_of(L" \t\r\n") == std::wstring_view::npos;
}

bool NameStart(wchar_t c) {
  return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_' || c == L':' ||
         (c >= 0xC0 && c != 0xD7 && c != 0xF7 && c <= 0x2FF) ||
         (c >= 0x370 && c <= 0x1FFF && c != 0x37E) || (c >= 0x200C && c <= 0x200D) ||
         (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) ||
         (c >= 0x3001 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
         (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

bool NameChar(wchar_t c) {
  return NameStart(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.' || c == 0xB7 ||
         (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040);
}

void Escape(std::wstring_view text, bool attribute, std::wstring* out) {
  for (wchar_t c : text) {
    switch (c) {
      case L'&':
        *out += L"&amp;";
        break;
      case L'<':
        *out += L"&lt;";
        break;
      case L'>':
        *out += L"&gt;";
        break;
      case L'\r':  // a parser would turn a raw CR into LF
        *out += L"&#13;";
        break;
      case L'"':
        *out += attribute ? L"&quot;" : L"\"";
        break;
      case L'\n':
        *out += attribute ? L"&#10;" : L"\n";
        break;
      case L'\t':
        *out += attribute ? L"&#9;" : L"\t";
        break;
      default:
        out->push_back(c);
    }
  }
}

void StartTag(const XmlElement& element, std::wstring* out) {
  *out += L'<';
  *out += element.name;
  for (const auto& [name, value] : element.attributes) {
    *out += L' ';
    *out += name;
    *out += L"=\"";
    Escape(value, true, out);
    *out += L'"';
  }
  *out += L'>';
}

void SerializeElement(const XmlElement& element, int depth, std::wstring* out) {
  const std::wstring indent(static_cast<std::size_t>(depth) * 2, L' ');
  *out += indent;
  StartTag(element, out);
  if (element.children.empty()) {
    Escape(element.text, false, out);
  } else {
    *out += L'\n';
    *out += SerializeXmlContent(element, depth + 1);
    *out += indent;
  }
  *out += L"</";
  *out += element.name;
  *out += L">\n";
}

// Builds elements under a parent from expat's events. Nothing may be thrown through expat, so
// running out of memory stops the parser as a badly formed document does.
struct Builder {
  XML_Parser parser = nullptr;
  XmlElement* current = nullptr;
  int depth = 0;
  HRESULT failure = S_OK;  // why parsing was stopped: E_INVALIDARG too deep, E_FAIL no memory

  // Stops the parser for good; the events expat still sends are ignored.
  void Stop(HRESULT why) {
    failure = why;
    XML_StopParser(parser, XML_FALSE);
  }
  bool Stopped() const { return Failed(failure); }
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto* builder = static_cast<Builder*>(data);
  if (builder->Stopped()) return;
  if (builder->depth + 1 > kMaxXmlDepth) return builder->Stop(E_INVALIDARG);
  try {
    XmlElement* element = builder->current->AddChild(WideFromUtf8(name));
    for (int i = 0; attributes[i] != nullptr; i += 2)
      element->attributes.emplace_back(WideFromUtf8(attributes[i]),
                                       WideFromUtf8(attributes[i + 1]));
    builder->current = element;
    ++builder->depth;
  } catch (...) {
    builder->Stop(E_FAIL);
  }
}

void XMLCALL OnEnd(void* data, const XML_Char* /*name*/) {
  auto* builder = static_cast<Builder*>(data);
  if (builder->Stopped()) return;
  --builder->depth;
  XmlElement* element = builder->current;
  if (!element->children.empty() && IsBlank(element->text)) element->text.clear();
  builder->current = element->parent;
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
  auto* builder = static_cast<Builder*>(data);
  if (builder->Stopped()) return;
  try {
    builder->current->text +=
        WideFromUtf8(std::string_view(text, static_cast<std::size_t>(length)));
  } catch (...) {
    builder->Stop(E_FAIL);
  }
}

// Parses `utf8` as a document, adding its root element to `holder`: E_INVALIDARG when it is not
// well-formed or too deep, E_FAIL when memory runs out.
HRESULT Parse(std::string_view utf8, XmlElement* holder) {
  XML_Parser parser = XML_ParserCreate("UTF-8");
  if (parser == nullptr) return E_FAIL;
  Builder builder{parser, holder};
  XML_SetUserData(parser, &builder);
  XML_SetElementHandler(parser, OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser, OnText);
  bool ok = true;
  // Fed in pieces: expat takes an int length.
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  do {
    const std::size_t size = std::min(utf8.size(), kPiece);
    const bool last = size == utf8.size();
    if (XML_Parse(parser, utf8.data(), static_cast<int>(size), last ? XML_TRUE : XML_FALSE) !=
        XML_STATUS_OK) {
      ok = false;
      break;
    }
    utf8.remove_prefix(size);
  } while (!utf8.empty());
  const bool noMemory = !ok && XML_GetErrorCode(parser) == XML_ERROR_NO_MEMORY;
  XML_ParserFree(parser);
  if (builder.Stopped()) return builder.failure;
  if (noMemory) return E_FAIL;
  return ok ? S_OK : E_INVALIDARG;
}

}  // namespace

XmlElement* XmlElement::AddChild(std::wstring childName) {
  auto child = std::make_unique<XmlElement>();
  child->name = std::move(childName);
  child->parent = this;
  children.push_back(std::move(child));
  return children.back().get();
}

XmlElement* XmlElement::FindLeaf(std::wstring_view childName) {
  for (const auto& child : children)
    if (child->name == childName && child->children.empty()) return child.get();
  return nullptr;
}

bool ValidXmlName(std::wstring_view name) {
  if (name.empty() || !NameStart(name.front())) return false;
  for (wchar_t c : name)
    if (!NameChar(c)) return false;
  return true;
}

bool ValidXmlText(std::wstring_view text) {
  for (wchar_t c : text) {
    const auto v = static_cast<std::uint32_t>(c);
    const bool ok = v == 0x9 || v == 0xA || v == 0xD || (v >= 0x20 && v <= 0xD7FF) ||
                    (v >= 0xE000 && v <= 0xFFFD) || (v >= 0x10000 && v <= 0x10FFFF);
    if (!ok) return false;
  }
  return true;
}

HRESULT ParseXmlDocument(std::string_view utf8, XmlElement* root) {
  XmlElement holder;
  const HRESULT hr = Parse(utf8, &holder);
  if (Failed(hr)) return hr;
  if (holder.children.size() != 1) return E_INVALIDARG;
  XmlElement& parsed = *holder.children.front();
  root->name = std::move(parsed.name);
  root->attributes = std::move(parsed.attributes);
  root->text = std::move(parsed.text);
  root->children = std::move(parsed.children);
  for (auto& child : root->children) child->parent = root;
  return S_OK;
}

HRESULT ParseXmlContent(std::string_view utf8, XmlElement* parent) {
  // Wrapped in an element of our own, so that several top-level elements and bare text parse.
  std::string wrapped;
  wrapped.reserve(utf8.size() + 8);
  wrapped += "<r>";
  wrapped += utf8;
  wrapped += "</r>";
  XmlElement holder;
  const HRESULT hr = Parse(wrapped, &holder);
  if (Failed(hr)) return hr;
  XmlElement& content = *holder.children.front();
  parent->text += content.text;
  for (auto& child : content.children) {
    child->parent = parent;
    parent->children.push_back(std::move(child));
  }
  if (!parent->children.empty() && IsBlank(parent->text)) parent->text.clear();
  return S_OK;
}

std::wstring SerializeXmlContent(const XmlElement& element, int depth) {
  std::wstring out;
  if (element.children.empty()) {
    Escape(element.text, false, &out);
    return out;
  }
  if (!IsBlank(element.text)) {
    out.append(static_cast<std::size_t>(depth) * 2, L' ');
    Escape(element.text, false, &out);
    out += L'\n';
  }
  for (const auto& child : element.children) SerializeElement(*child, depth, &out);
  return out;
}

std::string SerializeXmlDocument(const XmlElement& root) {
  std::wstring out = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  StartTag(root, &out);
  if (!root.children.empty() || !root.text.empty()) {
    if (!root.children.empty()) out += L'\n';
    out += SerializeXmlContent(root, 1);
  }
  out += L"</" + root.name + L">\n";
  return Utf8FromWide(out);
}

}  // namespace host::storage
