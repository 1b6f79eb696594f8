// The component frame: identities, interface tables, reference counts, creation and entry points.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>

#include "effects/Dissolve.h"
#include "effects/KeloTransitions.h"
#include "frame/Object.h"
#include "sdk/ComPtr.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using testhost::NameOf;

std::array<unsigned char, 16> Bytes(const IID& id) {
  std::array<unsigned char, 16> bytes{};
  std::memcpy(bytes.data(), &id, 16);
  return bytes;
}

// Catches: a wrong packing of the name into the identity, case not folded, the shared codes or
// the 25-character limit lost, the sixth bit of a code dropped at a field or word boundary.
TEST(Identity, WorkedValuesCaseFoldingAndLimits) {
  EXPECT_EQ(Bytes(__IIDOfc("ICIF")), (std::array<unsigned char, 16>{0x69, 0x24, 0x03, 0x00}));
  EXPECT_EQ(Bytes(__IIDOfc("IUnknown")),
            (std::array<unsigned char, 16>{0xa9, 0xba, 0xe5, 0xde, 0x75}));
  EXPECT_EQ(__IIDOfc(""), IID{});
  EXPECT_EQ(__IIDOfc("icif"), __IIDOfc("ICIF"));
  // '5'..'9' and '_' share one code; only the first 25 characters count.
  EXPECT_EQ(__IIDOfc("IName5"), __IIDOfc("IName9"));
  EXPECT_EQ(__IIDOfc("IName_"), __IIDOfc("IName9"));
  EXPECT_EQ(__IIDOfc("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), __IIDOfc("ABCDEFGHIJKLMNOPQRSTUVWXY"));
  EXPECT_NE(__IIDOfc("ABCDEFGHIJKLMNOPQRSTUVWXY"), __IIDOfc("ABCDEFGHIJKLMNOPQRSTUVWX"));
  // '4' codes 32: its sixth bit lands in the lowest bit of the next character's field, so
  // "4a" (next code 1) collides with "4", while "4b" keeps both bits.
  EXPECT_EQ(__IIDOfc("4").words[0], 32u);
  EXPECT_EQ(__IIDOfc("4a"), __IIDOfc("4"));
  EXPECT_EQ(__IIDOfc("4b").words[0], 32u | 2u << 5);
  // The sixth bit across a 32-bit word boundary (field 6 spans bits 30..35).
  EXPECT_EQ(__IIDOfc("AAAAAA4").words[1], 8u);
}

// Catches: an identity the module exports differing from the one hosts compile in.
TEST(Identity, ExportedIdentitiesMatchTheSdk) {
  EXPECT_EQ(IID_IUnknown, IUnknown::kIID);
  EXPECT_EQ(IID_ICIF, ICIF::kIID);
  EXPECT_EQ(IID_IKeloTransition, IKeloTransition::kIID);
  EXPECT_EQ(IID_ITransformBestFit, ITransformBestFit::kIID);
  EXPECT_EQ(IID_ICIFStatisical, IIDFromName("ICIFStatisical"));
  EXPECT_EQ(IID_IUIPropInterrogateEx, IUIPropInterrogateEx::kIID);
  EXPECT_NE(IID_IUIPropInterrogateEx, IID_IUIPropInterrogate);
}

// Catches: a wrong count from AddRef or Release, IUnknown not the one primary pointer, the wrong
// name (whatever the reserved argument), a refusal that writes the out pointer or keeps a
// reference.
TEST(ComponentObject, QueryInterfaceTableAndReferenceCounts) {
  auto transition = moduletest::New<CDissolve>();
  ASSERT_TRUE(transition);
  EXPECT_EQ(transition->AddRef(), 2u);
  EXPECT_EQ(transition->Release(), 1u);

  // IUnknown from any interface is the same primary pointer.
  IUnknown* fromTransition = nullptr;
  ASSERT_EQ(transition->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromTransition)),
            S_OK);
  ComPtr<IObjectInfo> info = transition.As<IObjectInfo>();
  ASSERT_TRUE(info);
  IUnknown* fromInfo = nullptr;
  ASSERT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromInfo)), S_OK);
  EXPECT_EQ(fromTransition, fromInfo);
  EXPECT_NE(static_cast<void*>(fromTransition), static_cast<void*>(info.Get()));
  EXPECT_EQ(fromInfo->Release(), 3u);  // transition, info and fromTransition remain
  fromTransition->Release();

  tagREFString name{};
  EXPECT_EQ(info->GetName(7, &name), S_OK);
  EXPECT_EQ(std::wstring(name.text, name.length), L"DissolveTransition");

  // Refusals leave the out pointer null and the count unchanged.
  void* out = reinterpret_cast<void*>(1);
  EXPECT_EQ(transition->QueryInterface(IID_IUIPropInterrogateEx, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(transition->QueryInterface(IID_IDataPersist, &out), E_NOINTERFACE);
  EXPECT_EQ(transition->AddRef(), 3u);
  transition->Release();
}

// A class that counts its constructions and destructions and can fail to construct.
int gLive = 0;
HRESULT gConstructResult = S_OK;
class CProbe : public CSimpleTransition<CProbe> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"Probe");
  CProbe() { ++gLive; }
  HRESULT FinalConstruct() override { return gConstructResult; }
  HRESULT DoTransition(ICIF*, ICIF*, ICIF**, double) override { return S_OK; }

 protected:
  ~CProbe() { --gLive; }
};

// Catches: a failed FinalConstruct or a refused identity leaking the object or writing *out; the
// last Release not destroying it.
TEST(ComponentObject, FailedCreationLeavesNothingBehind) {
  IID iid = IID_IKeloTransition;
  void* out = reinterpret_cast<void*>(1);
  gConstructResult = E_INVALIDARG;
  EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &iid, &out), E_INVALIDARG);
  EXPECT_EQ(out, reinterpret_cast<void*>(1));  // untouched when FinalConstruct fails
  EXPECT_EQ(gLive, 0);

  gConstructResult = S_OK;
  iid = IID_IDataPersist;  // not in the probe's table
  EXPECT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &iid, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(gLive, 0);

  iid = IID_IKeloTransition;
  ASSERT_EQ(CObject<CProbe>::_CreateInstance(nullptr, &iid, &out), S_OK);
  EXPECT_EQ(gLive, 1);
  EXPECT_EQ(static_cast<IKeloTransition*>(out)->Release(), 0u);
  EXPECT_EQ(gLive, 0);
}

// Catches: a name matched loosely (case, trailing space, prefix), the factory written on
// failure, a component missing from the list or making an object of the wrong class (presets are
// the cover effect with a style already set).
TEST(ModuleEntry, CreateFunctionMatchesExactNames) {
  ComponentFactory factory = nullptr;
  EXPECT_EQ(CreateFunction(RefLiteral(L"DissolveTransition"), &factory), S_OK);
  EXPECT_EQ(factory, &CObject<CDissolve>::_CreateInstance);
  EXPECT_EQ(CreateFunction(RefLiteral(L"DissolveAdditiveTransition"), &factory), S_OK);
  EXPECT_EQ(factory, &CObject<CDissolveAdditive>::_CreateInstance);

  factory = reinterpret_cast<ComponentFactory>(1);
  EXPECT_EQ(CreateFunction(RefLiteral(L"dissolvetransition"), &factory), E_FAIL);
  EXPECT_EQ(CreateFunction(RefLiteral(L"DissolveTransition "), &factory), E_FAIL);
  EXPECT_EQ(CreateFunction(tagREFString{0, L""}, &factory), E_FAIL);
  EXPECT_EQ(CreateFunction(tagREFString{8, L"Dissolve"}, &factory), E_FAIL);
  EXPECT_EQ(factory, reinterpret_cast<ComponentFactory>(1));  // not written on failure

  // Every name the module offers, in the order CreateFunction tests them (one line each), makes
  // a transition named after its class: presets are their class with a setting already made.
  const std::pair<const wchar_t*, const wchar_t*> names[] = {
      {L"PushTransition", L"CoverTransition"},
      {L"CrushTransition", L"CoverTransition"},
      {L"CounterCoverTransition", L"CounterBandsTransition"},
      {L"CoverTransition", L"CoverTransition"},
      {L"CounterBandsTransition", L"CounterBandsTransition"},
      {L"DeformTransition", L"DeformTransition"},
      {L"DissolveTransition", L"DissolveTransition"},
      {L"DissolveAdditiveTransition", L"DissolveAdditiveTransition"},
      {L"DitherTransition", L"DitherTransition"},
      {L"DitherCumulativeTransition", L"DitherCumulativeTransition"},
      {L"FlipTransition", L"FlipTransition"},
      {L"PerspectiveTurnTransition", L"PerspectiveTurnTransition"},
      {L"RandomTransition", L"RandomTransition"},
      {L"ShutterBandsTransition", L"ShutterBandsTransition"},
      {L"TwirlTransition", L"TwirlTransition"},
  };
  ASSERT_EQ(ModuleComponents().size(), std::size(names));
  std::size_t row = 0;
  for (const auto& [component, objectName] : names) {
    const tagREFString registered = ModuleComponents()[row++].name;
    EXPECT_EQ(std::wstring(registered.text, registered.length), component) << "row " << row;
    auto info = moduletest::Create<IObjectInfo>(component);
    EXPECT_EQ(NameOf(info.Get()), objectName);
    EXPECT_TRUE(info.As<IKeloTransition>()) << component;
  }
}

// Two final releases racing, made deterministic: the probe's reference count (found by
// CObject<T> before the frame's own) runs the other release right after this one's decrement,
// which is where a second thread can slip in. Exactly one of them must destroy the object, and
// the interrupted one must not read the count again. Memory comes from a buffer that is never
// freed, so a second destruction is counted rather than corrupting the heap; what the count sees
// is kept outside the object, which is gone when the test reads it.
int gDestructions = 0;
bool gInterrupted = false, gReadAfterInterruption = false;
class CRaceProbe : public CSimpleTransition<CRaceProbe> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"RaceProbe");
  HRESULT DoTransition(ICIF*, ICIF*, ICIF**, double) override { return S_OK; }

  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    alignas(std::max_align_t) static unsigned char buffer[1024];
    return size <= sizeof buffer ? buffer : nullptr;
  }
  static void operator delete(void*) noexcept { ++gDestructions; }

  struct InterruptibleCount {
    std::uint32_t value = 1;
    std::function<void()> afterDecrement;  // the other release, run once
    std::uint32_t fetch_add(std::uint32_t n, std::memory_order) {
      return std::exchange(value, value + n);
    }
    std::uint32_t fetch_sub(std::uint32_t n, std::memory_order) {
      const std::uint32_t before = std::exchange(value, value - n);
      if (auto other = std::exchange(afterDecrement, nullptr)) {
        other();
        gInterrupted = true;  // the count is read again only after this point
      }
      return before;
    }
    std::uint32_t load(std::memory_order) {
      gReadAfterInterruption = gReadAfterInterruption || gInterrupted;
      return value;
    }
  } m_count;

 protected:
  ~CRaceProbe() = default;
};

// Catches: two racing final releases both destroying the object, or the interrupted one reading
// the count of an object already gone.
TEST(ComponentObject, RacingFinalReleasesDestroyOnce) {
  IID iid = IID_IKeloTransition;
  IKeloTransition* object = nullptr;
  ASSERT_EQ(CObject<CRaceProbe>::_CreateInstance(nullptr, &iid, reinterpret_cast<void**>(&object)),
            S_OK);
  object->AddRef();
  std::uint32_t otherResult = 99;
  auto* probe = moduletest::Raw<CRaceProbe>(ComPtr<IKeloTransition>::Share(object));
  probe->m_count.afterDecrement = [&] { otherResult = object->Release(); };
  gDestructions = 0;
  gInterrupted = gReadAfterInterruption = false;
  const std::uint32_t result = object->Release();
  EXPECT_EQ(gDestructions, 1);
  EXPECT_EQ(otherResult, 0u);  // the release that reached 0 destroyed the object
  EXPECT_EQ(result, 1u);       // the interrupted one: the count after its own decrement
  EXPECT_FALSE(gReadAfterInterruption);
}

}  // namespace
