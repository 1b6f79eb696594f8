// Helpers the effect tests share: making an effect, rendering one frame, a picture's shape and
// pixels, and the early returns that hand out one of the caller's own pictures.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "effects/PointWarp.h"
#include "frame/Object.h"
#include "sdk/ComPtr.h"
#include "tests/common/TestHost.h"

namespace effecttest {

// A new T through its factory, as its IKeloTransition, and the object behind it.
template <class T>
ComPtr<IKeloTransition> Make(T** object = nullptr) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  EXPECT_EQ(CObject<T>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  if (object != nullptr) *object = static_cast<T*>(static_cast<CObject<T>*>(effect.Get()));
  return effect;
}

inline ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double progress) {
  ICIF* out = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &out, progress), S_OK);
  return ComPtr<ICIF>::Adopt(out);
}

struct Shape {
  unsigned width = 0, height = 0;
  int bits = 0;
  bool operator==(const Shape&) const = default;
};
inline Shape ShapeOf(ICIF* picture) {
  Shape shape;
  unsigned planes = 0;
  int format = 0, formatC = 0;
  picture->GetSize(&shape.width, &shape.height, &planes);
  picture->GetFormat(&shape.bits, &format, &formatC);
  return shape;
}

// Channel c of pixel (x, y).
inline unsigned char At(ICIF* picture, unsigned x, unsigned y, unsigned c = 0) {
  int info = 0, stride = 0, bits = 0, format = 0, formatC = 0;
  unsigned char* first = nullptr;
  picture->GetFormat(&bits, &format, &formatC);
  picture->GetPlaneLines(0, &info, &first, &stride);
  return first[static_cast<std::ptrdiff_t>(y) * stride + x * static_cast<unsigned>(bits / 8) + c];
}

// A picture of one grey level.
template <unsigned char kLevel>
unsigned char Level(unsigned, unsigned, unsigned) {
  return kLevel;
}

// At progress 1 and beyond `to` itself comes back with one reference added for the caller; at
// progress 0 `from` (the effects that make that early return).
inline void ExpectHandsOutItself(IKeloTransition* effect, ICIF* from, ICIF* to, double progress,
                                 ICIF* expected) {
  expected->AddRef();
  const std::uint32_t before = expected->Release();
  ICIF* out = nullptr;
  ASSERT_EQ(effect->DoTransition(from, to, &out, progress), S_OK);
  EXPECT_EQ(out, expected) << "progress " << progress;
  EXPECT_EQ(expected->Release(), before) << "one reference added, progress " << progress;
}

// Points equal to the expected ones, one by one, in order.
inline void ExpectPoints(std::span<const PlanePoint> actual, std::span<const PlanePoint> expected,
                         const std::string& what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_DOUBLE_EQ(actual[i].x, expected[i].x) << what << " point " << i;
    EXPECT_DOUBLE_EQ(actual[i].y, expected[i].y) << what << " point " << i;
  }
}

}  // namespace effecttest
