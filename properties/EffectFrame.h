// What every adjustable effect shares besides its transition: saving and loading its property
// table, naming its property pages, and the shapes of Replicate and Randomize.
#pragma once

#include <initializer_list>
#include <utility>

#include "frame/Object.h"
#include "support/Random.h"

// Save/Load write and read the property table: as XML when the stream offers IXMLStream, else
// into a folder stream; any other stream (or none) is left alone. Always S_OK.
template <class T>
class CDataPersistImpl : public IDataPersist {
 public:
  HRESULT Save(IDataStream* stream, int option) override {
    return PersistProperties(stream, option, /*save=*/true);
  }
  HRESULT Load(IDataStream* stream, int option) override {
    return PersistProperties(stream, option, /*save=*/false);
  }

 protected:
  ~CDataPersistImpl() = default;

 private:
  HRESULT PersistProperties(IDataStream* stream, int option, bool save) {
    if (stream == nullptr) return S_OK;
    IUIPropInterrogateEx* properties = static_cast<T*>(this);
    IUnknown* xml = nullptr;
    if (stream->QueryInterface(IID_IXMLStream, reinterpret_cast<void**>(&xml)) >= 0 &&
        xml != nullptr) {
      xml->Release();
      if (save)
        properties->UIPropInterrogate_SaveXML(nullptr, stream, option);
      else
        properties->UIPropInterrogate_LoadXML(nullptr, stream, option);
      return S_OK;
    }
    IFolderStream* folder = nullptr;
    if (stream->QueryInterface(IID_IFolderStream, reinterpret_cast<void**>(&folder)) >= 0 &&
        folder != nullptr) {
      if (save)
        properties->UIPropInterrogate_SaveFolderStream(nullptr, folder, option);
      else
        properties->UIPropInterrogate_LoadFolderStream(folder, option);
      folder->Release();
    }
    return S_OK;
  }
};

// A new host collection with one entry: key "", value "UIPropInterrogatePropPage" (the host's
// generic property page) and, when given, `texts` as the entry's third item with `option`.
HRESULT MakePropertyPages(INamedCollection** pages, const wchar_t* texts, int option);

// GetPages for effects whose page needs no string table.
template <class T>
class CPropertyPagesImpl : public IUIPropertyPageSpecify {
 public:
  HRESULT GetPages(int /*reserved*/, INamedCollection** pages, IUnknown** /*reserved2*/) override {
    return MakePropertyPages(pages, nullptr, 0);
  }

 protected:
  ~CPropertyPagesImpl() = default;
};

// Replicate of the common shape: a new T (as the factory makes it) handed out as its
// IKeloTransition, with each (property id, value) set on it through its IUIPropInterrogate.
template <class T>
HRESULT ReplicateWithProperties(IUnknown** copy,
                                std::initializer_list<std::pair<int, int>> settings) {
  IID iid = IID_IKeloTransition;
  const HRESULT hr = CObject<T>::_CreateInstance(nullptr, &iid, reinterpret_cast<void**>(copy));
  if (hr < 0) return hr;
  IUIPropInterrogate* properties = nullptr;
  (*copy)->QueryInterface(IID_IUIPropInterrogate, reinterpret_cast<void**>(&properties));
  if (properties != nullptr) {
    for (const auto& [id, value] : settings) properties->Control(id, value);
    properties->Release();
  }
  return S_OK;
}

// One setting drawn from gRandom: an integer among `count` values from `base`.
inline int RandomSetting(int count, int base = 0) {
  return RandomChoice(gRandom.Random(), count, base);
}
