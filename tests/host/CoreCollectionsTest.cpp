// The global component collection, component strings and component collections, driven through
// the static library as a program that links it would (modules load from ./_binARM64).
#include <array>
#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "host/core/ComponentCollection.h"
#include "host/core/ComponentString.h"
#include "host/core/Components.h"
#include "sdk/Transitions.h"
#include "tests/common/TestHost.h"
#include "tests/host/CoreTestSupport.h"

namespace {

using coretest::CoreTest;
using coretest::Make;
using coretest::Str;
using coretest::Text;
using host::core::GlobalComponentCollection;

struct ManifestRow {
  std::wstring name, module, kind;
};

// The manifest as the build wrote it, read independently of the code under test.
std::vector<ManifestRow> ReadManifest() {
  std::ifstream in("./_binARM64/components.manifest");
  std::vector<ManifestRow> rows;
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name, module, kind;
    std::getline(std::getline(std::getline(fields, name, '\t'), module, '\t'), kind, '\t');
    rows.push_back(
        {host::WideFromUtf8(name), host::WideFromUtf8(module), host::WideFromUtf8(kind)});
  }
  return rows;
}

// The names of the manifest's components of `kind`, in order.
std::vector<std::wstring> ManifestNamesOfKind(std::wstring_view kind) {
  std::vector<std::wstring> names;
  for (const ManifestRow& row : ReadManifest())
    if (row.kind == kind) names.push_back(row.name);
  return names;
}

ComPtr<IComponentCollection> Global() {
  ComPtr<IComponentCollection> global;
  IID iid = IComponentCollection::kIID;
  EXPECT_EQ(GlobalComponentCollection::Create(nullptr, &iid, global.PutVoid()), S_OK);
  return global;
}

std::wstring TextOf(IComponentString* component, int which) {
  ComPtr<IString> text;
  if (Failed(component->GetText(which, text.Put()))) return L"<failed>";
  return Text(text.Get());
}

ComPtr<IComponentString> Item(IComponentCollection* collection, int index) {
  ComPtr<IUnknown> item;
  collection->GetItem(index, item.Put());
  return item.As<IComponentString>();
}

int Count(IComponentCollection* collection) {
  int count = -1;
  collection->GetCount(&count);
  return count;
}

TEST_F(CoreTest, GlobalCollectionKnowsEveryManifestLine) {
  const std::vector<ManifestRow> rows = ReadManifest();
  ASSERT_FALSE(rows.empty()) << "no manifest in ./_binARM64";
  auto global = Global();
  ASSERT_EQ(Count(global.Get()), static_cast<int>(rows.size()));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    int index = -1;
    ASSERT_EQ(global->Find(Str(rows[i].name).Get(), &index), S_OK) << rows[i].name;
    EXPECT_EQ(index, static_cast<int>(i));
    auto component = Item(global.Get(), index);
    ASSERT_TRUE(component);
    EXPECT_EQ(TextOf(component.Get(), kComponentName), rows[i].name);
    EXPECT_EQ(TextOf(component.Get(), kComponentKind), rows[i].kind);
    EXPECT_EQ(TextOf(component.Get(), kComponentModule), rows[i].module);
  }
  ComPtr<IUnknown> none;
  EXPECT_EQ(global->GetItem(static_cast<int>(rows.size()), none.Put()), E_INVALIDARG);
  EXPECT_EQ(global->GetItem(-1, none.Put()), E_INVALIDARG);
  EXPECT_FALSE(none);
}

TEST_F(CoreTest, GlobalCollectionIsOnePerProcessAndFixed) {
  auto first = Global();
  EXPECT_EQ(first.Get(), Global().Get());
  // Through the module's own entry table as well.
  ComponentFactory factory = nullptr;
  ASSERT_EQ(host::FindComponentFactory(host::core::Components(),
                                       RefView(L"GlobalComponentCollection"), &factory),
            S_OK);
  ComPtr<IUnknown> third;
  IID iid = kIID_IUnknown;
  ASSERT_EQ(factory(nullptr, &iid, third.PutVoid()), S_OK);
  EXPECT_EQ(third.Get(), first.As<IUnknown>().Get());
  EXPECT_EQ(first->Add(Str(L"x").Get()), E_NOTIMPL);
  EXPECT_EQ(first->Remove(0), E_NOTIMPL);
  EXPECT_EQ(first->RemoveAll(), E_NOTIMPL);
  EXPECT_EQ(first->SelectKind(Str(kTransitionKind).Get()), E_NOTIMPL);
  // Its entries are shared by everyone, so they cannot be edited.
  ComPtr<IComponentString> entry;
  ASSERT_EQ(first->CreateByName(RefView(L"Variant"), nullptr, entry.PutVoid()), S_OK);
  EXPECT_EQ(entry->SetText(kComponentName, RefView(L"Other")), E_FAIL);
  EXPECT_EQ(TextOf(entry.Get(), kComponentName), L"Variant");
}

TEST_F(CoreTest, CreateByNameGivesTheEntryOrANewInstance) {
  auto global = Global();
  // A null identity hands out the component string that Find and GetItem give.
  ComPtr<IComponentString> entry;
  ASSERT_EQ(global->CreateByName(RefView(L"CreatableString"), nullptr, entry.PutVoid()), S_OK);
  int index = -1;
  ASSERT_EQ(global->Find(Str(L"CreatableString").Get(), &index), S_OK);
  EXPECT_EQ(Item(global.Get(), index).Get(), entry.Get());
  auto a = Make<IString>(L"CreatableString"), b = Make<IString>(L"CreatableString");
  ASSERT_TRUE(a && b);
  EXPECT_NE(a.Get(), b.Get());
  // An identity the component does not answer.
  ComPtr<IUnknown> wrong;
  EXPECT_EQ(global->CreateByName(RefView(L"CreatableString"), &IVariant::kIID, wrong.PutVoid()),
            E_NOINTERFACE);
  EXPECT_FALSE(wrong);
}

TEST_F(CoreTest, CreateByNameLoadsTheModuleNamedInTheManifest) {
  auto transition = Make<IKeloTransition>(L"DissolveTransition");
  ASSERT_TRUE(transition);
  auto info = transition.As<IObjectInfo>();
  ASSERT_TRUE(info);
  tagREFString name{};
  ASSERT_EQ(info->GetName(0, &name), S_OK);
  EXPECT_EQ(host::ViewOf(name), L"DissolveTransition");
  // Attach describes an existing object from its name and the manifest.
  auto component = Make<IComponentString>(L"ComponentString");
  ASSERT_EQ(component->Attach(transition.Get()), S_OK);
  EXPECT_EQ(TextOf(component.Get(), kComponentKind), kTransitionKind);
  EXPECT_EQ(TextOf(component.Get(), kComponentModule), L"KeloTransitions");
  ComPtr<IKeloTransition> another;
  ASSERT_EQ(component->CreateInstance(IKeloTransition::kIID, another.PutVoid()), S_OK);
  EXPECT_NE(another.Get(), transition.Get());
  // An object without a name cannot be described.
  EXPECT_EQ(component->Attach(Str(L"no info").Get()), E_INVALIDARG);
  EXPECT_EQ(component->Attach(nullptr), E_INVALIDARG);
}

TEST_F(CoreTest, UnknownNamesAndModulesFailCleanly) {
  auto global = Global();
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(global->CreateByName(RefView(L"NoSuchComponent"), &IString::kIID, &out), E_FAIL);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(global->CreateByName(RefView(L"NoSuchComponent"), nullptr, &out), E_FAIL);
  EXPECT_EQ(global->CreateByName(tagREFString{0, nullptr}, nullptr, &out), E_FAIL);
  EXPECT_EQ(global->CreateByName(tagREFString{-3, nullptr}, nullptr, &out), E_INVALIDARG);
  EXPECT_EQ(global->CreateByName(RefView(L"creatablestring"), nullptr, &out), E_FAIL);
  int index = 7;
  EXPECT_EQ(global->Find(Str(L"NoSuchComponent").Get(), &index), E_FAIL);
  EXPECT_EQ(index, -1);
  EXPECT_EQ(global->Find(nullptr, &index), E_INVALIDARG);
  // A component string naming a module that does not exist, or a path instead of a module.
  for (std::wstring_view module :
       {L"NoSuchModule", L"../_binARM64/KeloTransitions", L"/tmp/x", L""}) {
    auto component = Make<IComponentString>(L"ComponentString");
    component->SetText(kComponentName, RefView(L"DissolveTransitionX"));
    component->SetText(kComponentModule, RefView(module));
    ComPtr<IUnknown> object;
    EXPECT_EQ(component->CreateInstance(kIID_IUnknown, object.PutVoid()), E_FAIL)
        << std::wstring(module);
    EXPECT_FALSE(object);
  }
}

TEST_F(CoreTest, ComponentStringTextsAndFactoryOrder) {
  auto component = Make<IComponentString>(L"ComponentString");
  for (int kind : {kComponentName, kComponentKind, kComponentModule})
    EXPECT_EQ(TextOf(component.Get(), kind), L"") << kind;
  ComPtr<IString> text;
  EXPECT_EQ(component->GetText(3, text.Put()), E_INVALIDARG);
  EXPECT_EQ(component->SetText(3, RefView(L"x")), E_INVALIDARG);
  EXPECT_EQ(component->SetText(kComponentName, tagREFString{2, nullptr}), E_INVALIDARG);
  ComPtr<IUnknown> nothing;
  EXPECT_EQ(component->CreateInstance(kIID_IUnknown, nothing.PutVoid()), E_FAIL);
  // The way the transitions module describes a fallback component: module "Collections".
  component->SetText(kComponentModule, RefView(L"Collections"));
  component->SetText(kComponentName, RefView(L"Variant"));
  ComPtr<IVariant> variant;
  ASSERT_EQ(component->CreateInstance(IVariant::kIID, variant.PutVoid()), S_OK);
  ASSERT_TRUE(variant);
  // Renaming drops the kept factory.
  component->SetText(kComponentName, RefView(L"SuperCollection"));
  ComPtr<ISuperCollection> collection;
  ASSERT_EQ(component->CreateInstance(ISuperCollection::kIID, collection.PutVoid()), S_OK);
  ASSERT_TRUE(collection);
  // A name known only to the manifest resolves through it, whatever the module text says.
  component->SetText(kComponentName, RefView(L"DissolveAdditiveTransition"));
  ComPtr<IKeloTransition> transition;
  ASSERT_EQ(component->CreateInstance(IKeloTransition::kIID, transition.PutVoid()), S_OK);
  // A name the manifest does not know goes to the module of kind 4, which refuses it.
  component->SetText(kComponentModule, RefView(L"KeloTransitions"));
  component->SetText(kComponentName, RefView(L"dissolvetransition"));
  EXPECT_EQ(component->CreateInstance(IKeloTransition::kIID, transition.PutVoid()), E_FAIL);
}

TEST_F(CoreTest, ComponentCollectionSelectKindAddFindRemove) {
  const std::vector<std::wstring> expected = ManifestNamesOfKind(kTransitionKind);
  ASSERT_GE(expected.size(), 2u);
  auto collection = Make<IComponentCollection>(L"ComponentCollection");
  ASSERT_EQ(collection->Add(Str(L"not a component").Get()), E_INVALIDARG);
  EXPECT_EQ(collection->Add(nullptr), E_INVALIDARG);
  ASSERT_EQ(collection->SelectKind(Str(kTransitionKind).Get()), S_OK);
  ASSERT_EQ(Count(collection.Get()), static_cast<int>(expected.size()));
  // The manifest rows of that kind in order; every selected item makes its transition.
  for (int i = 0; i < Count(collection.Get()); ++i) {
    auto item = Item(collection.Get(), i);
    ASSERT_TRUE(item);
    EXPECT_EQ(TextOf(item.Get(), kComponentName), expected[i]);
    ComPtr<IKeloTransition> transition;
    EXPECT_EQ(item->CreateInstance(IKeloTransition::kIID, transition.PutVoid()), S_OK) << i;
  }
  // Selecting replaces the content.
  ASSERT_EQ(collection->SelectKind(Str(L"NoSuchKind").Get()), S_OK);
  EXPECT_EQ(Count(collection.Get()), 0);
  EXPECT_EQ(collection->SelectKind(nullptr), E_INVALIDARG);

  for (std::wstring_view name : {L"Variant", L"CreatableString", L"SuperCollection"}) {
    ComPtr<IComponentString> entry;
    ASSERT_EQ(Global()->CreateByName(RefView(name), nullptr, entry.PutVoid()), S_OK);
    ASSERT_EQ(collection->Add(entry.Get()), S_OK);
  }
  int index = -1;
  ASSERT_EQ(collection->Find(Str(L"SuperCollection").Get(), &index), S_OK);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(collection->Find(Str(L"Super").Get(), &index), E_FAIL);
  ASSERT_EQ(collection->Remove(0), S_OK);
  EXPECT_EQ(collection->Remove(5), E_INVALIDARG);
  EXPECT_EQ(TextOf(Item(collection.Get(), 0).Get(), kComponentName), L"CreatableString");
  ASSERT_EQ(collection->Find(Str(L"SuperCollection").Get(), &index), S_OK);
  EXPECT_EQ(index, 1);
  // Creation by name goes to the global collection, whatever this one holds.
  ComPtr<IVariant> variant;
  EXPECT_EQ(collection->CreateByName(RefView(L"Variant"), &IVariant::kIID, variant.PutVoid()),
            S_OK);
  ASSERT_EQ(collection->RemoveAll(), S_OK);
  EXPECT_EQ(Count(collection.Get()), 0);
}

TEST_F(CoreTest, ConcurrentFirstUseOfComponentsIsSafe) {
  // Fresh component strings resolve their factory from several threads at once.
  std::vector<std::thread> threads;
  std::atomic<int> made{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        auto component = Make<IComponentString>(L"ComponentString");
        component->SetText(kComponentName, RefView(L"DissolveTransition"));
        ComPtr<IKeloTransition> transition;
        if (component->CreateInstance(IKeloTransition::kIID, transition.PutVoid()) == S_OK) ++made;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made.load(), 800);
}

TEST(CoreModule, TheSharedModuleServesTheSameComponents) {
  // The real CollectionsEx.so, loaded the way the host loads it.
  auto text = testhost::Create<IString>(L"CreatableString");
  ASSERT_TRUE(text);
  ASSERT_EQ(text->SetText(3, L"abc"), S_OK);
  EXPECT_EQ(Text(text.Get()), L"abc");
  auto collection = testhost::Create<IComponentCollection>(L"ComponentCollection");
  ASSERT_TRUE(collection);
  ASSERT_EQ(collection->SelectKind(Str(kTransitionKind).Get()), S_OK);
  EXPECT_EQ(Count(collection.Get()), static_cast<int>(ManifestNamesOfKind(kTransitionKind).size()));
}

}  // namespace
