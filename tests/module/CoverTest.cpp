// The cover family: where each strip of each picture lands, for every style and direction, and
// what the presets keep.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "effects/Cover.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using moduletest::Render;
using testhost::Bytes;
using testhost::MakePicture;

using effecttest::kFromMark;
using effecttest::kToMark;
// Pixels name their origin: bytes (x * 10, y * 10, picture mark).
constexpr auto FromPixel = effecttest::FromPixel<10>;
constexpr auto ToPixel = effecttest::ToPixel<10>;

// What one line (row for directions 0 and 2, column for 1 and 3) of the result should show.
struct Line {
  unsigned char mark;  // kFromMark, kToMark, or 0 for cleared
  int source;          // the line of that picture it shows
};

ComPtr<IKeloTransition> MakeCover(int style, int direction) {
  return effecttest::NewWith<CCover>({{CCover::kDirection, direction}, {CCover::kStyle, style}});
}

using effecttest::Setting;

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

// Catches: a strip of the wrong picture, from the wrong line, or moving the wrong way, in any
// style and direction; a line between the strips not left as it was.
TEST(Cover, CoverAndPushPlaceEveryStrip) {
  // 0.35 leaves one line to neither strip: trunc(10 * 0.35) + trunc(10 * 0.65) = 3 + 6.
  for (double p : {0.0, 0.35, 0.5, 1.0}) {
    for (int style : {0, 1}) {
      for (int direction : {0, 1, 2, 3}) {
        const bool rows = direction == 0 || direction == 2;
        const unsigned width = rows ? 6 : 10, height = rows ? 10 : 6;
        const auto from = MakePicture(width, height, 24, FromPixel);
        const auto to = MakePicture(width, height, 24, ToPixel);
        const auto bytes =
            Bytes(Render(MakeCover(style, direction).Get(), from.Get(), to.Get(), p).Get());
        ASSERT_EQ(bytes.size(), width * height * 3);
        const int n = 10;
        const auto lines =
            Expected(style, direction, n, static_cast<int>(n * p), static_cast<int>(n * (1.0 - p)));
        SCOPED_TRACE(testing::Message()
                     << "p " << p << " style " << style << " direction " << direction);
        for (unsigned y = 0; y < height; ++y)
          for (unsigned x = 0; x < width; ++x) {
            const Line& line = lines[rows ? y : x];
            const unsigned char* pixel = &bytes[(y * width + x) * 3];
            ASSERT_EQ(pixel[2], line.mark) << x << "," << y;
            ASSERT_EQ(pixel[rows ? 1 : 0], line.source * 10) << x << "," << y;
            ASSERT_EQ(pixel[rows ? 0 : 1], (rows ? x : y) * 10) << x << "," << y;
          }
      }
    }
  }
}

// Catches: crush not squeezing a picture into its share of lines, or not clearing the gap.
TEST(Cover, CrushSqueezesBothPicturesAndClearsTheGap) {
  const auto from = MakePicture(10, 10, 24, effecttest::Level<90>),
             to = MakePicture(10, 10, 24, effecttest::Level<250>);
  for (double p : {0.0, 0.35, 1.0}) {
    for (int direction : {0, 1, 2, 3}) {
      const auto bytes =
          Bytes(Render(MakeCover(2, direction).Get(), from.Get(), to.Get(), p).Get());
      ASSERT_EQ(bytes.size(), 300u);
      const int k = static_cast<int>(10 * p), r = static_cast<int>(10 * (1.0 - p));
      const bool entersAtStart = direction == 0 || direction == 3;
      const bool rows = direction == 0 || direction == 2;
      for (int l = 0; l < 10; ++l) {
        const unsigned char expected = entersAtStart ? (l < k       ? 250
                                                        : l < k + r ? 90
                                                                    : 0)
                                                     : (l < r       ? 90
                                                        : l < r + k ? 250
                                                                    : 0);
        const std::size_t at = rows ? l * 30u + 12 : 4 * 30u + l * 3u;
        ASSERT_EQ(bytes[at], expected) << "p " << p << " direction " << direction << " line " << l;
      }
    }
  }
}

// Catches: crush drawn straight into the frame (on a host that resamples into pictures) giving
// other bytes than the plain sequence of host operations it stands for (a copy of `to` cleared,
// each strip resized and pasted): a strip in the wrong place or of the wrong size, a gap line not
// cleared or one cleared too many, a strip drawing past its edge into the other, a depth not
// converted, `from` of another size or depth, progress outside 0..1.
TEST(Cover, CrushInPlaceGivesThePlainSequencesBytes) {
  auto transform = testhost::Create<ICIFTransform>(L"CIFTransform");
  auto maths = testhost::Create<ICIFMaths>(L"CIFMaths");
  ASSERT_TRUE(transform.As<IKeloResizeInto>()) << "the host offers no fast path to compare";
  auto noise = [](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>((x * 37 + y * 91 + c * 53) ^ (x * y));
  };
  auto plain = [&](ICIF* from, ICIF* to, int direction, double p) {
    unsigned w = 0, h = 0, planes = 0;
    to->GetSize(&w, &h, &planes);
    const bool rows = direction == 0 || direction == 2;
    const int n = static_cast<int>(rows ? h : w), k = static_cast<int>(n * p),
              r = static_cast<int>(n * (1.0 - p));
    ComPtr<ICIF> result, squeezed, growing;
    transform->Resize(from, squeezed.Put(), rows ? w : r, rows ? r : h, 0, 1);
    transform->Resize(to, growing.Put(), rows ? w : k, rows ? k : h, 0, 1);
    maths->Copy(result.Put(), to, 0, 0);
    maths->Clear(result.Get(), nullptr, 0);
    const int squeezedAt = direction == 0 || direction == 3 ? k : 0;
    const int growingAt = direction == 1 || direction == 2 ? r : 0;
    maths->Paste(result.Get(), squeezed.Get(), nullptr, rows ? 0 : squeezedAt,
                 rows ? squeezedAt : 0);
    maths->Paste(result.Get(), growing.Get(), nullptr, rows ? 0 : growingAt, rows ? growingAt : 0);
    return Bytes(result.Get());
  };
  for (int toBits : {24, 32}) {
    const auto to = MakePicture(37, 20, toBits, noise);
    for (auto [fromWidth, fromHeight, fromBits] :
         {std::tuple{37u, 20u, toBits}, {23u, 31u, toBits}, {37u, 20u, 8}, {40u, 9u, 24}}) {
      const auto from = MakePicture(fromWidth, fromHeight, fromBits, noise);
      // 0.35 leaves a line of 20 and a column of 37 to neither strip.
      for (double p : {0.0, 0.01, 0.35, 0.5, 0.77, 1.0, -0.2, 1.3}) {
        for (int direction : {0, 1, 2, 3}) {
          const auto frame = Render(MakeCover(2, direction).Get(), from.Get(), to.Get(), p);
          EXPECT_EQ(Bytes(frame.Get()), plain(from.Get(), to.Get(), direction, p))
              << toBits << " bits, from " << fromWidth << "x" << fromHeight << "x" << fromBits
              << ", p " << p << ", direction " << direction;
        }
      }
    }
  }
}

// Catches: direction 5 not read as 1, style 3 not showing the outgoing picture only, `from` of
// another size not fitted to `to`.
TEST(Cover, OtherStylesAndDirectionsAndSizes) {
  const auto from = MakePicture(10, 10, 24, FromPixel), to = MakePicture(10, 10, 24, ToPixel);
  const auto frame = [&](int style, int direction, double p, ICIF* source) {
    return Render(MakeCover(style, direction).Get(), source, to.Get(), p);
  };
  EXPECT_EQ(Bytes(frame(0, 5, 0.35, from.Get()).Get()), Bytes(frame(0, 1, 0.35, from.Get()).Get()));
  EXPECT_EQ(Bytes(frame(3, 0, 0.7, from.Get()).Get()), Bytes(from.Get()));
  const auto big = MakePicture(20, 30, 24, FromPixel);
  EXPECT_EQ(testhost::Shape(frame(1, 2, 0.5, big.Get()).Get()), testhost::Shape(to.Get()));
}

// Catches: a preset losing its style to Randomize or Replicate, Randomize drawing a direction
// out of range or reporting anything but 3, a copy losing the direction, the page or its string
// table misnamed.
TEST(Cover, PresetsRandomizeReplicateAndPages) {
  for (const wchar_t* name : {L"PushTransition", L"CrushTransition"}) {
    const int style = name[0] == L'P' ? 1 : 2;
    auto properties = moduletest::Create<IUIPropInterrogate>(name);
    ASSERT_TRUE(properties);
    EXPECT_EQ(Setting(properties.Get(), CCover::kStyle), style);
    auto random = properties.As<IRandomizableObject>();
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(random->Randomize(), 3);
      const int direction = Setting(properties.Get(), CCover::kDirection);
      EXPECT_TRUE(direction >= 0 && direction <= 3) << direction;
      EXPECT_EQ(Setting(properties.Get(), CCover::kStyle), style);
    }

    properties->Control(CCover::kDirection, 3);
    ComPtr<IUnknown> copy;
    ASSERT_EQ(properties.As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
    EXPECT_EQ(Setting(copy.Get(), CCover::kDirection), 3);
    EXPECT_EQ(Setting(copy.Get(), CCover::kStyle), style);
    EXPECT_TRUE(copy.As<IKeloTransition>());

    ComPtr<INamedCollection> pages;
    ASSERT_EQ(properties.As<IUIPropertyPageSpecify>()->GetPages(0, pages.Put(), nullptr), S_OK);
    int count = 0;
    pages->GetCount(&count);
    ComPtr<IUnknown> page, texts;
    pages->GetValue(0, page.Put());
    pages->GetExtra(0, texts.Put());
    EXPECT_EQ(count, 1);
    EXPECT_EQ(testhost::Text(page.Get()), L"UIPropInterrogatePropPage");
    EXPECT_EQ(testhost::Text(texts.Get()), L"KeloTransitionTexts");
  }
}

}  // namespace
