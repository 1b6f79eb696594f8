#include "host/storage/PropertyPage.h"

namespace host::storage {

HRESULT PropertyPage::GetName(int /*reserved*/, tagREFString* name) {
  if (name == nullptr) return E_INVALIDARG;
  *name = RefLiteral(L"UIPropInterrogatePropPage");
  return S_OK;
}

}  // namespace host::storage
