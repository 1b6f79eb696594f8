// The two cross-fades. Neither has properties; both answer IObjectInfo and IKeloTransition.
#pragma once

#include <array>

#include "frame/Object.h"

class CDissolve : public CSimpleTransition<CDissolve> {
 public:
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CDissolve() = default;
};

class CDissolveAdditive : public CSimpleTransition<CDissolveAdditive> {
 public:
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CDissolveAdditive() = default;
};

template <>
const tagREFString IObjectInfoImpl<CDissolve>::m_ObjectName;
template <>
const tagREFString IObjectInfoImpl<CDissolveAdditive>::m_ObjectName;
