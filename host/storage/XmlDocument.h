// An XML element tree for the "XMLStream" component: parsed with expat, written back as
// indented, well-formed UTF-8 XML.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/Com.h"

namespace host::storage {

struct XmlElement {
  std::wstring name;
  std::vector<std::pair<std::wstring, std::wstring>> attributes;
  // Character data. Kept exactly for an element without children; for one with children
  // (mixed content) only text that is not blank is kept, written before the children.
  std::wstring text;
  std::vector<std::unique_ptr<XmlElement>> children;
  XmlElement* parent = nullptr;

  XmlElement* AddChild(std::wstring childName);
  // The first child named `childName` that has no children of its own, or null.
  XmlElement* FindLeaf(std::wstring_view childName);
};

// Deeper documents are refused (their handling would recurse too deep).
inline constexpr int kMaxXmlDepth = 512;

// True for a name XML accepts as an element name.
bool ValidXmlName(std::wstring_view name);
// True when every character may appear in XML text.
bool ValidXmlText(std::wstring_view text);

// Parses a whole document into `root`. E_INVALIDARG (and `root` untouched) when it is not
// well-formed or too deep. When memory runs out: E_FAIL, or std::bad_alloc.
HRESULT ParseXmlDocument(std::string_view utf8, XmlElement* root);
// Parses the content of an element (text and elements, no single root needed) and adds it to
// `parent`. E_INVALIDARG (and `parent` untouched) when it is not well-formed. When memory runs
// out: E_FAIL, or std::bad_alloc.
HRESULT ParseXmlContent(std::string_view utf8, XmlElement* parent);

// The children and text of `element`, indented two spaces per level starting at `depth`.
std::wstring SerializeXmlContent(const XmlElement& element, int depth);
// A whole document: declaration, `root`'s start tag, its content, its end tag.
std::string SerializeXmlDocument(const XmlElement& root);

}  // namespace host::storage
