// The operations CAdjustableEffect builds from a declaration, for an effect of the other shape
// than the cover family's (tested in CoverTest): entries appended directly with ranges and
// starting values, a double, an interface of its own, a declared Replicate order and a page
// without a string table.
#include <gtest/gtest.h>

#include <set>

#include "properties/AdjustableEffect.h"
#include "sdk/ComPtr.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

// Named "ShutterBandsTransition" so that its text entry 11 and the names of ids 1, 2 and 4 come
// from that string table.
class CBandsProbe : public CAdjustableEffect<CBandsProbe, IShutter> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"ShutterBandsTransition");
  static const EffectDeclaration<CBandsProbe> kDeclaration;

  HRESULT DoTransition(ICIF*, ICIF*, ICIF**, double) override { return E_NOTIMPL; }
  HRESULT get_Style(short* value) override { return Get(style, value); }
  HRESULT put_Style(short value) override { return Put(style, value); }
  HRESULT get_Bands(short* value) override { return Get(bands, value); }
  HRESULT put_Bands(short value) override { return Put(bands, value); }
  HRESULT get_Direction(short* value) override { return Get(direction, value); }
  HRESULT put_Direction(short value) override { return Put(direction, value); }

  std::int32_t direction = -1, bands = -1, style = -1;
  double turns = -1;

 private:
  static HRESULT Get(std::int32_t member, short* value) {
    *value = static_cast<short>(member);
    return S_OK;
  }
  static HRESULT Put(std::int32_t& member, short value) {
    member = value;
    return S_OK;
  }
};

const EffectDeclaration<CBandsProbe> CBandsProbe::kDeclaration{
    .properties = {{
        {.id = 1,
         .integer = &CBandsProbe::direction,
         .flags = kPropChoice | kPropInt32,
         .textId = 11,
         .random = {.count = 2}},
        {.id = 2,
         .integer = &CBandsProbe::bands,
         .minimum = 1,
         .maximum = 9,
         .initial = 3,
         .random = {.count = 9, .base = 1}},
        {.id = 4, .integer = &CBandsProbe::style, .minimum = 0, .maximum = 3},
        {.id = 7, .real = &CBandsProbe::turns, .flags = kPropDouble, .initial = 1.1},
    }},
    .texts = L"ShutterBandsTransition",
    .replicateOrder = {7, 4, 1, 2},
};

ComPtr<IUIPropInterrogateEx> MakeProbe(CBandsProbe** raw) {
  auto properties = moduletest::New<CBandsProbe, IUIPropInterrogateEx>(IID_IUIPropInterrogate);
  *raw = moduletest::Raw<CBandsProbe>(properties);
  return properties;
}

// Catches: a declared entry missing or without its starting value, range or choices, an
// interface of the shape (the effect's own included) not answered.
TEST(AdjustableEffect, FinalConstructAddsTheDeclaredEntriesWithTheirStartingValues) {
  testhost::Global();
  CBandsProbe* probe = nullptr;
  auto properties = MakeProbe(&probe);
  EXPECT_EQ(std::tuple(probe->direction, probe->bands, probe->style, probe->turns),
            std::tuple(0, 3, 0, 1.1));

  int count = 0, low = 0, high = 0;
  EXPECT_EQ(properties->Inquire(UIPROP_ALL, &count), S_OK);
  EXPECT_EQ(count, 4);
  // The text entry gives a list of choices; the others keep their declared ranges.
  int value = -1;
  EXPECT_EQ(properties->Inquire(1, &value), 0x43);
  ComPtr<IUnknown> choices;
  EXPECT_EQ(properties->ParameterEnumeration(1, choices.Put()), S_OK);
  EXPECT_TRUE(choices);
  EXPECT_EQ(properties->Inquire(2, &value), kPropInt32);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(properties->ParameterRange(2, &low, &high), S_OK);
  EXPECT_EQ(std::make_pair(low, high), std::make_pair(1, 9));
  EXPECT_EQ(properties->ParameterRange(4, &low, &high), S_OK);
  EXPECT_EQ(std::make_pair(low, high), std::make_pair(0, 3));
  EXPECT_EQ(properties->ParameterEnumeration(2, choices.Put()), E_INVALIDARG);

  // Every interface of the shape, the effect's own included, reaches the same object.
  const IID* interfaces[] = {&IID_IObjectInfo,           &IID_IKeloTransition,   &IShutter::kIID,
                             &IID_IRandomizableObject,   &IID_IReplicableObject, &IID_IDataPersist,
                             &IID_IUIPropertyPageSpecify};
  for (const IID* iid : interfaces)
    EXPECT_EQ(properties->QueryInterface(*iid, ComPtr<IUnknown>().PutVoid()), S_OK);
  short bands = 0;
  properties.As<IShutter>()->get_Bands(&bands);
  EXPECT_EQ(bands, 3);
}

// Catches: Randomize drawing outside the declared ranges, missing values of them, or touching
// entries without a random range.
TEST(AdjustableEffect, RandomizeDrawsOnlyTheDeclaredRanges) {
  CBandsProbe* probe = nullptr;
  auto properties = MakeProbe(&probe);
  probe->style = 77;
  std::set<int> directions, bands;
  for (int i = 0; i < 400; ++i) {
    EXPECT_EQ(properties.As<IRandomizableObject>()->Randomize(), S_OK);
    directions.insert(probe->direction);
    bands.insert(probe->bands);
  }
  EXPECT_EQ(directions, (std::set<int>{0, 1}));
  EXPECT_EQ(bands, (std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(std::pair(probe->style, probe->turns), std::pair(77, 1.1));  // no random range
}

// Catches: a setting not copied (or clamped) by Replicate, a page naming a string table the
// declaration did not give.
TEST(AdjustableEffect, ReplicateCopiesEverySettingAndPagesNameNoTable) {
  CBandsProbe* probe = nullptr;
  auto properties = MakeProbe(&probe);
  probe->direction = 3;
  probe->bands = -5;  // copied as it is: Control clamps nothing
  probe->style = 2;
  probe->turns = 2.7;

  ComPtr<IUnknown> copy;
  ASSERT_EQ(properties.As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
  ASSERT_TRUE(copy.As<IKeloTransition>());
  const auto* copied = moduletest::Raw<CBandsProbe>(copy);
  // A double travels as a float.
  EXPECT_EQ(std::tuple(copied->direction, copied->bands, copied->style, copied->turns),
            std::tuple(3, -5, 2, static_cast<double>(2.7f)));

  // The page entry names no string table when the declaration gives none.
  ComPtr<INamedCollection> pages;
  ASSERT_EQ(properties.As<IUIPropertyPageSpecify>()->GetPages(0, pages.Put(), nullptr), S_OK);
  ComPtr<IUnknown> texts;
  EXPECT_TRUE(Succeeded(pages->GetExtra(0, texts.Put())));  // S_FALSE: nothing to give
  EXPECT_FALSE(texts);
}

}  // namespace
