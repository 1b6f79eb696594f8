// "UIPropInterrogatePropPage": the property page that effects name in GetPages. It carries no
// behaviour here; the program that shows pages decides what to do with it.
#pragma once

#include "host/common/HostObject.h"
#include "sdk/Collections.h"

namespace host::storage {

class PropertyPage final : public HostObject<PropertyPage, IObjectInfo> {
 public:
  HRESULT GetName(int reserved, tagREFString* name) override;
};

}  // namespace host::storage
