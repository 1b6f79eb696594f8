#include "properties/PropInterrogate.h"

#include <algorithm>

#include "properties/TextTable.h"
#include "support/Convert.h"
#include "support/REFString.h"

namespace properties {

namespace {

template <class Member>
bool Transfer(void* member, int* value, bool read) {
  if (read)
    *value = *static_cast<Member*>(member);
  else
    *static_cast<Member*>(member) = static_cast<Member>(*value);
  return true;
}

// Moves a property's 32-bit form between the member and *value: Inquire reads, Control writes.
// Narrow kinds keep their low bits; a float travels as its bit pattern, and a double is written
// from a float's bit pattern but has no 32-bit reading. Kind 8 reads as 0. Kinds 0 and 6..9
// store nothing and succeed on writing. False: the kind has nothing to read.
bool Exchange(const UIPropertyEntry& entry, int* value, bool read) {
  switch (entry.Kind()) {
    case kPropUInt8:
      return Transfer<std::uint8_t>(entry.value, value, read);
    case kPropInt16:
      return Transfer<std::int16_t>(entry.value, value, read);
    case kPropInt32:
      return Transfer<std::int32_t>(entry.value, value, read);
    case kPropFloat:
      if (read)
        *value = FloatBits(*static_cast<float*>(entry.value));
      else
        *static_cast<float*>(entry.value) = BitsFloat(*value);
      return true;
    case kPropDouble:
      if (!read) *static_cast<double*>(entry.value) = BitsFloat(*value);
      return !read;
    case kPropConstantZero:
      if (read) *value = 0;
      return true;
    default:
      return !read;
  }
}

}  // namespace

HRESULT Inquire(const UIPropertyTable& table, int id, int* value) {
  if (id == UIPROP_ALL) {
    if (value != nullptr) *value = table.Count();
    return S_OK;
  }
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr) return E_INVALIDARG;
  if (value != nullptr && entry->value != nullptr && !Exchange(*entry, value, /*read=*/true))
    return E_FAIL;  // kinds without a 32-bit reading (double, strings, objects)
  // The flags word is the success result, so callers test for "not negative".
  return static_cast<HRESULT>(entry->flags);
}

HRESULT Control(const UIPropertyTable& table, int id, int value) {
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr || entry->value == nullptr) return E_INVALIDARG;
  // Nothing is checked against the range or the choices, and nothing is clamped.
  Exchange(*entry, &value, /*read=*/false);
  return S_OK;
}

HRESULT ParameterRange(const UIPropertyTable& table, int id, int* minimum, int* maximum) {
  auto zero = [&] {
    if (minimum != nullptr) *minimum = 0;
    if (maximum != nullptr) *maximum = 0;
  };
  if (id == UIPROP_ALL) {
    if (table.Count() == 0) {
      zero();
      return E_FAIL;
    }
    int low = table.At(0)->id, high = low;
    for (int i = 1; i < table.Count(); ++i) {
      low = std::min(low, table.At(i)->id);
      high = std::max(high, table.At(i)->id);
    }
    if (minimum != nullptr) *minimum = low;
    if (maximum != nullptr) *maximum = high;
    return S_OK;
  }
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr || entry->constraintKind != kConstraintRange) {
    zero();
    return E_INVALIDARG;
  }
  if (minimum != nullptr) *minimum = entry->minimum;
  if (maximum != nullptr) *maximum = entry->maximum;
  return S_OK;
}

HRESULT ParameterEnumeration(const UIPropertyTable& table, int id, IUnknown** choices) {
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr || entry->constraintKind != kConstraintChoices) return E_INVALIDARG;
  if (entry->choices != nullptr) entry->choices->AddRef();
  *choices = entry->choices;
  return S_OK;
}

HRESULT InquireEx(const UIPropertyTable& table, int id, IUnknown** value) {
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr) return E_INVALIDARG;
  const auto flags = static_cast<HRESULT>(entry->flags);
  if (value == nullptr || entry->value == nullptr) return flags;
  switch (entry->Kind()) {
    case kPropString:
    case kPropObject: {
      IUnknown* held = *static_cast<IUnknown**>(entry->value);
      if (held != nullptr) held->AddRef();
      *value = held;
      return flags;
    }
    case kPropDouble: {
      IVariant* variant = CREFString::CreateVariant();
      if (variant == nullptr) return E_FAIL;
      variant->SetDouble(*static_cast<double*>(entry->value));
      *value = variant;
      return flags;
    }
    default:
      return E_FAIL;
  }
}

HRESULT ControlEx(const UIPropertyTable& table, int id, IUnknown* value, CObjectRoot& object) {
  const UIPropertyEntry* entry = table.Find(id);
  if (entry == nullptr) return E_INVALIDARG;
  switch (entry->Kind()) {
    case kPropString: {
      object.Lock();
      auto** held = static_cast<IString**>(entry->value);
      if (*held != nullptr) (*held)->Release();
      *held = nullptr;
      if (value != nullptr) value->QueryInterface(IID_IString, reinterpret_cast<void**>(held));
      object.Unlock();
      return S_OK;
    }
    case kPropObject: {
      object.Lock();
      auto** held = static_cast<IUnknown**>(entry->value);
      if (*held != nullptr) (*held)->Release();
      if (value != nullptr) value->AddRef();
      *held = value;
      object.Unlock();
      return S_OK;
    }
    case kPropDouble: {
      IVariant* variant = nullptr;
      if (value == nullptr ||
          value->QueryInterface(IID_IVariant, reinterpret_cast<void**>(&variant)) < 0 ||
          variant == nullptr)
        return E_FAIL;
      variant->GetDouble(static_cast<double*>(entry->value));
      variant->Release();
      return S_OK;
    }
    default:
      return E_FAIL;
  }
}

HRESULT PropE(UIPropertyTable& table, IUnknown* object, int id, void* value, int flags,
              IUnknown* textSource, int textId, int* choicesOption) {
  // The table: the text source itself when it is a string, else the one named after the
  // component of the text source (or of this object).
  IStringTable* strings = OpenTextTable(textSource, textSource != nullptr ? textSource : object);
  if (strings == nullptr) return E_FAIL;
  IString* key = ISCreate(textId);
  IString* text = FindText(strings, key);
  if (key != nullptr) key->Release();
  strings->Release();
  if (text == nullptr) return E_FAIL;

  IUnknown* choices = CollectionCreate(CREFString(text), L'|', choicesOption);
  text->Release();

  unsigned entryFlags = static_cast<unsigned>(flags);
  if ((entryFlags & kPropKindMask) == kPropNone) entryFlags += kPropInt32;
  UIPropertyEntry* entry = table.Append(id, value, entryFlags);
  if (choices != nullptr) {
    entry->constraintKind = kConstraintChoices;
    entry->choices = choices;
  } else {
    entry->constraintKind = kConstraintRange;
    entry->minimum = 0;
    entry->maximum = (entryFlags & kPropSubKindMask) == kPropBoolean ? 1 : 0;
  }
  return S_OK;
}

}  // namespace properties
