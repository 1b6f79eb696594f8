// The random transition over the real host's registered transitions, and over filtered views of
// them: it never picks itself, varies its pick, and without candidates hands out `to`.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "effects/KeloTransitions.h"
#include "effects/RandomTransition.h"
#include "support/Convert.h"
#include "support/REFString.h"
#include "tests/common/StubCollection.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using testhost::NameOf;

// The component name a component string holds.
std::wstring ComponentName(IUnknown* item) {
  ComPtr<IComponentString> component;
  if (item != nullptr) item->QueryInterface(IID_IComponentString, component.PutVoid());
  ComPtr<IString> name;
  if (component) component->GetText(kComponentName, name.Put());
  return testhost::Text(name.Get());
}

// Forwards to a real host collection, except that SelectKind keeps only the listed names and
// the "ComponentCollection" objects it makes are filtered the same way.
class FilteringCollection final : public testhost::StubCollection<FilteringCollection> {
 public:
  FilteringCollection(ComPtr<IComponentCollection> inner, std::set<std::wstring> keep)
      : inner_(std::move(inner)), keep_(std::move(keep)) {}

  HRESULT GetCount(int* count) override { return inner_->GetCount(count); }
  HRESULT GetItem(int index, IUnknown** item) override { return inner_->GetItem(index, item); }
  HRESULT Find(IString* name, int* index) override { return inner_->Find(name, index); }
  HRESULT Add(IUnknown* item) override { return inner_->Add(item); }
  HRESULT SelectKind(IString* kind) override {
    const HRESULT hr = inner_->SelectKind(kind);
    int count = 0;
    inner_->GetCount(&count);
    for (int i = count - 1; i >= 0; --i) {
      ComPtr<IUnknown> item;
      inner_->GetItem(i, item.Put());
      if (keep_.count(ComponentName(item.Get())) == 0) inner_->Remove(i);
    }
    return hr;
  }
  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override {
    const HRESULT hr = inner_->CreateByName(name, iid, out);
    if (hr != S_OK || !__REFStringEqual(name, RefView(L"ComponentCollection"))) return hr;
    auto made = ComPtr<IComponentCollection>::Adopt(static_cast<IComponentCollection*>(*out));
    *out = static_cast<IComponentCollection*>(new FilteringCollection(made, keep_));
    return S_OK;
  }

 private:
  ComPtr<IComponentCollection> inner_;
  std::set<std::wstring> keep_;
};

// Makes the random transition while the module's global collection keeps only `keep`.
ComPtr<IKeloTransition> MakeFiltered(std::set<std::wstring> keep) {
  auto global = ComPtr<IComponentCollection>::Adopt(new FilteringCollection(
      ComPtr<IComponentCollection>::Share(testhost::Global()), std::move(keep)));
  InitializeModule(nullptr, global.Get());
  auto effect = moduletest::New<CRandomTransition>();
  InitializeModule(nullptr, testhost::Global());
  return effect;
}

// The effect in use, or null.
IKeloTransition* Current(const ComPtr<IKeloTransition>& effect) {
  return moduletest::Raw<CRandomTransition>(effect)->Current();
}

unsigned char Pattern(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 5 + y * 3 + c);
}
unsigned char Other(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(200 - x - y * 7 - c);
}

// Catches: the random transition picking itself, missing a candidate or picking something that
// is not one, not randomizing the settings of what it picked.
TEST(RandomTransition, NeverPicksItselfAndVariesItsPick) {
  // The object names of what the host registers as transitions, without the random one
  // (preset components answer with their class's object name).
  auto all = testhost::Create<IComponentCollection>(L"ComponentCollection");
  ASSERT_TRUE(all);
  ASSERT_EQ(all->SelectKind(ComPtr<IString>::Adopt(ISCreate(kTransitionKind)).Get()), S_OK);
  std::set<std::wstring> expected;
  int count = 0, self = 0;
  all->GetCount(&count);
  for (int i = 0; i < count; ++i) {
    ComPtr<IUnknown> item;
    all->GetItem(i, item.Put());
    const std::wstring component = ComponentName(item.Get());
    self += component == L"RandomTransition";
    if (component == L"RandomTransition") continue;
    auto info = testhost::Create<IObjectInfo>(component);
    ASSERT_TRUE(info) << component;
    expected.insert(NameOf(info.Get()));
  }
  ASSERT_EQ(self, 1);
  ASSERT_GE(expected.size(), 2u);

  auto effect = moduletest::New<CRandomTransition>();
  std::set<std::wstring> seen;
  std::set<int> directions;  // a setting that effects with IRandomizableObject draw anew
  for (int i = 0; i < 400; ++i) {
    const std::wstring name = NameOf(Current(effect));
    seen.insert(name);
    if (name == L"CoverTransition") {
      ComPtr<IUIPropInterrogate> properties;
      Current(effect)->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
      int direction = -1;
      if (properties) properties->Inquire(1, &direction);
      directions.insert(direction);
    }
    EXPECT_EQ(effect->Uninitialize(), S_OK);
  }
  EXPECT_EQ(seen, expected) << "every candidate, and only candidates, over 400 picks";
  if (expected.count(L"CoverTransition") != 0) {
    EXPECT_GE(directions.size(), 2u) << "the picked effect randomizes its settings";
  }
}

// Catches: its own name counted as a candidate, a sole candidate not used, no candidate not
// handing out `to` with a reference for the caller, a missing `to` accepted.
TEST(RandomTransition, OneCandidateIsAlwaysPickedAndNoneHandsOutTo) {
  const ComPtr<ICIF> from = testhost::MakePicture(30, 20, 32, Pattern);
  const ComPtr<ICIF> to = testhost::MakePicture(30, 20, 32, Other);
  // Its own name is left out even where the host lists it, so one candidate remains.
  auto one = MakeFiltered({L"RandomTransition", L"DissolveTransition"});
  for (int i = 0; i < 50; ++i, one->Uninitialize())
    ASSERT_EQ(NameOf(Current(one)), L"DissolveTransition");
  EXPECT_EQ(testhost::Bytes(moduletest::Render(one.Get(), from.Get(), to.Get(), 0.0).Get()),
            testhost::Bytes(from.Get()));

  auto none = MakeFiltered({L"RandomTransition"});
  for (int i = 0; i < 20; ++i, none->Uninitialize()) ASSERT_EQ(Current(none), nullptr);
  ICIF* out = nullptr;
  to->AddRef();
  const std::uint32_t before = to->Release();
  ASSERT_EQ(none->DoTransition(from.Get(), to.Get(), &out, 0.5), S_OK);
  EXPECT_EQ(out, to.Get());
  EXPECT_EQ(out->Release(), before) << "one reference was added for the caller";
  out = from.Get();
  EXPECT_EQ(none->DoTransition(from.Get(), nullptr, &out, 0.5), E_FAIL);
  EXPECT_EQ(out, nullptr);
}

}  // namespace
