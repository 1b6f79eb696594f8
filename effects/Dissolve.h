// The two cross-fades. Neither has properties; both answer IObjectInfo and IKeloTransition.
#pragma once

#include <array>

#include "frame/Object.h"

class CDissolve : public CObjectRoot, public IObjectInfoImpl<CDissolve>, public IKeloTransition {
 public:
  static const auto& Interfaces() {
    static constexpr std::array table{Entry<CDissolve, IObjectInfo>(&IID_IObjectInfo),
                                      Entry<CDissolve, IKeloTransition>(&IID_IKeloTransition)};
    return table;
  }
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  HRESULT Uninitialize() override { return S_OK; }

 protected:
  ~CDissolve() = default;
};

class CDissolveAdditive : public CObjectRoot,
                          public IObjectInfoImpl<CDissolveAdditive>,
                          public IKeloTransition {
 public:
  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<CDissolveAdditive, IObjectInfo>(&IID_IObjectInfo),
        Entry<CDissolveAdditive, IKeloTransition>(&IID_IKeloTransition)};
    return table;
  }
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  HRESULT Uninitialize() override { return S_OK; }

 protected:
  ~CDissolveAdditive() = default;
};

template <>
const tagREFString IObjectInfoImpl<CDissolve>::m_ObjectName;
template <>
const tagREFString IObjectInfoImpl<CDissolveAdditive>::m_ObjectName;
