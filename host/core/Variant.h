// "Variant": holds nothing, an integer, a double, a string (IString) or an object.
//
// GetType answers the codes of sdk/Collections.h: 0 for nothing or an object, 1 for an
// integer, 2 for a double, 8 for a string. Numbers convert both ways (a double to an integer by
// truncation toward zero) and a string whose whole text is a number converts to that number.
// GetString gives the held string itself with a reference, or a new string with the text of a
// number; GetObject gives the held object, or null and S_FALSE when it holds anything else.
#pragma once

#include <variant>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::core {

class Variant final : public HostObject<Variant, IVariant> {
 public:
  HRESULT GetType(int* type) override;
  HRESULT GetDouble(double* value) override;
  HRESULT GetInteger(int* value) override;
  HRESULT SetInteger(int value) override;
  HRESULT SetDouble(double value) override;
  HRESULT SetObject(IUnknown* object) override;
  HRESULT GetObject(IUnknown** object) override;
  HRESULT SetString(IString* text) override;
  HRESULT IsString(int* isString) override;
  HRESULT GetString(IString** text) override;

 private:
  // Keeps `object` with a reference, or nothing for null.
  template <class I>
  void Hold(I* object);
  // The held I with a reference in *out; false (and null) when no I is held.
  template <class I>
  bool HandOut(I** out) const;

  struct Empty {};
  std::variant<Empty, int, double, ComPtr<IString>, ComPtr<IUnknown>> value_;
};

}  // namespace host::core
