// The random transition over the real host's registered transitions, and over filtered views of
// them: it never picks itself, varies its pick, and without candidates hands out `to`.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "effects/KeloTransitions.h"
#include "effects/RandomTransition.h"
#include "host/common/HostObject.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"

namespace {

std::wstring NameOf(IComponentString* component) {
  ComPtr<IString> name;
  component->GetText(kComponentName, name.Put());
  const CREFString view(name.Get());
  return std::wstring(view.text, static_cast<std::size_t>(view.length));
}

// Forwards to a real host collection, except that SelectKind keeps only the listed names and
// the "ComponentCollection" objects it makes are filtered the same way.
class FilteringCollection final
    : public host::HostObject<FilteringCollection, IComponentCollection> {
 public:
  FilteringCollection(ComPtr<IComponentCollection> inner, std::set<std::wstring> keep)
      : inner_(std::move(inner)), keep_(std::move(keep)) {}

  HRESULT GetCount(int* count) override { return inner_->GetCount(count); }
  HRESULT GetItem(int index, IUnknown** item) override { return inner_->GetItem(index, item); }
  HRESULT Find(IString* name, int* index) override { return inner_->Find(name, index); }
  HRESULT Remove(int index) override { return inner_->Remove(index); }
  HRESULT RemoveAll() override { return inner_->RemoveAll(); }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved10() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT Add(IUnknown* item) override { return inner_->Add(item); }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT SelectKind(IString* kind) override {
    const HRESULT hr = inner_->SelectKind(kind);
    int count = 0;
    inner_->GetCount(&count);
    for (int i = count - 1; i >= 0; --i) {
      ComPtr<IUnknown> item;
      inner_->GetItem(i, item.Put());
      auto component = item.As<IComponentString>();
      if (!component || keep_.count(NameOf(component.Get())) == 0) inner_->Remove(i);
    }
    return hr;
  }
  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override {
    const HRESULT hr = inner_->CreateByName(name, iid, out);
    if (hr != S_OK ||
        std::wstring(name.text, static_cast<std::size_t>(name.length)) != L"ComponentCollection")
      return hr;
    auto made = ComPtr<IComponentCollection>::Adopt(static_cast<IComponentCollection*>(*out));
    auto* filtered = new FilteringCollection(made, keep_);
    *out = static_cast<IComponentCollection*>(filtered);
    return S_OK;
  }

 private:
  ComPtr<IComponentCollection> inner_;
  std::set<std::wstring> keep_;
};

// Makes the random transition while the module's global collection keeps only `keep`.
ComPtr<IKeloTransition> MakeFiltered(std::set<std::wstring> keep) {
  auto* global = new FilteringCollection(ComPtr<IComponentCollection>::Share(testhost::Global()),
                                         std::move(keep));
  InitializeModule(nullptr, global);
  global->Release();
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  EXPECT_EQ(CObject<CRandomTransition>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  InitializeModule(nullptr, testhost::Global());
  return effect;
}

CRandomTransition* Inside(IKeloTransition* effect) {
  return static_cast<CRandomTransition*>(static_cast<CObject<CRandomTransition>*>(effect));
}

// The object name of the effect in use, or "" without one.
std::wstring PickedName(IKeloTransition* effect) {
  IKeloTransition* current = Inside(effect)->Current();
  if (current == nullptr) return L"";
  ComPtr<IObjectInfo> info;
  current->QueryInterface(IID_IObjectInfo, info.PutVoid());
  if (!info) return L"<no name>";
  tagREFString name{0, nullptr};
  info->GetName(0, &name);
  return std::wstring(name.text, static_cast<std::size_t>(name.length));
}

std::uint32_t References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

unsigned char Pattern(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 5 + y * 3 + c);
}
unsigned char Other(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(200 - x - y * 7 - c);
}

TEST(RandomTransition, NeverPicksItselfAndVariesItsPick) {
  // What the host registers as transitions, without the random one.
  auto all = testhost::Create<IComponentCollection>(L"ComponentCollection");
  ASSERT_TRUE(all);
  ComPtr<IString> kind = ComPtr<IString>::Adopt(CREFString::CreateString());
  kind->SetText(static_cast<int>(std::wcslen(kTransitionKind)), kTransitionKind);
  ASSERT_EQ(all->SelectKind(kind.Get()), S_OK);
  std::set<std::wstring> expected;
  int count = 0;
  all->GetCount(&count);
  for (int i = 0; i < count; ++i) {
    ComPtr<IUnknown> item;
    all->GetItem(i, item.Put());
    expected.insert(NameOf(item.As<IComponentString>().Get()));
  }
  ASSERT_EQ(expected.erase(L"RandomTransition"), 1u);
  ASSERT_GE(expected.size(), 2u);
  // Preset components answer with their class's object name.
  std::set<std::wstring> objectNames;
  for (const std::wstring& component : expected) {
    auto info = testhost::Create<IObjectInfo>(component);
    ASSERT_TRUE(info) << testing::PrintToString(component);
    tagREFString name{0, nullptr};
    info->GetName(0, &name);
    objectNames.emplace(name.text, static_cast<std::size_t>(name.length));
  }

  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  ASSERT_EQ(CObject<CRandomTransition>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  std::set<std::wstring> seen;
  std::set<int> randomized;  // a setting that effects with IRandomizableObject draw anew
  for (int i = 0; i < 400; ++i) {
    seen.insert(PickedName(effect.Get()));
    if (PickedName(effect.Get()) == L"CoverTransition") {
      ComPtr<IUIPropInterrogate> properties;
      Inside(effect.Get())->Current()->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
      int direction = -1;
      if (properties) properties->Inquire(1, &direction);
      randomized.insert(direction);
    }
    EXPECT_EQ(effect->Uninitialize(), S_OK);
  }
  EXPECT_EQ(seen, objectNames) << "every candidate, and only candidates, over 400 picks";
  if (objectNames.count(L"CoverTransition") != 0) {
    EXPECT_GE(randomized.size(), 2u) << "the picked effect randomizes its settings";
  }

  // Frames go to the picked effect, which makes a picture of to's size.
  const ComPtr<ICIF> from = testhost::MakePicture(64, 48, 24, Pattern);
  const ComPtr<ICIF> to = testhost::MakePicture(64, 48, 24, Other);
  ICIF* out = nullptr;
  ASSERT_EQ(effect->DoTransition(from.Get(), to.Get(), &out, 0.5), S_OK);
  auto result = ComPtr<ICIF>::Adopt(out);
  EXPECT_EQ(testhost::Bytes(result.Get()).size(), 64u * 48 * 3) << PickedName(effect.Get());
}

TEST(RandomTransition, OneCandidateIsAlwaysPicked) {
  // Its own name is left out even where the host lists it, so one candidate remains.
  auto effect = MakeFiltered({L"RandomTransition", L"DissolveTransition"});
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(PickedName(effect.Get()), L"DissolveTransition");
    effect->Uninitialize();
  }
  const ComPtr<ICIF> from = testhost::MakePicture(30, 20, 32, Pattern);
  const ComPtr<ICIF> to = testhost::MakePicture(30, 20, 32, Other);
  ICIF* out = nullptr;
  ASSERT_EQ(effect->DoTransition(from.Get(), to.Get(), &out, 0.0), S_OK);
  auto result = ComPtr<ICIF>::Adopt(out);
  EXPECT_EQ(testhost::Bytes(result.Get()), testhost::Bytes(from.Get()));
}

TEST(RandomTransition, WithoutCandidatesHandsOutTo) {
  auto effect = MakeFiltered({L"RandomTransition"});
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(PickedName(effect.Get()), L"");
    EXPECT_EQ(effect->Uninitialize(), S_OK);
  }
  const ComPtr<ICIF> from = testhost::MakePicture(8, 8, 24, Pattern);
  const ComPtr<ICIF> to = testhost::MakePicture(8, 8, 24, Other);
  const std::uint32_t before = References(to.Get());
  ICIF* out = nullptr;
  ASSERT_EQ(effect->DoTransition(from.Get(), to.Get(), &out, 0.5), S_OK);
  EXPECT_EQ(out, to.Get());
  EXPECT_EQ(References(to.Get()), before + 1);
  out->Release();
  out = from.Get();
  EXPECT_EQ(effect->DoTransition(from.Get(), nullptr, &out, 0.5), E_FAIL);
  EXPECT_EQ(out, nullptr);
}

}  // namespace
