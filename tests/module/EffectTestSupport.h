// Helpers the effect tests share: making an effect, rendering one frame, a picture's shape and
// pixels, and the early returns that hand out one of the caller's own pictures; pictures whose
// pixels name their origin; an effect's settings set, read, drawn by Randomize and saved as XML.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "effects/PointWarp.h"
#include "frame/Object.h"
#include "sdk/ComPtr.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace effecttest {

// A new T through its factory, as its IKeloTransition, and the object behind it.
template <class T>
ComPtr<IKeloTransition> Make(T** object = nullptr) {
  auto effect = moduletest::New<T>();
  if (object != nullptr) *object = moduletest::Raw<T>(effect);
  return effect;
}

using moduletest::Render;

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

// Picture patterns whose bytes name the pixel's origin: (x * scale, y * scale, the picture's mark).
constexpr unsigned char kFromMark = 50, kToMark = 200;
template <unsigned char mark, unsigned scale>
unsigned char Marked(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * scale : c == 1 ? y * scale : mark);
}
template <unsigned scale>
constexpr auto FromPixel = Marked<kFromMark, scale>;
template <unsigned scale>
constexpr auto ToPixel = Marked<kToMark, scale>;

// A new T with each (property id, value) set through Control in turn.
template <class T>
ComPtr<IKeloTransition> NewWith(std::initializer_list<std::pair<int, int>> settings) {
  auto effect = Make<T>();
  for (const auto& [id, value] : settings)
    effect.template As<IUIPropInterrogate>()->Control(id, value);
  return effect;
}

// A property's value read through Inquire (-99 when it cannot be read).
inline int Setting(IUnknown* effect, int id) {
  int value = -99;
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
  if (properties) properties->Inquire(id, &value);
  return value;
}

// The values each property of `ids` takes over 400 calls of Randomize, which must return S_OK.
inline std::map<int, std::set<int>> RandomizedValues(IKeloTransition* effect,
                                                     std::initializer_list<int> ids) {
  std::map<int, std::set<int>> seen;
  ComPtr<IRandomizableObject> random;
  effect->QueryInterface(IID_IRandomizableObject, random.PutVoid());
  for (int i = 0; i < 400; ++i) {
    EXPECT_EQ(random->Randomize(), S_OK);
    for (int id : ids) seen[id].insert(Setting(effect, id));
  }
  return seen;
}

// Saves `saved`'s settings into the host's XML stream, expects each as an element named after the
// property (so the string table names it), loads them into `loaded` and expects the same values.
struct NamedSetting {
  int id;
  const wchar_t* name;
  int value;
};
inline void ExpectXMLRoundTrip(IKeloTransition* saved, IKeloTransition* loaded,
                               std::initializer_list<NamedSetting> settings) {
  auto stream = testhost::Create<IDataStream>(L"XMLStream");
  ComPtr<IDataPersist> save, load;
  saved->QueryInterface(IID_IDataPersist, save.PutVoid());
  loaded->QueryInterface(IID_IDataPersist, load.PutVoid());
  ASSERT_EQ(save->Save(stream.Get(), 0), S_OK);
  const CREFString text(stream.As<IString>().Get());
  const std::wstring xml(text.text, text.length);
  for (const auto& [id, name, value] : settings)
    EXPECT_NE(xml.find(std::wstring(L"<") + name + L">" + std::to_wstring(value) + L"</" + name),
              std::wstring::npos)
        << xml;
  ASSERT_EQ(load->Load(stream.Get(), 0), S_OK);
  for (const auto& [id, name, value] : settings) EXPECT_EQ(Setting(loaded, id), value);
}

}  // namespace effecttest
