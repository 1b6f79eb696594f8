#include "properties/PropertyTable.h"

#include <algorithm>

UIPropertyEntry* UIPropertyTable::Append(int id, void* value, unsigned flags) {
  if (count_ == capacity_) {
    auto** grown = new UIPropertyEntry*[capacity_ + growth_]();
    std::copy(entries_, entries_ + count_, grown);
    delete[] entries_;
    entries_ = grown;
    capacity_ += growth_;
  }
  auto* entry = new UIPropertyEntry;
  entry->id = id;
  entry->value = value;
  entry->flags = flags;
  entries_[count_++] = entry;
  return entry;
}

UIPropertyEntry* UIPropertyTable::Find(int id) const {
  for (int i = 0; i < count_; ++i)
    if (entries_[i]->id == id) return entries_[i];
  return nullptr;
}

void UIPropertyTable::Clear() {
  // The bound of 1000 is deliberate: a larger count is never cleared (nor the array freed).
  if (count_ == 0 || count_ > 1000) return;
  const int former = count_;
  count_ = 0;
  for (int i = 0; i < former; ++i) {
    UIPropertyEntry* entry = entries_[i];
    const int kind = entry->Kind();
    if (kind == kPropString || kind == kPropObject || kind == kPropInterface)
      entry->value = nullptr;  // the member belongs to the effect, which releases it
    if (entry->constraintKind == kConstraintChoices && entry->choices != nullptr)
      entry->choices->Release();
    delete entry;
    entries_[i] = nullptr;
  }
  delete[] entries_;
  entries_ = nullptr;
  capacity_ = 0;
}
