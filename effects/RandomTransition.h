// "RandomTransition": no picture code of its own; it picks one of the transitions the host has
// registered, lets it randomize its settings and passes every frame on to it. Each Uninitialize
// makes a new pick.
#pragma once

#include <array>

#include "frame/Object.h"

class CRandomTransition : public CSimpleTransition<CRandomTransition> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"RandomTransition");

  // Gathers the candidates (every "KeloSlideTransition" component but this one) and makes the
  // first pick. Always S_OK.
  HRESULT FinalConstruct() override;
  // The current effect's DoTransition; without one, *out = to with one added reference
  // (E_FAIL for a null to).
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  // A new pick drawn from gRandom. Always S_OK.
  HRESULT Uninitialize() override;

  // The effect in use (borrowed), or null.
  IKeloTransition* Current() const { return current; }

 protected:
  ~CRandomTransition();

 private:
  IKeloTransition* current = nullptr;          // owned; the effect in use, or null
  IComponentCollection* candidates = nullptr;  // owned; one component string per candidate
};
