#include "properties/AdjustableEffect.h"

#include <cwchar>

#include "support/Convert.h"
#include "support/REFString.h"

HRESULT MakePropertyPages(INamedCollection** pages, const wchar_t* texts, int option) {
  ISuperCollection* collection = CREFString::CreateCollection();
  if (collection == nullptr) return E_FAIL;
  IString* key = ISCreate(RefLiteral(L""));
  IString* page = ISCreate(RefLiteral(L"UIPropInterrogatePropPage"));
  IString* extra =
      texts != nullptr
          ? ISCreate(tagREFString{static_cast<std::int32_t>(std::wcslen(texts)), texts})
          : nullptr;
  collection->Add(key, page, extra, option);
  for (IString* s : {key, page, extra})
    if (s != nullptr) s->Release();
  *pages = collection;
  return S_OK;
}

HRESULT PersistProperties(IUIPropInterrogateEx* properties, IDataStream* stream, int option,
                          bool save) {
  if (stream == nullptr) return S_OK;
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
