// Pictures, the picture pool and resampling of the "Imaging" module.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <vector>

#include "host/imaging/BufferPool.h"
#include "host/imaging/Components.h"
#include "sdk/ComPtr.h"
#include "sdk/Geometry.h"
#include "sdk/Imaging.h"

namespace {

template <class I>
ComPtr<I> Make(std::wstring_view name) {
  ComponentFactory factory = nullptr;
  ComPtr<I> object;
  if (Failed(host::FindComponentFactory(host::imaging::Components(), RefView(name), &factory)))
    return object;
  IID iid = I::kIID;
  factory(nullptr, &iid, object.PutVoid());
  return object;
}

int FormatFor(int bits) {
  return bits == 8 ? kFormatMono : bits == 24 ? kFormatRGB : kFormatRGBA;
}

struct Rows {
  unsigned char* first = nullptr;
  int stride = 0;
  unsigned char* At(unsigned x, unsigned y, int channels) const {
    return first + static_cast<std::ptrdiff_t>(y) * stride + x * channels;
  }
};

Rows RowsOf(ICIF* picture) {
  Rows rows;
  int info = 0;
  picture->GetPlaneLines(0, &info, &rows.first, &rows.stride);
  return rows;
}

using Pattern = std::function<unsigned char(unsigned x, unsigned y, unsigned c)>;

ComPtr<ICIF> NewPicture(unsigned width, unsigned height, int bits, const Pattern& pattern) {
  auto picture = Make<ICIFImageDIB>(L"CIFImageDIB");
  EXPECT_EQ(picture->Create(width, height, 1, bits, FormatFor(bits)), S_OK);
  const Rows rows = RowsOf(picture.Get());
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      for (int c = 0; c < bits / 8; ++c) *(rows.At(x, y, bits / 8) + c) = pattern(x, y, c);
  return picture.As<ICIF>();
}

// Meaningful bytes of every row, concatenated.
std::vector<unsigned char> Bytes(ICIF* picture) {
  unsigned width = 0, height = 0, planes = 0;
  int bits = 0, format = 0, formatC = 0;
  picture->GetSize(&width, &height, &planes);
  picture->GetFormat(&bits, &format, &formatC);
  const Rows rows = RowsOf(picture);
  std::vector<unsigned char> bytes;
  for (unsigned y = 0; y < height; ++y)
    bytes.insert(bytes.end(), rows.At(0, y, 0), rows.At(0, y, 0) + width * bits / 8);
  return bytes;
}

void ExpectSize(ICIF* picture, unsigned width, unsigned height, int bits) {
  unsigned w = 99, h = 99, planes = 99;
  int b = 0, format = 0, formatC = -1;
  EXPECT_EQ(picture->GetSize(&w, &h, &planes), S_OK);
  EXPECT_EQ(picture->GetFormat(&b, &format, &formatC), S_OK);
  EXPECT_EQ(w, width);
  EXPECT_EQ(h, height);
  EXPECT_EQ(planes, 1u);
  EXPECT_EQ(b, bits);
  EXPECT_EQ(format, FormatFor(bits));
  EXPECT_EQ(formatC, 0);
}

// Every test must give back every reference it took.
class ImagingPicture : public ::testing::Test {
 protected:
  void SetUp() override { live_ = host::LiveObjects().load(); }
  void TearDown() override { EXPECT_EQ(host::LiveObjects().load(), live_); }
  long live_ = 0;
};

TEST_F(ImagingPicture, CreateGivesAlignedRowsAndRejectsBadShapes) {
  for (int bits : {8, 24, 32}) {
    auto picture = Make<ICIFImageCANVAS>(L"CIFImageCANVAS");
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->Create(101, 7, 1, bits, FormatFor(bits)), S_OK);
    ExpectSize(picture.Get(), 101, 7, bits);
    int rowBytes = 0, stride = 0;
    unsigned char* first = nullptr;
    ASSERT_EQ(picture->GetPlaneLines(0, &rowBytes, &first, &stride), S_OK);
    EXPECT_EQ(rowBytes, 101 * bits / 8);
    EXPECT_GE(stride, rowBytes);
    EXPECT_EQ(stride % 64, 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 64, 0u);
    // Another plane fails and leaves the outputs alone.
    int info = -5, otherStride = -6;
    unsigned char* otherFirst = nullptr;
    EXPECT_EQ(picture->GetPlaneLines(1, &info, &otherFirst, &otherStride), E_INVALIDARG);
    EXPECT_EQ(info, -5);
    EXPECT_EQ(otherStride, -6);
    EXPECT_EQ(otherFirst, nullptr);
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
  auto canvas = picture.As<ICIFImageCANVAS>();
  auto dib = picture.As<ICIFImageDIB>();
  ASSERT_TRUE(canvas && dib && picture.As<ICIF>());
  EXPECT_EQ(canvas.As<IUnknown>().Get(), dib.As<IUnknown>().Get());
  EXPECT_EQ(picture->Reserved7(), E_NOTIMPL);
}

TEST_F(ImagingPicture, FillAndCopyFrom) {
  auto image = Make<ICIFImage>(L"CIFImage");
  ASSERT_EQ(image->Create(33, 5, 1, 32, kFormatRGBA), S_OK);
  ASSERT_EQ(image->Fill(0xAB), S_OK);
  const auto filled = Bytes(image.As<ICIF>().Get());
  EXPECT_EQ(filled, std::vector<unsigned char>(33 * 5 * 4, 0xAB));

  auto source = NewPicture(17, 9, 24, [](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>(x * 7 + y * 13 + c);
  });
  auto copy = image.As<ICIFImageDIB>();
  ASSERT_EQ(copy->CopyFrom(source.Get(), 0), S_OK);
  ExpectSize(copy.As<ICIF>().Get(), 17, 9, 24);
  EXPECT_EQ(Bytes(copy.As<ICIF>().Get()), Bytes(source.Get()));
  // Copying from itself changes nothing.
  ASSERT_EQ(copy->CopyFrom(copy.As<ICIF>().Get(), 0), S_OK);
  EXPECT_EQ(Bytes(copy.As<ICIF>().Get()), Bytes(source.Get()));
  EXPECT_EQ(copy->CopyFrom(nullptr, 0), E_INVALIDARG);
}

TEST_F(ImagingPicture, ReleasedBuffersAreReusedWithinBounds) {
  auto& pool = host::imaging::BufferPool::Shared();
  const std::size_t before = pool.HeldBytes();
  unsigned char* first = nullptr;
  {
    auto picture = NewPicture(640, 480, 32, [](unsigned, unsigned, unsigned) { return 1; });
    first = RowsOf(picture.Get()).first;
  }
  const std::size_t bytes = 640 * 4 * 480;
  EXPECT_EQ(pool.HeldBytes(), before + bytes);
  auto again = Make<ICIFImageDIB>(L"CIFImageDIB");
  ASSERT_EQ(again->Create(640, 480, 1, 32, kFormatRGBA), S_OK);
  EXPECT_EQ(RowsOf(again.As<ICIF>().Get()).first, first);
  EXPECT_EQ(pool.HeldBytes(), before);
  // The free list stays bounded however many buffers come back.
  std::vector<void*> taken;
  for (std::size_t i = 0; i < host::imaging::BufferPool::kMaxHeldBuffers + 8; ++i)
    taken.push_back(pool.Take(64 * (i + 1)));
  for (std::size_t i = 0; i < taken.size(); ++i) pool.Give(taken[i], 64 * (i + 1));
  EXPECT_LE(pool.HeldBytes(), host::imaging::BufferPool::kMaxHeldBytes);
  void* big = pool.Take(host::imaging::BufferPool::kMaxHeldBytes / 2);
  void* bigger = pool.Take(host::imaging::BufferPool::kMaxHeldBytes / 2 + 64);
  pool.Give(big, host::imaging::BufferPool::kMaxHeldBytes / 2);
  pool.Give(bigger, host::imaging::BufferPool::kMaxHeldBytes / 2 + 64);
  EXPECT_LE(pool.HeldBytes(), host::imaging::BufferPool::kMaxHeldBytes);
}

TEST_F(ImagingPicture, ResizeSizesFormatsAndAverages) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  ASSERT_TRUE(transform);
  for (int bits : {8, 24, 32}) {
    auto source = NewPicture(64, 48, bits, [](unsigned x, unsigned y, unsigned c) {
      return static_cast<unsigned char>(x * 3 + y * 5 + c * 40);
    });
    struct Case {
      unsigned width, height;
    };
    for (Case size : {Case{64, 48}, Case{32, 24}, Case{128, 96}, Case{100, 20}, Case{0, 10},
                      Case{10, 0}, Case{1, 1}}) {
      ICIF* out = nullptr;
      ASSERT_EQ(transform->Resize(source.Get(), &out, size.width, size.height, 0, 1), S_OK);
      ASSERT_NE(out, nullptr);
      ExpectSize(out, size.width, size.height, bits);
      if (size.width == 64 && size.height == 48) {
        EXPECT_EQ(Bytes(out), Bytes(source.Get()));
      }
      // A smooth ramp stays a ramp: the middle of the result matches the source's middle.
      if (size.width > 1 && size.height > 1) {
        const Rows rows = RowsOf(out);
        const int middle = *rows.At(size.width / 2, size.height / 2, bits / 8);
        EXPECT_NEAR(middle, 32 * 3 + 24 * 5, 6) << size.width << "x" << size.height;
      }
      out->Release();
    }
  }
  // Halving averages each 2 x 2 block.
  const unsigned char block[2][2] = {{10, 20}, {30, 40}};
  auto quads = NewPicture(4, 4, 24, [&](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>(block[y % 2][x % 2] + 100 * (x / 2) + 50 * (y / 2) + c);
  });
  ICIF* half = nullptr;
  ASSERT_EQ(transform->Resize(quads.Get(), &half, 2, 2, 0, 1), S_OK);
  const Rows rows = RowsOf(half);
  for (unsigned y = 0; y < 2; ++y) {
    for (unsigned x = 0; x < 2; ++x) {
      for (unsigned c = 0; c < 3; ++c) EXPECT_EQ(rows.At(x, y, 3)[c], 25 + 100 * x + 50 * y + c);
    }
  }
  half->Release();

  ICIF* out = reinterpret_cast<ICIF*>(1);
  EXPECT_EQ(transform->Resize(nullptr, &out, 4, 4, 0, 1), E_INVALIDARG);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(transform->Resize(quads.Get(), nullptr, 4, 4, 0, 1), E_INVALIDARG);
  EXPECT_EQ(transform->Reserved3(), E_NOTIMPL);
}

// Bytes of pixel (x, y).
std::vector<unsigned char> PixelAt(ICIF* picture, unsigned x, unsigned y) {
  int bits = 0, format = 0, formatC = 0;
  picture->GetFormat(&bits, &format, &formatC);
  const unsigned char* p = RowsOf(picture).At(x, y, bits / 8);
  return {p, p + bits / 8};
}

ComPtr<ICIF> Solid(unsigned width, unsigned height, int bits, unsigned char value) {
  return NewPicture(width, height, bits, [=](unsigned, unsigned, unsigned) { return value; });
}

unsigned char Pattern3(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(1 + x * 11 + y * 29 + c * 3);
}

TEST_F(ImagingPicture, SubPicturesClipAndSharePixels) {
  auto source = NewPicture(10, 8, 24, Pattern3);
  auto view = Make<ICIFSubImage>(L"CIFSubImage");
  ASSERT_TRUE(view);
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
    EXPECT_EQ(w, c.cw) << c.x << "," << c.y;
    EXPECT_EQ(h, c.ch) << c.x << "," << c.y;
    if (c.cw == 0 || c.ch == 0) continue;
    const auto viewICIF = view.As<ICIF>();
    EXPECT_EQ(PixelAt(viewICIF.Get(), 0, 0), PixelAt(source.Get(), c.cx, c.cy));
    EXPECT_EQ(PixelAt(viewICIF.Get(), c.cw - 1, c.ch - 1),
              PixelAt(source.Get(), c.cx + c.cw - 1, c.cy + c.ch - 1));
  }
  // Writing through a view of a view shows in the source, and the view keeps its source alive.
  ASSERT_EQ(view->Create(source.Get(), 2, 3, 6, 4, 0, 0), S_OK);
  auto inner = Make<ICIFSubImage>(L"CIFSubImage");
  ASSERT_EQ(inner->Create(view.As<ICIF>().Get(), 1, 1, 2, 2, 0, 0), S_OK);
  RowsOf(inner.As<ICIF>().Get()).At(1, 1, 3)[0] = 0xEE;
  EXPECT_EQ(PixelAt(source.Get(), 4, 5)[0], 0xEE);
  ICIF* raw = source.Detach();
  raw->Release();
  EXPECT_EQ(PixelAt(inner.As<ICIF>().Get(), 1, 1)[0], 0xEE);
  // A view cannot view itself, directly or around a loop.
  EXPECT_EQ(view->Create(inner.As<ICIF>().Get(), 0, 0, 1, 1, 0, 0), E_INVALIDARG);
  EXPECT_EQ(view->Create(view.As<ICIF>().Get(), 0, 0, 1, 1, 0, 0), E_INVALIDARG);
  EXPECT_EQ(view->Create(nullptr, 0, 0, 1, 1, 0, 0), E_INVALIDARG);
}

TEST_F(ImagingPicture, PasteClipsAtEveryBorderAndConverts) {
  auto maths = Make<ICIFMaths>(L"CIFMaths");
  ASSERT_TRUE(maths);
  auto source = NewPicture(4, 3, 24, Pattern3);
  struct Place {
    int x, y;
  };
  for (const Place at : {Place{-2, -1}, Place{8, -1}, Place{-2, 6}, Place{8, 6}, Place{3, 2},
                         Place{20, 2}, Place{-10, 2}, Place{3, -5}}) {
    auto dest = Solid(10, 8, 24, 200);
    ASSERT_EQ(maths->Paste(dest.Get(), source.Get(), nullptr, at.x, at.y), S_OK);
    for (unsigned y = 0; y < 8; ++y) {
      for (unsigned x = 0; x < 10; ++x) {
        const int sx = static_cast<int>(x) - at.x, sy = static_cast<int>(y) - at.y;
        const bool inside = sx >= 0 && sx < 4 && sy >= 0 && sy < 3;
        const auto expected =
            inside ? PixelAt(source.Get(), sx, sy) : std::vector<unsigned char>{200, 200, 200};
        ASSERT_EQ(PixelAt(dest.Get(), x, y), expected)
            << at.x << "," << at.y << " at " << x << "," << y;
      }
    }
  }
  // Depths are converted: RGB gains an opaque alpha; grey fills all three colours.
  auto rgba = Solid(5, 5, 32, 9);
  ASSERT_EQ(maths->Paste(rgba.Get(), source.Get(), nullptr, 1, 1), S_OK);
  EXPECT_EQ(
      PixelAt(rgba.Get(), 2, 2),
      (std::vector<unsigned char>{Pattern3(1, 1, 0), Pattern3(1, 1, 1), Pattern3(1, 1, 2), 255}));
  EXPECT_EQ(PixelAt(rgba.Get(), 0, 0), (std::vector<unsigned char>{9, 9, 9, 9}));
  auto grey = Solid(2, 2, 8, 77);
  ASSERT_EQ(maths->Paste(rgba.Get(), grey.Get(), nullptr, 0, 0), S_OK);
  EXPECT_EQ(PixelAt(rgba.Get(), 1, 1), (std::vector<unsigned char>{77, 77, 77, 255}));
  // A source overlapping its destination is read before it is overwritten.
  auto shifted = NewPicture(6, 6, 8, Pattern3);
  const auto before = Bytes(shifted.Get());
  auto part = Make<ICIFSubImage>(L"CIFSubImage");
  part->Create(shifted.Get(), 0, 0, 4, 4, 0, 0);
  ASSERT_EQ(maths->Paste(shifted.Get(), part.As<ICIF>().Get(), nullptr, 1, 1), S_OK);
  EXPECT_EQ(PixelAt(shifted.Get(), 4, 4)[0], before[3 * 6 + 3]);
  EXPECT_EQ(PixelAt(shifted.Get(), 1, 1)[0], before[0]);
}

TEST_F(ImagingPicture, ClearAndCopy) {
  auto maths = Make<ICIFMaths>(L"CIFMaths");
  auto source = NewPicture(9, 4, 32, Pattern3);
  ICIF* copy = nullptr;
  ASSERT_EQ(maths->Copy(&copy, source.Get(), 0, 0), S_OK);
  ASSERT_NE(copy, nullptr);
  ExpectSize(copy, 9, 4, 32);
  EXPECT_EQ(Bytes(copy), Bytes(source.Get()));
  EXPECT_NE(RowsOf(copy).first, RowsOf(source.Get()).first);
  ASSERT_EQ(maths->Clear(copy, nullptr, 0), S_OK);
  EXPECT_EQ(Bytes(copy), std::vector<unsigned char>(9 * 4 * 4, 0));
  copy->Release();
  // Clearing a view clears only its rectangle; a mask picture selects pixels.
  auto view = Make<ICIFSubImage>(L"CIFSubImage");
  view->Create(source.Get(), 2, 1, 3, 2, 0, 0);
  ASSERT_EQ(maths->Clear(view.As<ICIF>().Get(), nullptr, 0), S_OK);
  EXPECT_EQ(PixelAt(source.Get(), 2, 1), std::vector<unsigned char>(4, 0));
  EXPECT_EQ(PixelAt(source.Get(), 4, 2), std::vector<unsigned char>(4, 0));
  EXPECT_EQ(PixelAt(source.Get(), 5, 2)[0], Pattern3(5, 2, 0));
  auto mask = NewPicture(9, 4, 8, [](unsigned x, unsigned, unsigned) {
    return static_cast<unsigned char>(x == 8 ? 1 : 0);
  });
  ASSERT_EQ(maths->Clear(source.Get(), mask.Get(), 0), S_OK);
  EXPECT_EQ(PixelAt(source.Get(), 8, 3), std::vector<unsigned char>(4, 0));
  EXPECT_EQ(PixelAt(source.Get(), 7, 3)[1], Pattern3(7, 3, 1));
  EXPECT_EQ(maths->Copy(nullptr, source.Get(), 0, 0), E_INVALIDARG);
  EXPECT_EQ(maths->Clear(nullptr, nullptr, 0), E_INVALIDARG);
}

ComPtr<ITransform> Translation(double x, double y) {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  linear->Append(kLinearTranslate, 0, x, y, 0);
  return linear.As<ITransform>();
}

TEST_F(ImagingPicture, WarpDrawsWhereTheTransformSendsThePicture) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  auto square = NewPicture(20, 20, 24, Pattern3);
  for (int bits : {24, 32}) {
    auto canvas = Solid(100, 80, bits, 77);
    ASSERT_EQ(transform->Warp(Translation(30, 25).Get(), square.Get(), canvas.Get(), 0, 0, 1, 1),
              S_OK);
    for (unsigned y = 0; y < 80; ++y) {
      for (unsigned x = 0; x < 100; ++x) {
        const bool inside = x >= 30 && x < 50 && y >= 25 && y < 45;
        const auto pixel = PixelAt(canvas.Get(), x, y);
        if (inside) {
          for (unsigned c = 0; c < 3; ++c) ASSERT_EQ(pixel[c], Pattern3(x - 30, y - 25, c));
          if (bits == 32) {
            ASSERT_EQ(pixel[3], 255);
          }
        } else {
          ASSERT_EQ(pixel, std::vector<unsigned char>(bits / 8, 77)) << x << "," << y;
        }
      }
    }
  }
  // Scale then offset: the square doubles to 40 x 40 with its corner at (10, 5).
  auto solid = Solid(20, 20, 24, 150);
  auto canvas = Solid(100, 80, 24, 77);
  auto identity = Make<ILinearTransform>(L"LinearTransform").As<ITransform>();
  ASSERT_EQ(transform->Warp(identity.Get(), solid.Get(), canvas.Get(), 10, 5, 2, 2), S_OK);
  for (unsigned y = 0; y < 80; ++y)
    for (unsigned x = 0; x < 100; ++x)
      ASSERT_EQ(PixelAt(canvas.Get(), x, y)[1], x >= 10 && x < 50 && y >= 5 && y < 45 ? 150 : 77);
  // The identity reproduces a picture exactly, edges included.
  auto copy = Solid(20, 20, 24, 0);
  ASSERT_EQ(transform->Warp(identity.Get(), square.Get(), copy.Get(), 0, 0, 1, 1), S_OK);
  EXPECT_EQ(Bytes(copy.Get()), Bytes(square.Get()));
  // Half a turn about the centre (as the twirl builds it) turns the picture upside down.
  auto turn = Make<ILinearTransform>(L"LinearTransform");
  turn->Append(kLinearTranslate, 0, -10, -10, 0);
  turn->Append(kLinearRotate, 1, std::numbers::pi, 0, 0);
  ASSERT_EQ(transform->Warp(turn.As<ITransform>().Get(), square.Get(), copy.Get(), 10, 10, 1, 1),
            S_OK);
  for (unsigned y = 0; y < 20; ++y)
    for (unsigned x = 0; x < 20; ++x)
      ASSERT_EQ(PixelAt(copy.Get(), x, y), PixelAt(square.Get(), 19 - x, 19 - y));
  // Collapsed transforms draw nothing and do not fail.
  const auto untouched = Bytes(canvas.Get());
  auto flat = Make<ILinearTransform>(L"LinearTransform");
  flat->Append(kLinearScale, 0, 1, 0, 0);
  EXPECT_EQ(transform->Warp(flat.As<ITransform>().Get(), square.Get(), canvas.Get(), 0, 0, 1, 1),
            S_OK);
  EXPECT_EQ(transform->Warp(identity.Get(), square.Get(), canvas.Get(), 0, 0, 0, 1), S_OK);
  EXPECT_EQ(Bytes(canvas.Get()), untouched);
  EXPECT_EQ(transform->Warp(nullptr, square.Get(), canvas.Get(), 0, 0, 1, 1), E_INVALIDARG);
  EXPECT_EQ(transform->Warp(identity.Get(), square.Get(), canvas.Get(), NAN, 0, 1, 1),
            E_INVALIDARG);
}

TEST_F(ImagingPicture, PasteWithItselfAsMaskKeepsWarpedBlackPixels) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  auto maths = Make<ICIFMaths>(L"CIFMaths");
  auto outgoing = Solid(40, 30, 24, 90);
  auto black = Solid(10, 10, 24, 0);
  ICIF* result = nullptr;
  ASSERT_EQ(maths->Copy(&result, outgoing.Get(), 0, 0), S_OK);
  ASSERT_EQ(maths->Clear(result, nullptr, 0), S_OK);
  ASSERT_EQ(transform->Warp(Translation(5, 8).Get(), black.Get(), result, 0, 0, 1, 1), S_OK);
  ASSERT_EQ(maths->Paste(result, outgoing.Get(), result, 0, 0), S_OK);
  for (unsigned y = 0; y < 30; ++y)
    for (unsigned x = 0; x < 40; ++x)
      ASSERT_EQ(PixelAt(result, x, y)[0], x >= 5 && x < 15 && y >= 8 && y < 18 ? 0 : 90)
          << x << "," << y;
  // Pasting again changes nothing: everything is drawn now.
  auto other = Solid(40, 30, 24, 33);
  ASSERT_EQ(maths->Paste(result, other.Get(), result, 0, 0), S_OK);
  EXPECT_EQ(PixelAt(result, 0, 0)[0], 90);
  // Without a record (after Finish) pixels that are all zero count as empty.
  ASSERT_EQ(transform->Finish(result), S_OK);
  ASSERT_EQ(maths->Paste(result, other.Get(), result, 0, 0), S_OK);
  EXPECT_EQ(PixelAt(result, 6, 9)[0], 33);
  EXPECT_EQ(PixelAt(result, 0, 0)[0], 90);
  result->Release();
}

TEST_F(ImagingPicture, DeformStylesKeepAmountZeroAndRejectOthers) {
  auto deform = Make<ICIFDeform>(L"CIFDeform");
  ASSERT_TRUE(deform);
  auto picture = NewPicture(64, 48, 32, Pattern3);
  const auto original = Bytes(picture.Get());
  for (int style = 0; style < 5; ++style) {
    ASSERT_EQ(deform->Deform(picture.Get(), style, 0, 0.0), S_OK);
    ASSERT_EQ(Bytes(picture.Get()), original) << style;
    auto bent = Make<ICIFMaths>(L"CIFMaths");
    ICIF* copy = nullptr;
    bent->Copy(&copy, picture.Get(), 0, 0);
    ASSERT_EQ(deform->Deform(copy, style, 0, 0.6), S_OK);
    EXPECT_NE(Bytes(copy), original) << style;
    if (style < 4) {
      // Radial styles keep the corners in place.
      EXPECT_NEAR(PixelAt(copy, 0, 0)[0], Pattern3(0, 0, 0), 12) << style;
    }
    copy->Release();
  }
  EXPECT_EQ(deform->Deform(picture.Get(), 5, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(picture.Get(), -1, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(picture.Get(), 1, 0, NAN), E_INVALIDARG);
  EXPECT_EQ(deform->Deform(nullptr, 1, 0, 0.5), E_INVALIDARG);
  EXPECT_EQ(Bytes(picture.Get()), original);
}

// A picture of another module whose rows run upwards in memory (negative stride).
class BottomUpPicture final : public ICIF {
 public:
  BottomUpPicture(unsigned width, unsigned height)
      : width_(width), height_(height), bytes_(std::size_t{width} * 3 * height) {
    for (unsigned y = 0; y < height; ++y)
      for (unsigned x = 0; x < width; ++x)
        for (unsigned c = 0; c < 3; ++c) *At(x, y, c) = Pattern3(x, y, c);
  }
  HRESULT QueryInterface(const IID& iid, void** out) override {
    *out = iid == ICIF::kIID || iid == kIID_IUnknown ? this : nullptr;
    return *out ? S_OK : E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 2; }
  std::uint32_t Release() override { return 1; }
  HRESULT GetSize(unsigned* width, unsigned* height, unsigned* planes) override {
    *width = width_;
    *height = height_;
    *planes = 1;
    return S_OK;
  }
  HRESULT GetFormat(int* bits, int* format, int* formatC) override {
    *bits = 24;
    *format = kFormatRGB;
    *formatC = 0;
    return S_OK;
  }
  HRESULT GetPlaneLines(unsigned plane, int* info, unsigned char** first, int* stride) override {
    if (plane != 0) return E_INVALIDARG;
    *info = static_cast<int>(width_ * 3);
    *first = At(0, 0, 0);
    *stride = -static_cast<int>(width_ * 3);
    return S_OK;
  }

 private:
  unsigned char* At(unsigned x, unsigned y, unsigned c) {
    return bytes_.data() + (height_ - 1 - y) * width_ * 3 + x * 3 + c;
  }
  unsigned width_, height_;
  std::vector<unsigned char> bytes_;
};

TEST_F(ImagingPicture, ForeignBottomUpPicturesAreReadRowByRow) {
  BottomUpPicture foreign(12, 10);
  auto upright = NewPicture(12, 10, 24, Pattern3);
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  auto maths = Make<ICIFMaths>(L"CIFMaths");
  for (unsigned size : {12u, 6u, 24u}) {
    ICIF* a = nullptr;
    ICIF* b = nullptr;
    ASSERT_EQ(transform->Resize(&foreign, &a, size, size * 10 / 12, 0, 1), S_OK);
    ASSERT_EQ(transform->Resize(upright.Get(), &b, size, size * 10 / 12, 0, 1), S_OK);
    EXPECT_EQ(Bytes(a), Bytes(b)) << size;
    a->Release();
    b->Release();
  }
  ICIF* copy = nullptr;
  ASSERT_EQ(maths->Copy(&copy, &foreign, 0, 0), S_OK);
  EXPECT_EQ(Bytes(copy), Bytes(upright.Get()));
  ASSERT_EQ(maths->Clear(copy, nullptr, 0), S_OK);
  ASSERT_EQ(maths->Paste(copy, &foreign, nullptr, 0, 0), S_OK);
  EXPECT_EQ(Bytes(copy), Bytes(upright.Get()));
  auto identity = Make<ILinearTransform>(L"LinearTransform").As<ITransform>();
  ASSERT_EQ(maths->Clear(copy, nullptr, 0), S_OK);
  ASSERT_EQ(transform->Warp(identity.Get(), &foreign, copy, 0, 0, 1, 1), S_OK);
  EXPECT_EQ(Bytes(copy), Bytes(upright.Get()));
  copy->Release();
}

using SixPoints = std::array<std::array<double, 2>, 6>;

ComPtr<ITransform> Fitted(const SixPoints& source, const SixPoints& target) {
  auto fit = Make<ITransformBestFit>(L"TransformBestFit");
  auto points = Make<IPointsCollection>(L"PointsCollection");
  auto targets = Make<IPointsCollection>(L"PointsCollection");
  for (int i = 0; i < 6; ++i) {
    points->Add(source[i][0], source[i][1], 0);
    targets->Add(target[i][0], target[i][1], 0);
  }
  EXPECT_EQ(fit->Fit(points.Get(), targets.Get(), 0), S_OK);
  return fit.As<ITransform>();
}

// The transform that the perspective turn fits for direction 0 (hinge at the top).
ComPtr<ITransform> FittedTurn(double w, double h, double p) {
  const double w2 = std::floor(w / 2);
  return Fitted(
      {{{0, 0}, {w, 0}, {w2, 0}, {0, h}, {w, h}, {w2, h}}},
      {{{0, 0}, {w, 0}, {w2, 0}, {w2 - w * p / 2, h * p}, {w2 + w * p / 2, h * p}, {w2, h * p}}});
}

TEST_F(ImagingPicture, WarpThroughAFittedPerspective) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  auto incoming = Solid(640, 480, 24, 250);
  auto canvas = Solid(640, 480, 24, 0);
  ASSERT_EQ(
      transform->Warp(FittedTurn(640, 480, 0.5).Get(), incoming.Get(), canvas.Get(), 0, 0, 1, 1),
      S_OK);
  // The moving edge lies at y = 240 from x = 160 to 480; the hinge keeps the full top edge.
  auto drawn = [&](unsigned x, unsigned y) { return PixelAt(canvas.Get(), x, y)[0] == 250; };
  EXPECT_TRUE(drawn(0, 0));
  EXPECT_TRUE(drawn(639, 0));
  EXPECT_TRUE(drawn(320, 238));
  EXPECT_TRUE(drawn(163, 238));
  EXPECT_TRUE(drawn(476, 238));
  EXPECT_FALSE(drawn(320, 241));
  EXPECT_FALSE(drawn(155, 238));
  EXPECT_FALSE(drawn(485, 238));
  EXPECT_FALSE(drawn(2, 230));
  // At progress 0 the picture collapses onto a point: nothing is drawn.
  auto empty = Solid(640, 480, 24, 0);
  ASSERT_EQ(
      transform->Warp(FittedTurn(640, 480, 0.0).Get(), incoming.Get(), empty.Get(), 0, 0, 1, 1),
      S_OK);
  // Half way through a flip the picture is edge-on, collapsed onto the centre line.
  const double w = 640, h = 480, a = w / 2, b = h / 2;
  auto edgeOn = Fitted({{{0, 0}, {w, 0}, {w / 2, 0}, {0, h}, {w, h}, {w / 2, h}}},
                       {{{a, b}, {w - a, b}, {w / 2, b}, {0, h - b}, {w, h - b}, {w / 2, h - b}}});
  ASSERT_EQ(transform->Warp(edgeOn.Get(), incoming.Get(), empty.Get(), 0, 0, 1, 1), S_OK);
  EXPECT_EQ(Bytes(empty.Get()), std::vector<unsigned char>(640 * 480 * 3, 0));
}

}  // namespace
