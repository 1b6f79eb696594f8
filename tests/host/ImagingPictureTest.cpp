// Pictures, the picture pool and resampling of the "Imaging" module.
#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <tuple>
#include <vector>

#include "host/imaging/BufferPool.h"
#include "sdk/Imaging.h"
#include "tests/common/TestHost.h"
#include "tests/host/ImagingTestSupport.h"

namespace imagingtest {
namespace {

using testhost::Bytes;
using Pixel = std::vector<unsigned char>;

int FormatFor(int bits) {
  return bits == 8 ? kFormatMono : bits == 24 ? kFormatRGB : kFormatRGBA;
}

// Address of byte c of pixel (x, y).
unsigned char* At(ICIF* picture, unsigned x, unsigned y, unsigned c = 0) {
  int bits = 0, format = 0, formatC = 0, info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetFormat(&bits, &format, &formatC);
  picture->GetPlaneLines(0, &info, &first, &stride);
  return first + static_cast<std::ptrdiff_t>(y) * stride + x * (bits / 8) + c;
}

Pixel PixelAt(ICIF* picture, unsigned x, unsigned y) {
  return {At(picture, x, y), At(picture, x + 1, y)};
}

using Pattern = std::function<unsigned char(unsigned x, unsigned y, unsigned c)>;

ComPtr<ICIF> NewPicture(unsigned width, unsigned height, int bits, const Pattern& pattern) {
  auto picture = Make<ICIFImageDIB>(L"CIFImageDIB").As<ICIF>();
  EXPECT_EQ(picture.As<ICIFImageDIB>()->Create(width, height, 1, bits, FormatFor(bits)), S_OK);
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      for (int c = 0; c < bits / 8; ++c) *At(picture.Get(), x, y, c) = pattern(x, y, c);
  return picture;
}

ComPtr<ICIF> Solid(unsigned width, unsigned height, int bits, unsigned char value) {
  return NewPicture(width, height, bits, [=](unsigned, unsigned, unsigned) { return value; });
}

unsigned char Pattern3(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(1 + x * 11 + y * 29 + c * 3);
}

// Pattern3's pixel (x, y) at `bits` per pixel: 24 bits leave its fourth byte out.
Pixel Pattern3Pixel(unsigned x, unsigned y, int bits) {
  Pixel pixel{Pattern3(x, y, 0), Pattern3(x, y, 1), Pattern3(x, y, 2), Pattern3(x, y, 3)};
  pixel.resize(bits / 8);
  return pixel;
}

bool Inside(unsigned x, unsigned y, unsigned left, unsigned top, unsigned width, unsigned height) {
  return x >= left && x < left + width && y >= top && y < top + height;
}

// Expects every pixel (x, y) of `picture` to be want(x, y); stops at the first that is not.
void ExpectPixels(ICIF* picture, const std::function<Pixel(unsigned x, unsigned y)>& want) {
  const auto [width, height, bits, format] = testhost::Shape(picture);
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      ASSERT_EQ(PixelAt(picture, x, y), want(x, y)) << "at " << x << "," << y;
}

void ExpectSize(ICIF* picture, unsigned width, unsigned height, int bits) {
  unsigned w = 99, h = 99, planes = 99;
  int b = 0, format = 0, formatC = -1;
  EXPECT_EQ(picture->GetSize(&w, &h, &planes), S_OK);
  EXPECT_EQ(picture->GetFormat(&b, &format, &formatC), S_OK);
  EXPECT_EQ(std::make_tuple(w, h, planes, b, format, formatC),
            std::make_tuple(width, height, 1u, bits, FormatFor(bits), 0));
}

ComPtr<ITransform> Linear(std::initializer_list<std::array<double, 4>> steps) {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  for (const auto& s : steps)
    linear->Append(static_cast<int>(s[0]), static_cast<int>(s[1]), s[2], s[3], 0);
  return linear.As<ITransform>();
}

// The operations most tests use, made before the fixture counts live objects; each call through
// the helpers must succeed.
class ImagingPicture : public ImagingTest {
 protected:
  ComPtr<ICIFTransform> transform = Make<ICIFTransform>(L"CIFTransform");
  ComPtr<ICIFMaths> maths = Make<ICIFMaths>(L"CIFMaths");

  ComPtr<ICIF> Resized(ICIF* source, unsigned width, unsigned height) {
    ComPtr<ICIF> out;
    EXPECT_EQ(transform->Resize(source, out.Put(), width, height, 0, 1), S_OK);
    return out;
  }
  ComPtr<ICIF> Copied(ICIF* source) {
    ComPtr<ICIF> copy;
    EXPECT_EQ(maths->Copy(copy.Put(), source, 0, 0), S_OK);
    return copy;
  }
  void Warp(const ComPtr<ITransform>& how, ICIF* picture, ICIF* canvas, double x = 0, double y = 0,
            double scale = 1) {
    EXPECT_EQ(transform->Warp(how.Get(), picture, canvas, x, y, scale, scale), S_OK);
  }
  void Paste(ICIF* destination, ICIF* source, ICIF* mask = nullptr, int x = 0, int y = 0) {
    EXPECT_EQ(maths->Paste(destination, source, mask, x, y), S_OK);
  }
  void Clear(ICIF* picture, ICIF* mask = nullptr) {
    EXPECT_EQ(maths->Clear(picture, mask, 0), S_OK);
  }
};

// Catches: a wrong size or format, rows not 64-byte aligned, another plane answered, a bad
// shape accepted, empty pictures refused, the picture interfaces not one object, Fill or
// CopyFrom (itself included) not copying every byte.
TEST_F(ImagingPicture, CreateFillAndCopyFrom) {
  for (int bits : {8, 24, 32}) {
    auto picture = Make<ICIFImageCANVAS>(L"CIFImageCANVAS");
    ASSERT_EQ(picture->Create(101, 7, 1, bits, FormatFor(bits)), S_OK);
    ExpectSize(picture.As<ICIF>().Get(), 101, 7, bits);
    int rowBytes = 0, stride = 0;
    unsigned char* first = nullptr;
    ASSERT_EQ(picture->GetPlaneLines(0, &rowBytes, &first, &stride), S_OK);
    EXPECT_EQ(rowBytes, 101 * bits / 8);
    // Rows start on 64-byte boundaries.
    EXPECT_TRUE(stride >= rowBytes && stride % 64 == 0) << stride;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 64, 0u);
    // Another plane fails and leaves the outputs alone.
    int info = -5, otherStride = -6;
    unsigned char* otherFirst = nullptr;
    EXPECT_EQ(picture->GetPlaneLines(1, &info, &otherFirst, &otherStride), E_INVALIDARG);
    EXPECT_EQ(std::make_tuple(info, otherFirst, otherStride),
              std::make_tuple(-5, static_cast<unsigned char*>(nullptr), -6));
  }
  auto picture = Make<ICIFImage>(L"CIFImage");
  EXPECT_EQ(picture->Create(4, 4, 2, 24, kFormatRGB), E_INVALIDARG);
  EXPECT_EQ(picture->Create(4, 4, 1, 16, kFormatRGB), E_INVALIDARG);
  EXPECT_EQ(picture->Create(4, 4, 0, 24, kFormatRGB), E_INVALIDARG);
  EXPECT_EQ(picture->Create(0xFFFFFFFFu, 0xFFFFFFFFu, 1, 32, kFormatRGBA), E_INVALIDARG);
  // Empty pictures are valid.
  EXPECT_EQ(picture->Create(0, 5, 1, 24, kFormatRGB), S_OK);
  ExpectSize(picture.As<ICIF>().Get(), 0, 5, 24);
  EXPECT_EQ(picture->Fill(7), S_OK);
  EXPECT_EQ(picture->Create(5, 0, 1, 8, kFormatMono), S_OK);
  EXPECT_TRUE(Bytes(picture.As<ICIF>().Get()).empty());
  // The three picture interfaces and ICIF reach the same object.
  auto dib = picture.As<ICIFImageDIB>();
  ASSERT_TRUE(dib && picture.As<ICIF>());
  EXPECT_EQ(picture.As<ICIFImageCANVAS>().As<IUnknown>().Get(), dib.As<IUnknown>().Get());

  ASSERT_EQ(picture->Create(33, 5, 1, 32, kFormatRGBA), S_OK);
  ASSERT_EQ(picture->Fill(0xAB), S_OK);
  EXPECT_EQ(Bytes(picture.As<ICIF>().Get()), Pixel(33 * 5 * 4, 0xAB));
  auto source = NewPicture(17, 9, 24, Pattern3);
  const auto copy = dib.As<ICIF>();
  ASSERT_EQ(dib->CopyFrom(source.Get(), 0), S_OK);
  ExpectSize(copy.Get(), 17, 9, 24);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(source.Get()));
  // Copying from itself changes nothing.
  ASSERT_EQ(dib->CopyFrom(copy.Get(), 0), S_OK);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(source.Get()));
  EXPECT_EQ(dib->CopyFrom(nullptr, 0), E_INVALIDARG);
}

// Catches: the pool holding more buffers or bytes than its bounds, a released picture's buffer
// not reused.
TEST_F(ImagingPicture, ReleasedBuffersAreReusedWithinBounds) {
  using host::imaging::BufferPool;
  auto& pool = BufferPool::Shared();
  // More equal buffers than the free list may hold come back: it keeps its bound in count and
  // drops the oldest, so whatever it held before is gone.
  const std::size_t size = std::size_t{4} << 20;
  std::vector<void*> taken(BufferPool::kMaxHeldBuffers + 8);
  for (void*& buffer : taken) buffer = pool.Take(size);
  for (void* buffer : taken) pool.Give(buffer, size);
  EXPECT_EQ(pool.HeldBytes(), BufferPool::kMaxHeldBuffers * size);
  // Taking them again empties it; a released picture's buffer is then held, and reused.
  for (std::size_t i = 0; i < BufferPool::kMaxHeldBuffers; ++i) taken[i] = pool.Take(size);
  EXPECT_EQ(pool.HeldBytes(), 0u);
  unsigned char* first = At(Solid(640, 480, 32, 1).Get(), 0, 0);
  EXPECT_EQ(pool.HeldBytes(), 640u * 4 * 480);
  const auto again = Solid(640, 480, 32, 2);
  EXPECT_EQ(At(again.Get(), 0, 0), first);
  EXPECT_EQ(pool.HeldBytes(), 0u);
  // It is bounded in bytes too.
  for (std::size_t i = 0; i < BufferPool::kMaxHeldBuffers; ++i) pool.Give(taken[i], size);
  for (std::size_t bytes : {BufferPool::kMaxHeldBytes / 2, BufferPool::kMaxHeldBytes / 2 + 64})
    pool.Give(pool.Take(bytes), bytes);
  EXPECT_LE(pool.HeldBytes(), BufferPool::kMaxHeldBytes);
}

// Catches: a resize of the wrong size or format, one that is not exact at the same size, a
// ramp bent, halving that does not average 2 x 2 blocks, missing pictures accepted.
TEST_F(ImagingPicture, ResizeSizesFormatsAndAverages) {
  for (int bits : {8, 24, 32}) {
    auto source = NewPicture(64, 48, bits, [](unsigned x, unsigned y, unsigned c) {
      return static_cast<unsigned char>(x * 3 + y * 5 + c * 40);
    });
    for (auto [w, h] : {std::pair{64u, 48u},
                        {32u, 24u},
                        {128u, 96u},
                        {100u, 20u},
                        {0u, 10u},
                        {10u, 0u},
                        {1u, 1u}}) {
      const auto out = Resized(source.Get(), w, h);
      ASSERT_TRUE(out);
      ExpectSize(out.Get(), w, h, bits);
      if (w == 64 && h == 48) {
        EXPECT_EQ(Bytes(out.Get()), Bytes(source.Get()));
      }
      // A smooth ramp stays a ramp: the middle of the result matches the source's middle.
      if (w > 1 && h > 1) {
        EXPECT_NEAR(*At(out.Get(), w / 2, h / 2), 32 * 3 + 24 * 5, 6) << w << "x" << h;
      }
    }
  }
  const unsigned char block[2][2] = {{10, 20}, {30, 40}};
  auto quads = NewPicture(4, 4, 24, [&](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>(block[y % 2][x % 2] + 100 * (x / 2) + 50 * (y / 2) + c);
  });
  ExpectPixels(Resized(quads.Get(), 2, 2).Get(), [](unsigned x, unsigned y) {
    const unsigned char v = 25 + 100 * x + 50 * y;
    return Pixel{v, static_cast<unsigned char>(v + 1), static_cast<unsigned char>(v + 2)};
  });
  // Shrinking by a factor that is not whole still averages: a one-pixel checkerboard becomes an
  // even grey at 3.2x and at 2.5 x 0.8 (sampling alone would keep black and white pixels).
  auto checker = NewPicture(64, 48, 8, [](unsigned x, unsigned y, unsigned) {
    return static_cast<unsigned char>((x + y) % 2 ? 255 : 0);
  });
  for (auto [w, h] : {std::pair{20u, 15u}, std::pair{25u, 60u}}) {
    ComPtr<ICIF> grey;
    ASSERT_EQ(transform->Resize(checker.Get(), grey.Put(), w, h, 0, 1), S_OK);
    for (unsigned y = 0; y < h; ++y)
      for (unsigned x = 0; x < w; ++x) {
        ASSERT_GT(*At(grey.Get(), x, y), 90) << w << "x" << h << " at " << x << "," << y;
        ASSERT_LT(*At(grey.Get(), x, y), 165) << w << "x" << h << " at " << x << "," << y;
      }
  }
  ICIF* out = reinterpret_cast<ICIF*>(1);
  EXPECT_EQ(transform->Resize(nullptr, &out, 4, 4, 0, 1), E_INVALIDARG);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(transform->Resize(quads.Get(), nullptr, 4, 4, 0, 1), E_INVALIDARG);
}

// Catches: a view not clipped to its source at any border, not sharing its pixels, not keeping
// its source alive, or made of itself directly or around a loop.
TEST_F(ImagingPicture, SubPicturesClipAndSharePixels) {
  auto source = NewPicture(10, 8, 24, Pattern3);
  auto view = Make<ICIFSubImage>(L"CIFSubImage");
  const auto viewICIF = view.As<ICIF>();
  struct Case {
    int x, y, width, height;
    unsigned cx, cy, cw, ch;  // expected clipped rectangle
  };
  for (const Case& c : {Case{2, 3, 4, 2, 2, 3, 4, 2}, Case{7, 6, 10, 10, 7, 6, 3, 2},
                        Case{-3, -2, 5, 4, 0, 0, 2, 2}, Case{12, 1, 3, 3, 10, 1, 0, 3},
                        Case{1, 1, -4, 3, 1, 1, 0, 3}, Case{0, 0, 10, 8, 0, 0, 10, 8}}) {
    ASSERT_EQ(view->Create(source.Get(), c.x, c.y, c.width, c.height, 0, 0), S_OK);
    unsigned w = 0, h = 0, planes = 0;
    view->GetSize(&w, &h, &planes);
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(c.cw, c.ch)) << c.x << "," << c.y;
    if (c.cw == 0 || c.ch == 0) continue;
    EXPECT_EQ(PixelAt(viewICIF.Get(), 0, 0), PixelAt(source.Get(), c.cx, c.cy));
    EXPECT_EQ(PixelAt(viewICIF.Get(), c.cw - 1, c.ch - 1),
              PixelAt(source.Get(), c.cx + c.cw - 1, c.cy + c.ch - 1));
  }
  // Writing through a view of a view shows in the source, and the view keeps its source alive.
  ASSERT_EQ(view->Create(source.Get(), 2, 3, 6, 4, 0, 0), S_OK);
  auto inner = Make<ICIFSubImage>(L"CIFSubImage");
  ASSERT_EQ(inner->Create(viewICIF.Get(), 1, 1, 2, 2, 0, 0), S_OK);
  *At(inner.As<ICIF>().Get(), 1, 1) = 0xEE;
  EXPECT_EQ(*At(source.Get(), 4, 5), 0xEE);
  source.Detach()->Release();
  EXPECT_EQ(*At(inner.As<ICIF>().Get(), 1, 1), 0xEE);
  EXPECT_EQ(view->Create(inner.As<ICIF>().Get(), 0, 0, 1, 1, 0, 0), E_INVALIDARG);
  EXPECT_EQ(view->Create(viewICIF.Get(), 0, 0, 1, 1, 0, 0), E_INVALIDARG);
  EXPECT_EQ(view->Create(nullptr, 0, 0, 1, 1, 0, 0), E_INVALIDARG);
}

// Catches: a paste not clipped at a border, depths not converted (RGB gains an opaque alpha,
// grey fills all three colours), an overlapping source overwritten before it is read.
TEST_F(ImagingPicture, PasteClipsAtEveryBorderAndConverts) {
  auto source = NewPicture(4, 3, 24, Pattern3);
  for (auto [ax, ay] :
       {std::pair{-2, -1}, {8, -1}, {-2, 6}, {8, 6}, {3, 2}, {20, 2}, {-10, 2}, {3, -5}}) {
    auto dest = Solid(10, 8, 24, 200);
    Paste(dest.Get(), source.Get(), nullptr, ax, ay);
    SCOPED_TRACE(testing::Message() << "pasted at " << ax << "," << ay);
    ExpectPixels(dest.Get(), [&](unsigned x, unsigned y) {
      const int sx = static_cast<int>(x) - ax, sy = static_cast<int>(y) - ay;
      return sx >= 0 && sx < 4 && sy >= 0 && sy < 3 ? Pattern3Pixel(sx, sy, 24) : Pixel(3, 200);
    });
  }
  auto rgba = Solid(5, 5, 32, 9);
  Paste(rgba.Get(), source.Get(), nullptr, 1, 1);
  EXPECT_EQ(PixelAt(rgba.Get(), 2, 2),
            (Pixel{Pattern3(1, 1, 0), Pattern3(1, 1, 1), Pattern3(1, 1, 2), 255}));
  EXPECT_EQ(PixelAt(rgba.Get(), 0, 0), Pixel(4, 9));
  Paste(rgba.Get(), Solid(2, 2, 8, 77).Get());
  EXPECT_EQ(PixelAt(rgba.Get(), 1, 1), (Pixel{77, 77, 77, 255}));
  auto shifted = NewPicture(6, 6, 8, Pattern3);
  auto part = Make<ICIFSubImage>(L"CIFSubImage");
  part->Create(shifted.Get(), 0, 0, 4, 4, 0, 0);
  Paste(shifted.Get(), part.As<ICIF>().Get(), nullptr, 1, 1);
  EXPECT_EQ(*At(shifted.Get(), 4, 4), Pattern3(3, 3, 0));
  EXPECT_EQ(*At(shifted.Get(), 1, 1), Pattern3(0, 0, 0));
}

// Catches: a copy sharing pixels or differing, Clear missing pixels, a view cleared beyond its
// rectangle, a mask ignored, missing pictures accepted.
TEST_F(ImagingPicture, ClearAndCopy) {
  auto source = NewPicture(9, 4, 32, Pattern3);
  const auto copy = Copied(source.Get());
  ExpectSize(copy.Get(), 9, 4, 32);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(source.Get()));
  EXPECT_NE(At(copy.Get(), 0, 0), At(source.Get(), 0, 0));
  Clear(copy.Get());
  EXPECT_EQ(Bytes(copy.Get()), Pixel(9 * 4 * 4, 0));
  // Clearing a view clears only its rectangle; a mask picture selects pixels.
  auto view = Make<ICIFSubImage>(L"CIFSubImage");
  view->Create(source.Get(), 2, 1, 3, 2, 0, 0);
  Clear(view.As<ICIF>().Get());
  Clear(source.Get(),
        NewPicture(9, 4, 8, [](unsigned x, unsigned, unsigned) { return x == 8; }).Get());
  ExpectPixels(source.Get(), [](unsigned x, unsigned y) {
    return Inside(x, y, 2, 1, 3, 2) || x == 8 ? Pixel(4, 0) : Pattern3Pixel(x, y, 32);
  });
  EXPECT_EQ(maths->Copy(nullptr, source.Get(), 0, 0), E_INVALIDARG);
  EXPECT_EQ(maths->Clear(nullptr, nullptr, 0), E_INVALIDARG);
}

// Catches: a warp drawing in the wrong place, scale or turn, at 24 or 32 bits; a collapsed
// transform drawing or failing; a missing transform or a NaN offset accepted.
TEST_F(ImagingPicture, WarpDrawsWhereTheTransformSendsThePicture) {
  auto square = NewPicture(20, 20, 24, Pattern3);
  for (int bits : {24, 32}) {
    auto canvas = Solid(100, 80, bits, 77);
    Warp(Linear({{kLinearTranslate, 0, 30, 25}}), square.Get(), canvas.Get());
    ExpectPixels(canvas.Get(), [&](unsigned x, unsigned y) {
      Pixel inside = Pattern3Pixel(x - 30, y - 25, bits);
      if (bits == 32) inside[3] = 255;
      return Inside(x, y, 30, 25, 20, 20) ? inside : Pixel(bits / 8, 77);
    });
  }
  // Scale then offset: the square doubles to 40 x 40 with its corner at (10, 5).
  auto canvas = Solid(100, 80, 24, 77);
  const auto identity = Linear({});
  Warp(identity, Solid(20, 20, 24, 150).Get(), canvas.Get(), 10, 5, 2);
  ExpectPixels(canvas.Get(), [](unsigned x, unsigned y) {
    return Pixel(3, Inside(x, y, 10, 5, 40, 40) ? 150 : 77);
  });
  // Half a turn about the centre (as the twirl builds it) turns the picture upside down.
  auto turned = Solid(20, 20, 24, 0);
  Warp(Linear({{kLinearTranslate, 0, -10, -10}, {kLinearRotate, 1, std::numbers::pi, 0}}),
       square.Get(), turned.Get(), 10, 10);
  ExpectPixels(turned.Get(),
               [](unsigned x, unsigned y) { return Pattern3Pixel(19 - x, 19 - y, 24); });
  // Collapsed transforms draw nothing and do not fail.
  const auto untouched = Bytes(canvas.Get());
  Warp(Linear({{kLinearScale, 0, 1, 0}}), square.Get(), canvas.Get());
  Warp(identity, square.Get(), canvas.Get(), 0, 0, 0);
  EXPECT_EQ(Bytes(canvas.Get()), untouched);
  EXPECT_EQ(transform->Warp(nullptr, square.Get(), canvas.Get(), 0, 0, 1, 1), E_INVALIDARG);
  EXPECT_EQ(transform->Warp(identity.Get(), square.Get(), canvas.Get(), NAN, 0, 1, 1),
            E_INVALIDARG);
}

// Catches: a paste with the picture itself as mask overwriting what a warp drew (black
// included), or the record of drawn pixels kept past Finish.
TEST_F(ImagingPicture, PasteWithItselfAsMaskKeepsWarpedBlackPixels) {
  auto outgoing = Solid(40, 30, 24, 90);
  const auto result = Copied(outgoing.Get());
  Clear(result.Get());
  Warp(Linear({{kLinearTranslate, 0, 5, 8}}), Solid(10, 10, 24, 0).Get(), result.Get());
  Paste(result.Get(), outgoing.Get(), result.Get());
  const auto drawn = [](unsigned char value) {
    return
        [=](unsigned x, unsigned y) { return Pixel(3, Inside(x, y, 5, 8, 10, 10) ? value : 90); };
  };
  ExpectPixels(result.Get(), drawn(0));
  // Pasting again changes nothing: everything is drawn now.
  auto other = Solid(40, 30, 24, 33);
  Paste(result.Get(), other.Get(), result.Get());
  ExpectPixels(result.Get(), drawn(0));
  // Without a record (after Finish) pixels that are all zero count as empty.
  ASSERT_EQ(transform->Finish(result.Get()), S_OK);
  Paste(result.Get(), other.Get(), result.Get());
  ExpectPixels(result.Get(), drawn(33));
}

// Catches: a style changing the picture at amount 0 or not at all otherwise, radial styles
// moving the corners, a bad style or amount accepted (and the picture changed).
TEST_F(ImagingPicture, DeformStylesKeepAmountZeroAndRejectOthers) {
  auto deform = Make<ICIFDeform>(L"CIFDeform");
  ASSERT_TRUE(deform);
  auto picture = NewPicture(64, 48, 32, Pattern3);
  const auto original = Bytes(picture.Get());
  for (int style = 0; style < 5; ++style) {
    ASSERT_EQ(deform->Deform(picture.Get(), style, 0, 0.0), S_OK);
    ASSERT_EQ(Bytes(picture.Get()), original) << style;
    const auto copy = Copied(picture.Get());
    ASSERT_EQ(deform->Deform(copy.Get(), style, 0, 0.6), S_OK);
    EXPECT_NE(Bytes(copy.Get()), original) << style;
    // Radial styles keep the corners in place.
    if (style < 4) {
      EXPECT_NEAR(*At(copy.Get(), 0, 0), Pattern3(0, 0, 0), 12) << style;
    }
  }
  EXPECT_EQ(deform->Deform(picture.Get(), 5, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(picture.Get(), -1, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(picture.Get(), 1, 0, NAN), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(nullptr, 1, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(Bytes(picture.Get()), original);
}

// A picture of another module whose rows run upwards in memory (negative stride): it shows the
// rows of `stored` last to first. It lives on the stack, so its reference count is a fake.
class BottomUpPicture final : public ICIF {
 public:
  explicit BottomUpPicture(ComPtr<ICIF> stored) : stored_(std::move(stored)) {}
  HRESULT QueryInterface(const IID& iid, void** out) override {
    *out = iid == ICIF::kIID || iid == kIID_IUnknown ? this : nullptr;
    return *out ? S_OK : E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  HRESULT GetSize(unsigned* w, unsigned* h, unsigned* p) override {
    return stored_->GetSize(w, h, p);
  }
  HRESULT GetFormat(int* b, int* f, int* c) override { return stored_->GetFormat(b, f, c); }
  HRESULT GetPlaneLines(unsigned plane, int* info, unsigned char** first, int* stride) override {
    const unsigned height = std::get<1>(testhost::Shape(stored_.Get()));
    const HRESULT hr = stored_->GetPlaneLines(plane, info, first, stride);
    if (hr == S_OK) *first = At(stored_.Get(), 0, height - 1), *stride = -*stride;
    return hr;
  }

 private:
  ComPtr<ICIF> stored_;
};

// Catches: a negative stride read as positive (or rows read as one block) by resize, copy, paste
// or warp.
TEST_F(ImagingPicture, ForeignBottomUpPicturesAreReadRowByRow) {
  BottomUpPicture foreign(NewPicture(
      12, 10, 24, [](unsigned x, unsigned y, unsigned c) { return Pattern3(x, 9 - y, c); }));
  auto upright = NewPicture(12, 10, 24, Pattern3);
  for (unsigned size : {12u, 6u, 24u})
    EXPECT_EQ(Bytes(Resized(&foreign, size, size * 10 / 12).Get()),
              Bytes(Resized(upright.Get(), size, size * 10 / 12).Get()))
        << size;
  const auto copy = Copied(&foreign);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(upright.Get()));
  Clear(copy.Get());
  Paste(copy.Get(), &foreign);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(upright.Get()));
  Clear(copy.Get());
  Warp(Linear({}), &foreign, copy.Get());
  EXPECT_EQ(Bytes(copy.Get()), Bytes(upright.Get()));
}

// Catches: a perspective fit drawn off its moving edge or hinge; a collapsed fit (progress 0, or
// edge-on half way through a flip) drawing anything.
TEST_F(ImagingPicture, WarpThroughAFittedPerspective) {
  auto incoming = Solid(640, 480, 24, 250);
  auto canvas = Solid(640, 480, 24, 0);
  const double w = 640, h = 480;
  const std::vector<Point> corners = {{0, 0}, {w, 0}, {w / 2, 0}, {0, h}, {w, h}, {w / 2, h}};
  // The perspective turn for direction 0 (hinge at the top) at progress p.
  const auto turn = [&](double p) {
    const double q = w * p / 2, y = h * p;
    return Fitted(corners,
                  {{0, 0}, {w, 0}, {w / 2, 0}, {w / 2 - q, y}, {w / 2 + q, y}, {w / 2, y}});
  };
  Warp(turn(0.5), incoming.Get(), canvas.Get());
  // The moving edge lies at y = 240 from x = 160 to 480; the hinge keeps the full top edge.
  for (auto [x, y] : {std::pair{0u, 0u}, {639u, 0u}, {320u, 238u}, {163u, 238u}, {476u, 238u}})
    EXPECT_EQ(*At(canvas.Get(), x, y), 250) << x << "," << y;
  for (auto [x, y] : {std::pair{320u, 241u}, {155u, 238u}, {485u, 238u}, {2u, 230u}})
    EXPECT_NE(*At(canvas.Get(), x, y), 250) << x << "," << y;
  auto empty = Solid(640, 480, 24, 0);
  Warp(turn(0.0), incoming.Get(), empty.Get());
  Warp(
      Fitted(
          corners,
          {{w / 2, h / 2}, {w / 2, h / 2}, {w / 2, h / 2}, {0, h / 2}, {w, h / 2}, {w / 2, h / 2}}),
      incoming.Get(), empty.Get());
  EXPECT_EQ(Bytes(empty.Get()), Pixel(640 * 480 * 3, 0));
}

}  // namespace
}  // namespace imagingtest
