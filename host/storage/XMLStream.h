// "XMLStream": an XML document that is written element by element and read as text.
//
// IXMLStream adds elements where the writing stands: BeginElement opens a child element and
// writes inside it until EndElement; SetItem sets a child element with a text (the first child
// of that name without children of its own gets the new text, else a new child is added).
// IString gives the content of the document's root element as indented XML text, which is what
// property loading parses; SetText and Append replace or extend that content with XML text.
// Texts handed out by GetBuffer stay valid for the life of the stream, so a reader may write
// into the stream while it still parses an earlier text.
// IDataStream::Open reads a document from a file (any root element; it is kept); Commit writes
// the document atomically as UTF-8 with a declaration, under the root element "KeloData" for a
// stream that was not opened from a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/common/HostObject.h"
#include "host/storage/XmlDocument.h"
#include "sdk/Storage.h"

namespace host::storage {

class XMLStream final : public HostObject<XMLStream, IDataStream, IXMLStream, IString> {
 public:
  XMLStream();

  // IDataStream. Open fails with E_FAIL when the file cannot be read and E_INVALIDARG when it
  // is not well-formed XML; the stream is unchanged then. `mode` is not used.
  HRESULT Open(tagREFString path, int mode) override;
  HRESULT Commit(tagREFString path) override;
  HRESULT Reserved5() override { return E_NOTIMPL; }

  // IXMLStream. Names must be XML names and texts XML characters, else E_INVALIDARG.
  HRESULT Reserved3() override { return E_NOTIMPL; }
  HRESULT Reserved4() override { return E_NOTIMPL; }
  HRESULT Reserved6() override { return E_NOTIMPL; }
  HRESULT Reserved7() override { return E_NOTIMPL; }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT BeginElement(tagREFString name, int reserved1, int reserved2) override;
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT SetItem(tagREFString name, int reserved1, IString* value, int reserved2) override;
  // E_FAIL when no element is open.
  HRESULT EndElement() override;

  // IString.
  HRESULT GetBuffer(const wchar_t** text, int* length) override;
  HRESULT SetText(int length, const wchar_t* text) override;
  HRESULT Append(int length, const wchar_t* text) override;

 private:
  void Changed() { dirty_ = true; }
  // Takes the text and children of `content` as the root's and starts writing at the root.
  void AdoptContent(XmlElement&& content);

  XmlElement root_;
  XmlElement* current_ = &root_;
  // Texts made by GetBuffer; the last one is current unless `dirty_`.
  std::vector<std::unique_ptr<std::wstring>> texts_;
  bool dirty_ = true;
};

}  // namespace host::storage
