// The deform: both styles passed to the host's deformation unchanged, the cross-fade of the two
// deformed pictures, and the identities it answers.
#include <gtest/gtest.h>

#include <string>

#include "effects/Deform.h"
#include "effects/Dissolve.h"
#include "tests/module/EffectTestSupport.h"

namespace {

unsigned char FromPattern(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 5 + y * 3 + c * 40);
}
unsigned char ToPattern(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(250 - x * 3 - y * 4 - c * 20);
}

// The frame done by hand with the host's own components: each picture copied and deformed by
// its style and amount, then dissolved.
std::vector<unsigned char> ByHand(ICIF* from, ICIF* to, int outgoing, int incoming, double p) {
  auto deform = testhost::Create<ICIFDeform>(L"CIFDeform");
  auto deformed = [&](ICIF* source, int style, double amount) {
    auto copy = testhost::Create<ICIFImageDIB>(L"CIFImageDIB");
    copy->CopyFrom(source, 0);
    deform->Deform(copy.Get(), style, 0, amount);
    return copy.As<ICIF>();
  };
  const ComPtr<ICIF> a = deformed(from, outgoing, p), b = deformed(to, incoming, 1.0 - p);
  const auto dissolve = effecttest::Make<CDissolve>();
  return testhost::Bytes(effecttest::Render(dissolve.Get(), a.Get(), b.Get(), p).Get());
}

TEST(Deform, EachStylePassesToTheHostUnchanged) {
  // Catches swapped styles or amounts, a style clamped or checked by the effect (the host
  // refuses -1, 5 and 7 and leaves that picture as it is), and a default other than 2.
  const ComPtr<ICIF> from = testhost::MakePicture(48, 32, 24, FromPattern);
  const ComPtr<ICIF> to = testhost::MakePicture(48, 32, 24, ToPattern);
  const struct {
    int outgoing, incoming;
  } rows[] = {{0, 3}, {1, 4}, {4, 0}, {3, 1}, {2, 2}, {-1, 7}, {5, 2}};
  for (const auto& row : rows) {
    CDeform* object = nullptr;
    const auto effect = effecttest::Make<CDeform>(&object);
    if (row.outgoing != 2) object->Control(CDeform::kOutgoingStyle, row.outgoing);
    if (row.incoming != 2) object->Control(CDeform::kIncomingStyle, row.incoming);
    const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), 0.3);
    EXPECT_EQ(testhost::Bytes(out.Get()),
              ByHand(from.Get(), to.Get(), row.outgoing, row.incoming, 0.3))
        << "styles " << row.outgoing << ", " << row.incoming;
  }
  // The comparison is not vacuous: deformed, the frame differs from a plain dissolve.
  const auto deform = effecttest::Make<CDeform>();
  const auto dissolve = effecttest::Make<CDissolve>();
  EXPECT_NE(testhost::Bytes(effecttest::Render(deform.Get(), from.Get(), to.Get(), 0.3).Get()),
            testhost::Bytes(effecttest::Render(dissolve.Get(), from.Get(), to.Get(), 0.3).Get()));
}

TEST(Deform, EndsAndSizes) {
  const ComPtr<ICIF> from = testhost::MakePicture(30, 20, 24, FromPattern);
  const ComPtr<ICIF> to = testhost::MakePicture(48, 32, 24, ToPattern);
  const auto effect = effecttest::Make<CDeform>();
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 0.0, from.Get());
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 1.0, to.Get());
  // In between `from` is resampled to to's size first.
  const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), 0.5);
  EXPECT_EQ(effecttest::ShapeOf(out.Get()), (effecttest::Shape{48, 32, 24}));
}

TEST(Deform, AnswersNoPropertyInterfaceThoughItCarriesOne) {
  const auto effect = effecttest::Make<CDeform>();
  for (const IID* iid : {&IID_IObjectInfo, &IID_IDataPersist, &IID_IUIPropertyPageSpecify}) {
    ComPtr<IUnknown> answer;
    EXPECT_EQ(effect->QueryInterface(*iid, answer.PutVoid()), S_OK);
  }
  for (const IID* iid : {&IID_IUIPropInterrogate, &IID_IUIPropInterrogateEx,
                         &IID_IRandomizableObject, &IID_IReplicableObject}) {
    ComPtr<IUnknown> answer;
    EXPECT_EQ(effect->QueryInterface(*iid, answer.PutVoid()), E_NOINTERFACE);
  }
}

}  // namespace
