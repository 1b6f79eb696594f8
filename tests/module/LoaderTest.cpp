// Reaching host components: the sibling-module loader, the global collection and the fallback
// through "CollectionsEx" when the global collection does not know a component.
#include <gtest/gtest.h>

#include "effects/KeloTransitions.h"
#include "frame/Loader.h"
#include "support/REFString.h"
#include "tests/common/StubCollection.h"
#include "tests/common/TestHost.h"

namespace {

// A global collection that knows nothing and counts its references.
class EmptyCollection final : public testhost::StubCollection<EmptyCollection> {
 public:
  std::uint32_t References() {
    AddRef();
    return Release();
  }
};

// Catches: a missing module reported on more than one line, or a factory handed out anyway.
TEST(Loader, MissingModulePrintsOneLineAndGivesNothing) {
  testing::internal::CaptureStdout();
  ComponentFactory factory = MODULECreateFunction(RefLiteral(L"NoSuchModule"), RefLiteral(L"X"));
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(factory, nullptr);
  const std::string prefix = "Module not available ./_binARM64/NoSuchModule.so, error ";
  ASSERT_EQ(printed.rfind(prefix, 0), 0u) << printed;
  EXPECT_EQ(printed.find('\n'), printed.size() - 1) << "exactly one line";
}

// Catches: a sibling module not found beside this one, an unknown component given a factory.
TEST(Loader, SiblingModuleFactoryFromItsPath) {
  ComponentFactory factory =
      MODULECreateFunction(RefLiteral(L"CollectionsEx"), RefLiteral(L"ComponentString"));
  ASSERT_NE(factory, nullptr);
  IID iid = IID_IComponentString;
  ASSERT_EQ(factory(nullptr, &iid, ComPtr<IUnknown>().PutVoid()), S_OK);
  EXPECT_EQ(MODULECreateFunction(RefLiteral(L"CollectionsEx"), RefLiteral(L"NoSuchComponent")),
            nullptr);
}

// Catches: the global collection not held, not released when replaced or cleared.
TEST(Loader, InitializeModuleSwapsTheGlobalCollection) {
  auto* first = new EmptyCollection();
  auto* second = new EmptyCollection();
  ASSERT_EQ(InitializeModule(nullptr, first), S_OK);
  EXPECT_EQ(first->References(), 2u);

  IComponentCollection* global = GLOBALComponents();
  EXPECT_EQ(global, first);
  EXPECT_EQ(first->References(), 3u);
  global->Release();

  InitializeModule(reinterpret_cast<void*>(42), second);
  EXPECT_EQ(first->References(), 1u);
  EXPECT_EQ(second->References(), 2u);
  InitializeModule(nullptr, nullptr);
  EXPECT_EQ(second->References(), 1u);
  EXPECT_EQ(gGlobalComponentCollection, nullptr);
  first->Release();
  second->Release();
  InitializeModule(nullptr, testhost::Global());
}

// Catches: no fallback through "CollectionsEx" when the global collection lacks a component.
// Runs in a fresh process (the component caches live until unload): with a global collection
// that knows nothing, strings, variants and collections still come from "CollectionsEx".
TEST(LoaderDeathTest, FallsBackToCollectionsExWhenTheGlobalCollectionLacksAComponent) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto* empty = new EmptyCollection();
        InitializeModule(nullptr, empty);
        empty->Release();
        IString* text = CREFString::CreateString();
        IVariant* variant = CREFString::CreateVariant();
        ISuperCollection* collection = CREFString::CreateCollection();
        bool ok = text != nullptr && variant != nullptr && collection != nullptr;
        if (ok) {
          text->SetText(3, L"abc");
          ok = CREFString(text).length == 3;
        }
        for (IUnknown* object : {static_cast<IUnknown*>(text), static_cast<IUnknown*>(variant),
                                 static_cast<IUnknown*>(collection)})
          if (object != nullptr) object->Release();
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
