// Storing a property table in XML streams and folder streams. Everything goes through the
// interrogation operations (Inquire, Control, InquireEx, ControlEx), never the members.
#include <cstring>
#include <cwctype>
#include <string>

#include "frame/Loader.h"
#include "properties/PropInterrogate.h"
#include "properties/TextTable.h"
#include "sdk/ComPtr.h"
#include "support/Convert.h"
#include "support/FileName.h"
#include "support/REFString.h"

namespace properties {

namespace {

template <class I>
I* Query(IUnknown* object, const IID& iid) {
  I* result = nullptr;
  if (object != nullptr) object->QueryInterface(iid, reinterpret_cast<void**>(&result));
  return result;
}

// Names properties from the host string table named after the object (or by `names`), keyed by
// the property id; without a table or an entry the name is the id in decimal.
class PropertyNamer {
 public:
  PropertyNamer(IUnknown* object, INamedCollection* names) : table_(OpenTextTable(names, object)) {}
  ~PropertyNamer() {
    if (table_ != nullptr) table_->Release();
  }
  PropertyNamer(const PropertyNamer&) = delete;
  PropertyNamer& operator=(const PropertyNamer&) = delete;

  // For XML every space of a name from the table becomes '_'.
  std::wstring Name(int id, bool forXML) const {
    const std::wstring key = std::to_wstring(id);
    if (table_ != nullptr) {
      IString* keyString = ISCreate(RefView(key));
      IString* text = FindText(table_, keyString);
      if (keyString != nullptr) keyString->Release();
      if (text != nullptr) {
        const CREFString view(text);
        std::wstring name(view.text, static_cast<std::size_t>(view.length));
        text->Release();
        if (forXML)
          for (wchar_t& c : name)
            if (c == L' ') c = L'_';
        return name;
      }
    }
    return key;
  }

 private:
  IStringTable* table_ = nullptr;
};

// Flags of a colour property: an integer with the colour sub-kind, nothing else.
constexpr unsigned kColourFlags = 0x23;

bool SkippedByStreams(const UIPropertyEntry& entry) {
  return (entry.flags & kPropNotSavedXML) != 0;
}

// A file-name property is stored relative to the install path.
IString* RelativeToInstallPath(IString* path) {
  IString* base = nullptr;
  IString* relative = nullptr;
  if (FILENAMEGetInstallPath(&base) == 0 && FILENAMECreateRelative(base, path, &relative) == 0) {
    base->Release();
    return relative;
  }
  if (base != nullptr) base->Release();
  return nullptr;
}

IString* TextOfColour(int value) {
  // Colours are kept as 0x00BBGGRR and written as #RRGGBB: the first and third bytes swap.
  const auto v = static_cast<std::uint32_t>(value);
  const std::uint32_t swapped = (v & 0xFF00FF00u) | ((v & 0xFFu) << 16) | ((v >> 16) & 0xFFu);
  wchar_t buffer[32];
  _swprintf(buffer, 32, swapped >= 0x1000000u ? L"#%X" : L"#%06X", swapped);
  return ISCreate(buffer);
}

std::wstring ElementName(const wchar_t* begin, const wchar_t* end) {
  auto dropLeading = [](wchar_t c) {
    return std::iswspace(c) || std::iswcntrl(c) || c == 0xEF || c == 0xFE;
  };
  auto dropTrailing = [](wchar_t c) {
    return c == L' ' || std::iswcntrl(c) || c == 0x7F || c == 0xFF;
  };
  while (begin < end && dropLeading(*begin)) ++begin;
  while (end > begin && dropTrailing(end[-1])) --end;
  return std::wstring(begin, end);
}

bool SameNameIgnoringCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::towlower(a[i]) != std::towlower(b[i])) return false;
  return true;
}

}  // namespace

HRESULT SaveXML(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                INamedCollection* names, IDataStream* stream) {
  IXMLStream* xml = Query<IXMLStream>(stream, IID_IXMLStream);
  if (xml == nullptr) return S_OK;
  const PropertyNamer namer(object, names);
  for (int i = 0; i < table.Count(); ++i) {
    const UIPropertyEntry& entry = *table.At(i);
    if (SkippedByStreams(entry)) continue;
    const std::wstring name = namer.Name(entry.id, true);
    IString* text = nullptr;
    const int kind = entry.Kind();
    if (kind <= kPropInt32) {
      int value = 0;
      self->Inquire(entry.id, &value);
      text = entry.flags == kColourFlags ? TextOfColour(value) : ISCreate(value);
    } else if (kind == kPropFloat || kind == kPropDouble) {
      // Inquire refuses doubles, so a double property writes 0 here: only the folder-stream
      // form keeps a double's value.
      int bits = 0;
      self->Inquire(entry.id, &bits);
      text = ISCreate(static_cast<double>(BitsFloat(bits)), -1);
    } else if (kind == kPropString) {
      IUnknown* held = nullptr;
      self->InquireEx(entry.id, &held);
      text = Query<IString>(held, IID_IString);
      if (held != nullptr) held->Release();
      if (text != nullptr && (entry.flags & kPropFileName) != 0) {
        if (IString* relative = RelativeToInstallPath(text)) {
          text->Release();
          text = relative;
        }
      }
    } else {
      continue;  // objects and the rest are not written
    }
    if (text != nullptr) {
      xml->SetItem(RefView(name), 0, text, 0);
      text->Release();
    }
  }
  xml->Release();
  return S_OK;
}

HRESULT LoadXML(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                INamedCollection* names, IDataStream* stream) {
  IXMLStream* xml = Query<IXMLStream>(stream, IID_IXMLStream);
  if (xml == nullptr) return S_OK;
  const PropertyNamer namer(object, names);
  IString* document = Query<IString>(stream, IID_IString);
  CREFString rest(document);
  while (rest.length > 0) {
    // The next opening tag: a '<' not followed by '/'.
    int open = 0;
    while (open < rest.length &&
           !(rest.text[open] == L'<' && (open + 1 >= rest.length || rest.text[open + 1] != L'/')))
      ++open;
    if (open >= rest.length) break;
    int close = open + 1;
    while (close < rest.length && rest.text[close] != L'>') ++close;
    const std::wstring element = ElementName(rest.text + open + 1, rest.text + close);

    CREFString text(rest.text + open, rest.length - open);
    CREFString tag(rest.text + open + 1, close - open - 1);
    CREFString attributes, value;
    if (XMLGetTAGGED(text, tag, attributes, value, 1) < 0) break;
    rest = text;

    for (int i = 0; i < table.Count(); ++i) {
      const UIPropertyEntry& entry = *table.At(i);
      if (SkippedByStreams(entry) || !SameNameIgnoringCase(namer.Name(entry.id, true), element))
        continue;
      const int kind = entry.Kind();
      if (kind <= kPropInt32) {
        const bool colour = entry.flags == kColourFlags;
        self->Control(entry.id, colour ? _IS2Color(value, 10) : _IS2Integer(value, 10));
      } else if (kind == kPropFloat || kind == kPropDouble) {
        const auto narrowed = static_cast<float>(_IS2Double(value));
        // The narrowed value is also written back into the stream under the same name.
        if (IString* echo = ISCreate(static_cast<double>(narrowed), -1)) {
          xml->SetItem(RefView(namer.Name(entry.id, true)), 0, echo, 0);
          echo->Release();
        }
        self->Control(entry.id, FloatBits(narrowed));
      } else if (kind == kPropString) {
        IString* string = ISCreate(value);
        if (string != nullptr && (entry.flags & kPropFileName) != 0) {
          IString* absolute = nullptr;
          if (FILENAMECreateAbsolute(string, &absolute, 0) == 0 && absolute != nullptr) {
            string->Release();
            string = absolute;
          }
        }
        self->ControlEx(entry.id, string);
        if (string != nullptr) string->Release();
      }
      break;  // the first matching property takes the element
    }
  }
  if (document != nullptr) document->Release();
  xml->Release();
  return S_OK;
}

HRESULT SaveFolderStream(IUIPropInterrogateEx* self, IUnknown* object, const UIPropertyTable& table,
                         INamedCollection* names, IFolderStream* folder) {
  if (folder == nullptr) return S_OK;
  const PropertyNamer namer(object, names);
  for (int i = 0; i < table.Count(); ++i) {
    const UIPropertyEntry& entry = *table.At(i);
    if (SkippedByStreams(entry)) continue;
    IFolderStream* sub = nullptr;
    folder->CreateFolder(RefView(namer.Name(entry.id, false)), &sub);
    if (sub == nullptr) continue;
    const std::int32_t id = entry.id;
    const std::uint32_t flags = entry.flags;
    sub->WriteBinary(RefLiteral(L"ID"), &id, 4, 0);
    sub->WriteBinary(RefLiteral(L"Flags"), &flags, 4, 0);
    const int kind = entry.Kind();
    if (kind <= kPropInt32) {
      int value = 0;
      self->Inquire(entry.id, &value);
      sub->WriteBinary(RefLiteral(L"Value"), &value, 4, 0);
    } else if (kind == kPropFloat) {
      int bits = 0;
      self->Inquire(entry.id, &bits);
      const double value = BitsFloat(bits);
      sub->WriteBinary(RefLiteral(L"Value"), &value, 8, 0);
    } else if (kind == kPropDouble) {
      IUnknown* held = nullptr;
      self->InquireEx(entry.id, &held);
      double value = 0;
      if (IVariant* variant = Query<IVariant>(held, IID_IVariant)) {
        variant->GetDouble(&value);
        variant->Release();
      }
      if (held != nullptr) held->Release();
      sub->WriteBinary(RefLiteral(L"Value"), &value, 8, 0);
    } else if (kind == kPropString) {
      IUnknown* held = nullptr;
      self->InquireEx(entry.id, &held);
      IString* text = Query<IString>(held, IID_IString);
      if (held != nullptr) held->Release();
      if (text != nullptr && (entry.flags & kPropFileName) != 0) {
        // Relative to the install path; failing that, mapped ("[InstallPath]..."); else as it is.
        IString* stored = RelativeToInstallPath(text);
        if (stored == nullptr && FILENAMEMap(text, &stored, 0) != 0) stored = nullptr;
        if (stored != nullptr) {
          text->Release();
          text = stored;
        }
      }
      if (text != nullptr) {
        sub->WriteString(RefLiteral(L"Value"), text);
        text->Release();
      }
    } else if (kind == kPropObject) {
      IUnknown* held = nullptr;
      self->InquireEx(entry.id, &held);
      sub->WriteObject(RefLiteral(L"Value"), held);
      if (held != nullptr) held->Release();
    }
    sub->Release();
  }
  return S_OK;
}

HRESULT LoadFolderStream(IUIPropInterrogateEx* self, const UIPropertyTable& table,
                         IFolderStream* folder) {
  if (folder == nullptr) return S_OK;
  for (int index = 0;; ++index) {
    IFolderStream* sub = nullptr;
    IVariant* position = IVCreate(index);
    const HRESULT opened = folder->OpenFolder(position, &sub);
    if (position != nullptr) position->Release();
    if (opened < 0 || sub == nullptr) break;

    std::int32_t id = 0;
    std::uint32_t flags = 0;
    // Sub-folders are matched by their stored id, not their name.
    const UIPropertyEntry* entry = nullptr;
    if (sub->ReadBinary(RefLiteral(L"ID"), &id, 4, 0) >= 0 &&
        sub->ReadBinary(RefLiteral(L"Flags"), &flags, 4, 0) >= 0)
      entry = table.Find(id);
    if (entry != nullptr && (flags & kPropKindMask) == (entry->flags & kPropKindMask) &&
        !SkippedByStreams(*entry)) {
      switch (entry->Kind()) {
        case kPropDouble: {
          double value = 0;  // the 8-byte reads are not checked
          sub->ReadBinary(RefLiteral(L"Value"), &value, 8, 0);
          if (IVariant* variant = IVCreate(value)) {
            self->ControlEx(id, variant);
            variant->Release();
          }
          break;
        }
        case kPropFloat: {
          double value = 0;
          sub->ReadBinary(RefLiteral(L"Value"), &value, 8, 0);
          self->Control(id, FloatBits(static_cast<float>(value)));
          break;
        }
        case kPropString: {
          IString* text = nullptr;
          sub->ReadString(RefLiteral(L"Value"), &text);
          if (text != nullptr) {
            IString* restored = nullptr;
            if (FILENAMEUnmap(text, &restored) == 0 && restored != nullptr) {
              text->Release();
              text = restored;
            } else if ((flags & kPropFileName) != 0 &&
                       FILENAMECreateAbsolute(text, &restored, 0) == 0 && restored != nullptr) {
              text->Release();
              text = restored;
            }
            if ((flags & 0x30) != 0) CheckSeparator(CREFString(text));
          }
          self->ControlEx(id, text);
          if (text != nullptr) text->Release();
          break;
        }
        case kPropObject: {
          IUnknown* value = nullptr;
          sub->ReadObject(RefLiteral(L"Value"), &value);
          self->ControlEx(id, value);
          if (value != nullptr) value->Release();
          break;
        }
        default: {
          if (entry->Kind() <= kPropInt32) {
            std::int32_t value = 0;
            if (sub->ReadBinary(RefLiteral(L"Value"), &value, 4, 0) >= 0) self->Control(id, value);
          }
          break;
        }
      }
    }
    sub->Release();
  }
  return S_OK;
}

}  // namespace properties
