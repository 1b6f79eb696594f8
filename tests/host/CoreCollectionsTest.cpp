// The global component collection, component strings and component collections, driven through
// the static library as a program that links it would (modules load from ./_binARM64).
#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "host/core/Components.h"
#include "sdk/Transitions.h"
#include "tests/common/TestHost.h"
#include "tests/host/CoreTestSupport.h"

namespace coretest {
namespace {

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

// The item's name, kind and module.
std::vector<std::wstring> Texts(IComponentString* item) {
  return {TextOf(item, kComponentName), TextOf(item, kComponentKind),
          TextOf(item, kComponentModule)};
}

// Catches: a manifest line missing, out of order, misread or not making its component (through
// the module it names, loaded from the build folder); an index past either end answered.
TEST_F(CoreTest, GlobalCollectionKnowsAndMakesEveryManifestLine) {
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
    EXPECT_EQ(Texts(component.Get()),
              (std::vector<std::wstring>{rows[i].name, rows[i].kind, rows[i].module}));
    const long before = host::LiveObjects().load();
    EXPECT_EQ(component->CreateInstance(kIID_IUnknown, ComPtr<IUnknown>().PutVoid()), S_OK)
        << rows[i].name;
    // The counter-cover preset keeps its object, and the host objects that holds, for good, by
    // design; so does the random transition when that preset was its pick.
    if (rows[i].name == L"CounterCoverTransition" || rows[i].name == L"RandomTransition")
      LeaveAlive(host::LiveObjects().load() - before);
  }
  ComPtr<IUnknown> none;
  EXPECT_EQ(global->GetItem(static_cast<int>(rows.size()), none.Put()), E_INVALIDARG);
  EXPECT_EQ(global->GetItem(-1, none.Put()), E_INVALIDARG);
  EXPECT_FALSE(none);
}

// Catches: a second global collection, through the static library or the module's entry table;
// the shared collection or its entries editable.
TEST_F(CoreTest, GlobalCollectionIsOnePerProcessAndFixed) {
  auto first = Global();
  EXPECT_EQ(first.Get(), Global().Get());
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
  ComPtr<IComponentString> entry;
  ASSERT_EQ(first->CreateByName(RefView(L"Variant"), nullptr, entry.PutVoid()), S_OK);
  EXPECT_EQ(entry->SetText(kComponentName, RefView(L"Other")), E_FAIL);
  EXPECT_EQ(TextOf(entry.Get(), kComponentName), L"Variant");
}

// Catches: a null identity not handing out the shared entry, instances shared, an identity the
// component does not answer accepted.
TEST_F(CoreTest, CreateByNameGivesTheEntryOrANewInstance) {
  auto global = Global();
  ComPtr<IComponentString> entry;
  ASSERT_EQ(global->CreateByName(RefView(L"CreatableString"), nullptr, entry.PutVoid()), S_OK);
  int index = -1;
  ASSERT_EQ(global->Find(Str(L"CreatableString").Get(), &index), S_OK);
  EXPECT_EQ(Item(global.Get(), index).Get(), entry.Get());
  auto a = Make<IString>(L"CreatableString"), b = Make<IString>(L"CreatableString");
  ASSERT_TRUE(a && b);
  EXPECT_NE(a.Get(), b.Get());
  ComPtr<IUnknown> wrong;
  EXPECT_EQ(global->CreateByName(RefView(L"CreatableString"), &IVariant::kIID, wrong.PutVoid()),
            E_NOINTERFACE);
  EXPECT_FALSE(wrong);
}

// Catches: a module's component not the one named, Attach not describing an object from its
// name and the manifest, CreateInstance not making a new one, a nameless object described.
TEST_F(CoreTest, AttachDescribesAnObjectOfALoadedModule) {
  auto transition = Make<IKeloTransition>(L"DissolveTransition");
  EXPECT_EQ(testhost::NameOf(transition.Get()), L"DissolveTransition");
  auto component = Make<IComponentString>(L"ComponentString");
  ASSERT_EQ(component->Attach(transition.Get()), S_OK);
  EXPECT_EQ(
      Texts(component.Get()),
      (std::vector<std::wstring>{L"DissolveTransition", kTransitionKind, L"KeloTransitions"}));
  ComPtr<IKeloTransition> another;
  ASSERT_EQ(component->CreateInstance(IKeloTransition::kIID, another.PutVoid()), S_OK);
  EXPECT_NE(another.Get(), transition.Get());
  EXPECT_EQ(component->Attach(Str(L"no info").Get()), E_INVALIDARG);
  EXPECT_EQ(component->Attach(nullptr), E_INVALIDARG);
}

// Catches: an unknown, empty, badly counted or differently cased name found, *out left written;
// a component string reaching a module that does not exist or a path instead of a module.
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

// Catches: a fresh component string not empty, a bad text kind or view accepted, a kept factory
// surviving a rename, a name the manifest knows not resolved through it, a name it does not know
// made by the module's own entry point all the same.
TEST_F(CoreTest, ComponentStringTextsAndFactoryOrder) {
  auto component = Make<IComponentString>(L"ComponentString");
  EXPECT_EQ(Texts(component.Get()), (std::vector<std::wstring>(3, L"")));
  ComPtr<IString> text;
  EXPECT_EQ(component->GetText(3, text.Put()), E_INVALIDARG);
  EXPECT_EQ(component->SetText(3, RefView(L"x")), E_INVALIDARG);
  EXPECT_EQ(component->SetText(kComponentName, tagREFString{2, nullptr}), E_INVALIDARG);
  EXPECT_EQ(component->CreateInstance(kIID_IUnknown, ComPtr<IUnknown>().PutVoid()), E_FAIL);
  // The way the transitions module describes a fallback component: module "Collections".
  component->SetText(kComponentModule, RefView(L"Collections"));
  component->SetText(kComponentName, RefView(L"Variant"));
  ComPtr<IVariant> variant;
  ASSERT_EQ(component->CreateInstance(IVariant::kIID, variant.PutVoid()), S_OK);
  ASSERT_TRUE(variant);
  component->SetText(kComponentName, RefView(L"SuperCollection"));
  ComPtr<ISuperCollection> collection;
  ASSERT_EQ(component->CreateInstance(ISuperCollection::kIID, collection.PutVoid()), S_OK);
  ASSERT_TRUE(collection);
  // Whatever the module text says.
  component->SetText(kComponentName, RefView(L"DissolveAdditiveTransition"));
  ComPtr<IKeloTransition> transition;
  ASSERT_EQ(component->CreateInstance(IKeloTransition::kIID, transition.PutVoid()), S_OK);
  // A name the manifest does not know goes to the module of kind 4, which refuses it.
  component->SetText(kComponentModule, RefView(L"KeloTransitions"));
  component->SetText(kComponentName, RefView(L"dissolvetransition"));
  EXPECT_EQ(component->CreateInstance(IKeloTransition::kIID, transition.PutVoid()), E_FAIL);
}

// Catches: SelectKind not taking the manifest's rows of that kind in order (through the static
// library and the shared module alike) or not replacing the content; Add, Find and Remove
// miscounting; creation by name not going to the global collection.
TEST_F(CoreTest, ComponentCollectionSelectKindAddFindRemove) {
  std::vector<std::wstring> expected;
  for (const ManifestRow& row : ReadManifest())
    if (row.kind == kTransitionKind) expected.push_back(row.name);
  ASSERT_GE(expected.size(), 2u);
  auto collection = Make<IComponentCollection>(L"ComponentCollection");
  ASSERT_EQ(collection->Add(Str(L"not a component").Get()), E_INVALIDARG);
  EXPECT_EQ(collection->Add(nullptr), E_INVALIDARG);
  for (auto selected :
       {collection, testhost::Create<IComponentCollection>(L"ComponentCollection")}) {
    ASSERT_EQ(selected->SelectKind(Str(kTransitionKind).Get()), S_OK);
    ASSERT_EQ(Count(selected.Get()), static_cast<int>(expected.size()));
    for (int i = 0; i < Count(selected.Get()); ++i)
      EXPECT_EQ(TextOf(Item(selected.Get(), i).Get(), kComponentName), expected[i]);
  }
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
  EXPECT_EQ(
      collection->CreateByName(RefView(L"Variant"), &IVariant::kIID, ComPtr<IVariant>().PutVoid()),
      S_OK);
  ASSERT_EQ(collection->RemoveAll(), S_OK);
  EXPECT_EQ(Count(collection.Get()), 0);
}

// Catches: a race when fresh component strings resolve their factory from several threads.
TEST_F(CoreTest, ConcurrentFirstUseOfComponentsIsSafe) {
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

}  // namespace
}  // namespace coretest
