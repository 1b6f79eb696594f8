#include "support/REFString.h"

#include "frame/Loader.h"

CREFString::CREFString(IString* string) : tagREFString{0, nullptr} {
  if (string != nullptr) string->GetBuffer(&text, &length);
}

IString* CREFString::CreateString() {
  static CachedComponent gStringComponent;
  return static_cast<IString*>(CreateFromCollectionsComponent(
      gStringComponent, RefLiteral(L"CreatableString"), IID_ICreatableString));
}

IVariant* CREFString::CreateVariant() {
  static CachedComponent gVariantComponent;
  return static_cast<IVariant*>(
      CreateFromCollectionsComponent(gVariantComponent, RefLiteral(L"Variant"), IID_IVariant));
}

ISuperCollection* CREFString::CreateCollection() {
  static CachedComponent gCollectionComponent;
  return static_cast<ISuperCollection*>(CreateFromCollectionsComponent(
      gCollectionComponent, RefLiteral(L"SuperCollection"), IID_ISuperCollection));
}
