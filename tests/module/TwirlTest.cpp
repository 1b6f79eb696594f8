// The twirl: its early returns and resize rule, where the square lands and how far it has
// turned, its own table layout, its draws and what each stream keeps of its revolutions.
#include <gtest/gtest.h>

#include <string>

#include "effects/Twirl.h"
#include "support/Convert.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::Level;

ComPtr<IKeloTransition> MakeTwirl(float revolutions) {
  const auto effect = effecttest::Make<CTwirl>();
  effect.As<ITwirl>()->put_Revolutions(revolutions);
  return effect;
}

// Asked for IUIPropInterrogate, the twirl answers with the extended interface.
ComPtr<IUIPropInterrogateEx> PropertiesOf(IUnknown* twirl) {
  ComPtr<IUIPropInterrogateEx> properties;
  twirl->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
  return properties;
}

double RevolutionsOf(IUnknown* twirl) {
  const auto properties = PropertiesOf(twirl);
  ComPtr<IUnknown> value;
  properties->InquireEx(CTwirl::kRevolutions, value.Put());
  double revolutions = -99;
  value.As<IVariant>()->GetDouble(&revolutions);
  return revolutions;
}

TEST(Twirl, EarlyReturnsHandOutTheCallersOwnPictures) {
  // At 0 `from` itself even when the sizes differ (never its resized copy); at 1 and beyond `to`.
  const ComPtr<ICIF> from = testhost::MakePicture(30, 20, 24, Level<90>);
  const ComPtr<ICIF> to = testhost::MakePicture(40, 30, 24, Level<250>);
  const auto effect = MakeTwirl(1);
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 0.0, from.Get());
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 1.0, to.Get());
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 3.0, to.Get());
}

TEST(Twirl, TheOutgoingPictureIsResampledOnlyWhenBothSidesDiffer) {
  // A rule of "either side differs" would resample the first two and give to's size.
  const auto effect = MakeTwirl(1);
  const ComPtr<ICIF> to = testhost::MakePicture(640, 400, 24, Level<250>);
  const effecttest::Shape rows[][2] = {{{640, 480, 24}, {640, 480, 24}},
                                       {{480, 400, 24}, {480, 400, 24}},
                                       {{320, 240, 24}, {640, 400, 24}}};
  for (const auto& [fromShape, resultShape] : rows) {
    const ComPtr<ICIF> from =
        testhost::MakePicture(fromShape.width, fromShape.height, 24, Level<90>);
    const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), 0.5);
    EXPECT_EQ(effecttest::ShapeOf(out.Get()), resultShape) << fromShape.width;
  }
}

// `to` with its top-left quarter marked (red) and the rest blue; `from` grey.
unsigned char Marked(unsigned x, unsigned y, unsigned c) {
  const bool marked = x < 40 && y < 30;
  return static_cast<unsigned char>(c == 0 ? (marked ? 255 : 0) : c == 2 ? (marked ? 0 : 255) : 0);
}

TEST(Twirl, TheSquareGrowsFromTheCentreTurnedByTheRevolutionsLeft) {
  // 80 x 60 pictures. Each row: where a pixel must be grey (the outgoing picture), red (the
  // marked corner of `to`) or blue (the rest of `to`). Catches a square of the wrong side or
  // place, an angle that is not 2 pi (1 - p) revolutions, and the outgoing picture not pasted
  // around the square.
  enum Colour { kGrey, kRed, kBlue };
  struct Probe {
    unsigned x, y;
    Colour colour;
  };
  const struct {
    float revolutions;
    double progress;
    std::vector<Probe> probes;
  } rows[] = {
      // p = 0.5: side 40, from (20, 10) to (60, 50); a whole turn left over is a half turn:
      // the marked corner lands opposite.
      {1, 0.5, {{24, 14, kBlue}, {56, 46, kRed}, {17, 30, kGrey}, {63, 30, kGrey}, {40, 7, kGrey}}},
      // No revolutions: the square grows without turning.
      {0, 0.5, {{24, 14, kRed}, {56, 46, kBlue}, {17, 30, kGrey}, {63, 30, kGrey}}},
      // p = 0.75: side 60, from (10, 0) to (70, 60); a quarter turn left, clockwise for a
      // positive count and anticlockwise for a negative one.
      {1, 0.75, {{64, 6, kRed}, {16, 6, kBlue}, {16, 54, kBlue}, {5, 30, kGrey}, {75, 30, kGrey}}},
      {-1, 0.75, {{16, 54, kRed}, {16, 6, kBlue}, {64, 6, kBlue}}},
  };
  const ComPtr<ICIF> from = testhost::MakePicture(80, 60, 24, Level<90>);
  const ComPtr<ICIF> to = testhost::MakePicture(80, 60, 24, Marked);
  for (const auto& row : rows) {
    const auto effect = MakeTwirl(row.revolutions);
    const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), row.progress);
    for (const Probe& probe : row.probes) {
      const unsigned char expected[3][3] = {{90, 90, 90}, {255, 0, 0}, {0, 0, 255}};
      for (unsigned c = 0; c < 3; ++c)
        EXPECT_EQ(effecttest::At(out.Get(), probe.x, probe.y, c), expected[probe.colour][c])
            << "revolutions " << row.revolutions << " p " << row.progress << " at " << probe.x
            << "," << probe.y;
    }
  }
}

// A plain function in a slot of an object's table, called as the host calls it.
template <class... Args>
HRESULT CallSlot(void* object, int slot, Args... args) {
  using Operation = HRESULT (*)(void*, Args...);
  return (*static_cast<Operation**>(object))[slot](object, args...);
}

TEST(Twirl, ItsOwnTableAnswersReplicationWithThePrimaryInterface) {
  // Catches the common shape slipping in: IReplicableObject answered by anything but the
  // primary table (whose fourth operation is FinalConstruct), or the class's own slots moved.
  const auto effect = MakeTwirl(2.5f);
  ComPtr<IUnknown> primary, replicable, extended;
  ASSERT_EQ(effect->QueryInterface(IID_IUnknown, primary.PutVoid()), S_OK);
  ASSERT_EQ(effect->QueryInterface(IID_IReplicableObject, replicable.PutVoid()), S_OK);
  EXPECT_EQ(replicable.Get(), primary.Get());
  EXPECT_EQ(effect->QueryInterface(IID_IUIPropInterrogateEx, extended.PutVoid()), E_NOINTERFACE);

  // Replicate called through that answer runs FinalConstruct: a second property entry, the
  // revolutions untouched, nothing handed out.
  IUnknown* copy = nullptr;
  EXPECT_EQ(CallSlot(replicable.Get(), 3, &copy), S_OK);
  EXPECT_EQ(copy, nullptr);
  int count = 0;
  PropertiesOf(effect.Get())->Inquire(UIPROP_ALL, &count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(RevolutionsOf(effect.Get()), 2.5);

  // The class's own slots: get_Revolutions (8), put_Revolutions (9, unchecked), Replicate (13,
  // a copy handed out as its ITwirl, narrowed to float through put_Revolutions).
  EXPECT_EQ(CallSlot(primary.Get(), 9, -3.0f), S_OK);
  float value = 0;
  EXPECT_EQ(CallSlot(primary.Get(), 8, &value), S_OK);
  EXPECT_EQ(value, -3.0f);
  EXPECT_EQ(effect.As<ITwirl>()->get_Revolutions(nullptr), S_OK);
  effect.As<ITwirl>()->put_Revolutions(1.1f);
  ASSERT_EQ(CallSlot(primary.Get(), 13, &copy), S_OK);
  const auto copied = ComPtr<IUnknown>::Adopt(copy);
  EXPECT_EQ(copied.As<ITwirl>().Get(), static_cast<void*>(copy));
  EXPECT_EQ(RevolutionsOf(copied.Get()), static_cast<double>(1.1f));
}

TEST(Twirl, RandomizeDrawsBackwardsAboutHalfTheTime) {
  // r <= 50 of 0..100 gives -2.5..0.3, the rest 0.3..2.5 (51 in 101 of 400 is about 202 low).
  const auto effect = MakeTwirl(1);
  int low = 0;
  for (int i = 0; i < 400; ++i) {
    ASSERT_EQ(effect.As<IRandomizableObject>()->Randomize(), S_OK);
    const double value = RevolutionsOf(effect.Get());
    ASSERT_TRUE(value >= -2.5 && value <= 2.5) << value;
    ASSERT_EQ(value, static_cast<double>(static_cast<float>(value)));
    low += value <= 0.3;
  }
  EXPECT_GT(low, 160);
  EXPECT_LT(low, 244);
}

TEST(Twirl, TheFolderStreamKeepsTheDoubleExactly) {
  const auto effect = MakeTwirl(1);
  auto exact = ComPtr<IVariant>::Adopt(IVCreate(1.1));
  ASSERT_EQ(PropertiesOf(effect.Get())->ControlEx(CTwirl::kRevolutions, exact.Get()), S_OK);
  auto folder = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_EQ(effect.As<IDataPersist>()->Save(folder.Get(), 0), S_OK);
  const auto fromFolder = MakeTwirl(5);
  ASSERT_EQ(fromFolder.As<IDataPersist>()->Load(folder.Get(), 0), S_OK);
  EXPECT_EQ(RevolutionsOf(fromFolder.Get()), 1.1);
}

}  // namespace
