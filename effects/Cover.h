// "CoverTransition", "PushTransition", "CrushTransition": the incoming picture slides in over
// the outgoing one (cover), pushes it out (push), or grows while squeezing it (crush).
#pragma once

#include <array>

#include "properties/EffectFrame.h"
#include "properties/PropInterrogate.h"

class CCover : public CObjectRoot,
               public IObjectInfoImpl<CCover>,
               public IUIPropInterrogateImpl<CCover, IUIPropInterrogateEx, 10>,
               public IUIPropertyPageSpecify,
               public IRandomizableObject,
               public CDataPersistImpl<CCover>,
               public IKeloTransition,
               public IReplicableObject {
 public:
  enum Property { kDirection = 1, kStyle = 2 };
  enum Style { kCover = 0, kPush = 1, kCrush = 2 };

  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<CCover, IObjectInfo>(&IID_IObjectInfo),
        Entry<CCover, IKeloTransition>(&IID_IKeloTransition),
        Entry<CCover, IRandomizableObject>(&IID_IRandomizableObject),
        Entry<CCover, IReplicableObject>(&IID_IReplicableObject),
        Entry<CCover, IDataPersist>(&IID_IDataPersist),
        // Asked for IUIPropInterrogate, the object answers with its extended interface.
        Entry<CCover, IUIPropInterrogateEx>(&IID_IUIPropInterrogate),
        Entry<CCover, IUIPropertyPageSpecify>(&IID_IUIPropertyPageSpecify)};
    return table;
  }

  HRESULT FinalConstruct() override;
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  HRESULT Uninitialize() override { return S_OK; }
  HRESULT Randomize() override;
  HRESULT Replicate(IUnknown** copy) override;
  HRESULT GetPages(int reserved, INamedCollection** pages, IUnknown** reserved2) override;

 protected:
  ~CCover() = default;

 private:
  std::int32_t direction_ = 0;  // 0 top, 1 right, 2 bottom, 3 left; others behave as 1
  std::int32_t style_ = 0;      // 0 cover, 1 push, 2 crush; others: the outgoing picture alone
};

// Name records of the two presets; objects made by them still name themselves "CoverTransition".
class CCoverPush;
class CCoverCrush;

template <>
const tagREFString IObjectInfoImpl<CCover>::m_ObjectName;
template <>
const tagREFString IObjectInfoImpl<CCoverPush>::m_ObjectName;
template <>
const tagREFString IObjectInfoImpl<CCoverCrush>::m_ObjectName;
