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
