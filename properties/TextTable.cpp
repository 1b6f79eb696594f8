#include "properties/TextTable.h"

#include "frame/Loader.h"

namespace properties {

IStringTable* OpenTextTable(IUnknown* source, IUnknown* attachTo) {
  IString* tableName = nullptr;
  if (source != nullptr) source->QueryInterface(IID_IString, reinterpret_cast<void**>(&tableName));
  if (tableName == nullptr) {
    IID iid = IID_IComponentString;
    if (auto* component =
            static_cast<IComponentString*>(CreateObject(RefLiteral(L"ComponentString"), &iid))) {
      component->Attach(attachTo);
      component->GetText(kComponentName, &tableName);
      component->Release();
    }
  }
  if (tableName == nullptr) return nullptr;
  IID iid = IID_IStringTable;
  auto* table = static_cast<IStringTable*>(CreateObject(RefLiteral(L"StringTable"), &iid));
  if (table != nullptr && table->Open(tableName) < 0) {
    table->Release();
    table = nullptr;
  }
  tableName->Release();
  return table;
}

IString* FindText(IStringTable* table, IString* key) {
  if (table == nullptr || key == nullptr) return nullptr;
  int index = 0;
  IString* text = nullptr;
  if (table->Find(key, &index) >= 0) table->GetText(index, &text);
  return text;
}

}  // namespace properties
