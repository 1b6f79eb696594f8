// The cover family: where each strip of each picture lands, for every style and direction.
#include <gtest/gtest.h>

#include <string>

#include "effects/Cover.h"
#include "effects/KeloTransitions.h"
#include "support/Convert.h"
#include "tests/common/TestHost.h"

namespace {

// Pixels name their origin: bytes (x * 10, y * 10, picture mark).
constexpr unsigned char kFromMark = 50, kToMark = 200;
unsigned char FromPixel(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * 10 : c == 1 ? y * 10 : kFromMark);
}
unsigned char ToPixel(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * 10 : c == 1 ? y * 10 : kToMark);
}

// What one line (row for directions 0 and 2, column for 1 and 3) of the result should show.
struct Line {
  unsigned char mark;  // kFromMark, kToMark, or 0 for cleared
  int source;          // the line of that picture it shows
};

ComPtr<IKeloTransition> MakeCover(int style, int direction) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  EXPECT_EQ(CObject<CCover>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  auto properties = effect.As<IUIPropInterrogate>();
  properties->Control(CCover::kDirection, direction);
  properties->Control(CCover::kStyle, style);
  return effect;
}

// The expected lines of cover (0) and push (1), with k = trunc(N p) incoming and r = trunc(N q)
// outgoing lines.
std::vector<Line> Expected(int style, int direction, int n, int k, int r) {
  std::vector<Line> lines(static_cast<std::size_t>(n));
  const bool entersAtStart = direction == 0 || direction == 3;
  for (int l = 0; l < n; ++l) {
    Line line = style == 0 ? Line{kFromMark, l} : Line{kToMark, l};
    if (style == 1) {
      if (entersAtStart && l >= k) line = {kFromMark, l - k};
      if (!entersAtStart && l < r) line = {kFromMark, n - r + l};
    }
    if (entersAtStart && l < k) line = {kToMark, n - k + l};
    if (!entersAtStart && l >= r && l < r + k) line = {kToMark, l - r};
    lines[static_cast<std::size_t>(l)] = line;
  }
  return lines;
}

TEST(Cover, CoverAndPushPlaceEveryStrip) {
  // 0.35 leaves one line to neither strip: trunc(10 * 0.35) + trunc(10 * 0.65) = 3 + 6.
  for (double p : {0.0, 0.35, 0.5, 1.0}) {
    for (int style : {0, 1}) {
      for (int direction : {0, 1, 2, 3}) {
        const bool rows = direction == 0 || direction == 2;
        const unsigned width = rows ? 6 : 10, height = rows ? 10 : 6;
        ComPtr<ICIF> from = testhost::MakePicture(width, height, 24, FromPixel);
        ComPtr<ICIF> to = testhost::MakePicture(width, height, 24, ToPixel);
        ICIF* raw = nullptr;
        ASSERT_EQ(MakeCover(style, direction)->DoTransition(from.Get(), to.Get(), &raw, p), S_OK);
        ComPtr<ICIF> out = ComPtr<ICIF>::Adopt(raw);
        const auto bytes = testhost::Bytes(out.Get());
        const int n = 10;
        const auto lines =
            Expected(style, direction, n, static_cast<int>(n * p), static_cast<int>(n * (1.0 - p)));
        for (unsigned y = 0; y < height; ++y)
          for (unsigned x = 0; x < width; ++x) {
            const Line& line = lines[rows ? y : x];
            const unsigned char* pixel = &bytes[(y * width + x) * 3];
            const std::string where = "p " + std::to_string(p) + " style " + std::to_string(style) +
                                      " direction " + std::to_string(direction) + " at " +
                                      std::to_string(x) + "," + std::to_string(y);
            ASSERT_EQ(pixel[2], line.mark) << where;
            ASSERT_EQ(pixel[rows ? 1 : 0], line.source * 10) << where;
            ASSERT_EQ(pixel[rows ? 0 : 1], (rows ? x : y) * 10) << where;
          }
      }
    }
  }
}

TEST(Cover, CrushSqueezesBothPicturesAndClearsTheGap) {
  auto grey = [](unsigned, unsigned, unsigned) -> unsigned char { return 90; };
  auto white = [](unsigned, unsigned, unsigned) -> unsigned char { return 250; };
  for (double p : {0.0, 0.35, 1.0}) {
    for (int direction : {0, 1, 2, 3}) {
      ComPtr<ICIF> from = testhost::MakePicture(10, 10, 24, grey);
      ComPtr<ICIF> to = testhost::MakePicture(10, 10, 24, white);
      ICIF* raw = nullptr;
      ASSERT_EQ(MakeCover(2, direction)->DoTransition(from.Get(), to.Get(), &raw, p), S_OK);
      ComPtr<ICIF> out = ComPtr<ICIF>::Adopt(raw);
      const auto bytes = testhost::Bytes(out.Get());
      const int k = static_cast<int>(10 * p), r = static_cast<int>(10 * (1.0 - p));
      const bool entersAtStart = direction == 0 || direction == 3;
      for (int l = 0; l < 10; ++l) {
        unsigned char expected = 0;  // cleared
        if (entersAtStart)
          expected = l < k ? 250 : l < k + r ? 90 : 0;
        else
          expected = l < r ? 90 : l < r + k ? 250 : 0;
        const bool rows = direction == 0 || direction == 2;
        const std::size_t at =
            rows ? static_cast<std::size_t>(l) * 30 + 12 : 4 * 30 + static_cast<std::size_t>(l) * 3;
        ASSERT_EQ(bytes[at], expected) << "p " << p << " direction " << direction << " line " << l;
      }
    }
  }
}

TEST(Cover, OtherStylesAndDirectionsAndSizes) {
  // Direction 5 behaves as 1; style 3 shows the outgoing picture only; from is fitted to to.
  ComPtr<ICIF> from = testhost::MakePicture(10, 10, 24, FromPixel);
  ComPtr<ICIF> to = testhost::MakePicture(10, 10, 24, ToPixel);
  ICIF* a = nullptr;
  ICIF* b = nullptr;
  MakeCover(0, 5)->DoTransition(from.Get(), to.Get(), &a, 0.35);
  MakeCover(0, 1)->DoTransition(from.Get(), to.Get(), &b, 0.35);
  EXPECT_EQ(testhost::Bytes(a), testhost::Bytes(b));
  a->Release();
  b->Release();
  MakeCover(3, 0)->DoTransition(from.Get(), to.Get(), &a, 0.7);
  EXPECT_EQ(testhost::Bytes(a), testhost::Bytes(from.Get()));
  a->Release();

  ComPtr<ICIF> big = testhost::MakePicture(20, 30, 24, FromPixel);
  MakeCover(1, 2)->DoTransition(big.Get(), to.Get(), &a, 0.5);
  unsigned width = 0, height = 0, planes = 0;
  a->GetSize(&width, &height, &planes);
  EXPECT_EQ(width, 10u);
  EXPECT_EQ(height, 10u);
  a->Release();
}

TEST(Cover, PresetsRandomizeReplicateAndPages) {
  for (const wchar_t* name : {L"PushTransition", L"CrushTransition"}) {
    ComponentFactory factory = nullptr;
    ASSERT_EQ(CreateFunction(RefView(name), &factory), S_OK);
    ComPtr<IUIPropInterrogate> properties;
    IID iid = IID_IUIPropInterrogate;
    ASSERT_EQ(factory(nullptr, &iid, properties.PutVoid()), S_OK);
    int style = -1;
    properties->Inquire(CCover::kStyle, &style);
    EXPECT_EQ(style, name[0] == L'P' ? 1 : 2);
    tagREFString objectName{};
    properties.As<IObjectInfo>()->GetName(0, &objectName);
    EXPECT_EQ(std::wstring(objectName.text, objectName.length), L"CoverTransition");

    // Randomize draws a direction and leaves the style; it reports 3.
    auto random = properties.As<IRandomizableObject>();
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(random->Randomize(), 3);
      int direction = -1;
      properties->Inquire(CCover::kDirection, &direction);
      EXPECT_GE(direction, 0);
      EXPECT_LE(direction, 3);
      properties->Inquire(CCover::kStyle, &style);
      EXPECT_EQ(style, name[0] == L'P' ? 1 : 2);
    }

    properties->Control(CCover::kDirection, 3);
    ComPtr<IUnknown> copy;
    ASSERT_EQ(properties.As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
    auto copied = copy.As<IUIPropInterrogate>();
    int direction = -1;
    copied->Inquire(CCover::kDirection, &direction);
    copied->Inquire(CCover::kStyle, &style);
    EXPECT_EQ(direction, 3);
    EXPECT_EQ(style, name[0] == L'P' ? 1 : 2);
    EXPECT_TRUE(copy.As<IKeloTransition>());

    ComPtr<INamedCollection> pages;
    ASSERT_EQ(properties.As<IUIPropertyPageSpecify>()->GetPages(0, pages.Put(), nullptr), S_OK);
    int count = 0;
    pages->GetCount(&count);
    EXPECT_EQ(count, 1);
    ComPtr<IUnknown> page, texts;
    pages->GetValue(0, page.Put());
    pages->GetExtra(0, texts.Put());
    const CREFString pageName(page.As<IString>().Get()), textsName(texts.As<IString>().Get());
    EXPECT_EQ(std::wstring(pageName.text, pageName.length), L"UIPropInterrogatePropPage");
    EXPECT_EQ(std::wstring(textsName.text, textsName.length), L"KeloTransitionTexts");
  }
}

TEST(Cover, SettingsRoundTripThroughXMLWithTheirNames) {
  ComPtr<IKeloTransition> effect = MakeCover(1, 2);
  auto stream = testhost::Create<IDataStream>(L"XMLStream");
  ASSERT_EQ(effect.As<IDataPersist>()->Save(stream.Get(), 0), S_OK);
  const CREFString text(stream.As<IString>().Get());
  const std::wstring xml(text.text, text.length);
  EXPECT_NE(xml.find(L"<Direction>2</Direction>"), std::wstring::npos) << xml;
  EXPECT_NE(xml.find(L"<Style>1</Style>"), std::wstring::npos) << xml;
  ComPtr<IKeloTransition> other = MakeCover(0, 0);
  ASSERT_EQ(other.As<IDataPersist>()->Load(stream.Get(), 0), S_OK);
  int direction = -1, style = -1;
  other.As<IUIPropInterrogate>()->Inquire(CCover::kDirection, &direction);
  other.As<IUIPropInterrogate>()->Inquire(CCover::kStyle, &style);
  EXPECT_EQ(direction, 2);
  EXPECT_EQ(style, 1);
}

}  // namespace
