// "DeformTransition": the outgoing picture distorts more and more while the incoming one, distorted
// at first, relaxes into its true shape; a dissolve of its own cross-fades the two.
#pragma once

#include "properties/AdjustableEffect.h"

class CDeform : public CAdjustableEffect<CDeform> {
 public:
  enum Property { kOutgoingStyle = 1, kIncomingStyle = 2 };

  static constexpr tagREFString kName = RefLiteral(L"DeformTransition");
  static const EffectDeclaration<CDeform> kDeclaration;

  // Fewer answers than the common shape: it carries the property table (saved and loaded through
  // IDataPersist) but does not answer IUIPropInterrogate, and it is neither randomizable nor
  // replicable from outside.
  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<CDeform, IObjectInfo>(&IID_IObjectInfo),
        Entry<CDeform, IKeloTransition>(&IID_IKeloTransition),
        Entry<CDeform, IDataPersist>(&IID_IDataPersist),
        Entry<CDeform, IUIPropertyPageSpecify>(&IID_IUIPropertyPageSpecify)};
    return table;
  }

  CDeform();  // makes the owned dissolve
  // The owned dissolve's status.
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CDeform();

 private:
  // The host deformations of the two pictures, passed to it unchanged (its styles are 0..4).
  std::int32_t outgoing_ = 2;
  std::int32_t incoming_ = 2;
  IKeloTransition* dissolve_ = nullptr;  // owned
};
