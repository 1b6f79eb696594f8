// "TwirlTransition": the incoming picture shows as a square at the centre of the outgoing one,
// grows to the full width and spins while it grows, coming to rest unturned at the end.
#pragma once

#include "properties/AdjustableEffect.h"

// Not of the common shape: its bases come in their own order, it has no IReplicableObject base,
// and its primary table runs, after Unlock: GetPages, get_Revolutions, put_Revolutions,
// Uninitialize, DoTransition, Randomize, Replicate, Save, Load (the order the overrides below
// are declared in), which is where a host that calls that table by slot finds them.
class CTwirl : public CObjectRoot,
               public IObjectInfoImpl<CTwirl>,
               public IRandomizableObject,
               public IDataPersist,
               public IKeloTransition,
               public ITwirl,
               public IUIPropInterrogateImpl<CTwirl, IUIPropInterrogateEx, 10>,
               public IUIPropertyPageSpecify {
 public:
  enum Property { kRevolutions = 1 };

  static constexpr tagREFString kName = RefLiteral(L"TwirlTransition");
  static const EffectDeclaration<CTwirl> kDeclaration;

  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<CTwirl, IObjectInfo>(&IID_IObjectInfo), Entry<CTwirl, ITwirl>(&IID_ITwirl),
        Entry<CTwirl, IKeloTransition>(&IID_IKeloTransition),
        Entry<CTwirl, IRandomizableObject>(&IID_IRandomizableObject),
        // Answered by the primary interface, whose fourth operation is FinalConstruct: a call of
        // Replicate through this answer runs FinalConstruct again (which adds a second entry).
        PrimaryEntry<CTwirl>(&IID_IReplicableObject),
        Entry<CTwirl, IDataPersist>(&IID_IDataPersist),
        Entry<CTwirl, IUIPropInterrogateEx>(&IID_IUIPropInterrogate),
        Entry<CTwirl, IUIPropertyPageSpecify>(&IID_IUIPropertyPageSpecify)};
    return table;
  }

  // Adds the one property entry; the starting value is the constructor's, so running it again
  // leaves revolutions as they are.
  HRESULT FinalConstruct() override;

  HRESULT GetPages(int reserved, INamedCollection** pages, IUnknown** reserved2) override;
  // A null pointer is accepted: nothing is written and the result is S_OK.
  HRESULT get_Revolutions(float* value) override;
  // Stored widened to double, unchecked.
  HRESULT put_Revolutions(float value) override;
  HRESULT Uninitialize() override { return S_OK; }
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  HRESULT Randomize() override;
  // A new twirl handed out as its ITwirl, its revolutions set through put_Revolutions (so
  // narrowed to float). Reached only through this class's own table.
  virtual HRESULT Replicate(IUnknown** copy);
  HRESULT Save(IDataStream* stream, int option) override;
  HRESULT Load(IDataStream* stream, int option) override;

 protected:
  ~CTwirl() = default;

 private:
  // Turns made while the square grows; negative turns the other way. Only the folder stream
  // keeps it exactly: the 32-bit Inquire the XML form relies on refuses a double.
  double revolutions_ = 1.0;
};
