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
      {1,
       0.5,
       {{24, 14, kBlue},
        {56, 46, kRed},
        {17, 30, kGrey},
        {21, 40, kBlue},
        {58, 20, kBlue},
        {63, 30, kGrey},
        {40, 7, kGrey},
        {40, 53, kGrey}}},
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

TEST(Twirl, RevolutionsAreStoredUncheckedAndReadAsAFloat) {
  const auto effect = MakeTwirl(-3);
  const auto twirl = effect.As<ITwirl>();
  float value = 0;
  EXPECT_EQ(twirl->get_Revolutions(&value), S_OK);
  EXPECT_EQ(value, -3.0f);
  EXPECT_EQ(twirl->get_Revolutions(nullptr), S_OK);
  // Through the property, a float's bit pattern.
  effect.As<IUIPropInterrogate>()->Control(CTwirl::kRevolutions, 0x40400000);
  twirl->get_Revolutions(&value);
  EXPECT_EQ(value, 3.0f);
}

// A plain function in a slot of an object's table, called as the host calls it.
template <class... Args>
HRESULT CallSlot(void* object, int slot, Args... args) {
  using Operation = HRESULT (*)(void*, Args...);
  return (*static_cast<Operation**>(object))[slot](object, args...);
}

TEST(Twirl, ItsOwnTableAnswersReplicationWithThePrimaryInterface) {
  // Catches the common shape's answers or table order slipping in: ITwirl answered before
  // IKeloTransition, IReplicableObject answered by the primary table, whose fourth operation is
  // FinalConstruct, and Replicate in slot 13 of that table.
  const auto effect = MakeTwirl(2.5f);
  ComPtr<IUnknown> primary, replicable, extended;
  ASSERT_EQ(effect->QueryInterface(IID_IUnknown, primary.PutVoid()), S_OK);
  ASSERT_EQ(effect->QueryInterface(IID_IReplicableObject, replicable.PutVoid()), S_OK);
  EXPECT_EQ(replicable.Get(), primary.Get());
  EXPECT_EQ(effect->QueryInterface(IID_IUIPropInterrogateEx, extended.PutVoid()), E_NOINTERFACE);
  for (const IID* iid : {&IID_IObjectInfo, &IID_ITwirl, &IID_IRandomizableObject, &IID_IDataPersist,
                         &IID_IUIPropInterrogate, &IID_IUIPropertyPageSpecify}) {
    ComPtr<IUnknown> answer;
    EXPECT_EQ(effect->QueryInterface(*iid, answer.PutVoid()), S_OK);
  }

  // Replicate called through the answer runs FinalConstruct: a second property entry, the
  // revolutions untouched, nothing handed out.
  IUnknown* copy = nullptr;
  EXPECT_EQ(CallSlot(replicable.Get(), 3, &copy), S_OK);
  EXPECT_EQ(copy, nullptr);
  int count = 0;
  effect.As<IUIPropInterrogate>()->Inquire(UIPROP_ALL, &count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(RevolutionsOf(effect.Get()), 2.5);

  // By the class's own slots: get_Revolutions (8), put_Revolutions (9), Replicate (13).
  float value = 0;
  EXPECT_EQ(CallSlot(primary.Get(), 8, &value), S_OK);
  EXPECT_EQ(value, 2.5f);
  EXPECT_EQ(CallSlot(primary.Get(), 9, 1.1f), S_OK);
  ASSERT_EQ(CallSlot(primary.Get(), 13, &copy), S_OK);
  ComPtr<IUnknown> copied = ComPtr<IUnknown>::Adopt(copy);
  ComPtr<ITwirl> copyTwirl;
  ASSERT_EQ(copied->QueryInterface(IID_ITwirl, copyTwirl.PutVoid()), S_OK);
  EXPECT_EQ(copyTwirl.Get(), static_cast<void*>(copy)) << "handed out as its ITwirl";
  EXPECT_EQ(RevolutionsOf(copied.Get()), static_cast<double>(1.1f));
}

TEST(Twirl, RandomizeDrawsBackwardsAboutHalfTheTime) {
  // r <= 50 of 0..100 gives -2.5..0.3, the rest 0.3..2.5, stored as a float.
  const auto effect = MakeTwirl(1);
  int low = 0;
  bool backwards = false, forwards = false;
  for (int i = 0; i < 400; ++i) {
    ASSERT_EQ(effect.As<IRandomizableObject>()->Randomize(), S_OK);
    const double value = RevolutionsOf(effect.Get());
    ASSERT_GE(value, -2.5);
    ASSERT_LE(value, 2.5);
    ASSERT_EQ(value, static_cast<double>(static_cast<float>(value)));
    low += value <= 0.3;
    backwards = backwards || value < -1.5;
    forwards = forwards || value > 1.5;
  }
  EXPECT_TRUE(backwards && forwards);
  EXPECT_GT(low, 160);  // 51 in 101 of 400 is about 202
  EXPECT_LT(low, 244);
}

TEST(Twirl, OnlyTheFolderStreamKeepsTheDoubleAndThePageNamesNoTable) {
  const auto effect = MakeTwirl(1);
  auto exact = ComPtr<IVariant>::Adopt(IVCreate(1.1));
  ASSERT_EQ(PropertiesOf(effect.Get())->ControlEx(CTwirl::kRevolutions, exact.Get()), S_OK);

  auto folder = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_EQ(effect.As<IDataPersist>()->Save(folder.Get(), 0), S_OK);
  const auto fromFolder = MakeTwirl(5);
  ASSERT_EQ(fromFolder.As<IDataPersist>()->Load(folder.Get(), 0), S_OK);
  EXPECT_EQ(RevolutionsOf(fromFolder.Get()), 1.1);

  // The XML form reads the value through the 32-bit Inquire, which refuses a double.
  const auto [xml, text] = effecttest::SavedXML(effect.Get());
  EXPECT_NE(text.find(L"<Revolutions>0</Revolutions>"), std::wstring::npos) << text;
  const auto fromXML = MakeTwirl(5);
  ASSERT_EQ(fromXML.As<IDataPersist>()->Load(xml.Get(), 0), S_OK);
  EXPECT_EQ(RevolutionsOf(fromXML.Get()), 0.0);

  ComPtr<INamedCollection> pages;
  ASSERT_EQ(effect.As<IUIPropertyPageSpecify>()->GetPages(0, pages.Put(), nullptr), S_OK);
  int count = 0;
  pages->GetCount(&count);
  EXPECT_EQ(count, 1);
  ComPtr<IUnknown> texts;
  pages->GetExtra(0, texts.Put());
  EXPECT_FALSE(texts);
}

}  // namespace
