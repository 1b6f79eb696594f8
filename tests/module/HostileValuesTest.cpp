// Every effect the module offers, driven with hostile values: progress that is no number or far
// outside 0..1, settings at the ends of their types, and foreign pictures of degenerate sizes and
// depths, padded rows and bottom-up strides, fenced by guard bytes. Each call must hand out a
// readable picture or fail; neither picture may be written to, nor any byte around them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "effects/KeloTransitions.h"
#include "sdk/Properties.h"
#include "tests/common/GuardedPicture.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using testhost::GuardedPicture;

constexpr double kInf = std::numeric_limits<double>::infinity();
const double kProgress[] = {
    0.0,   1.0,        0.5,    -0.0,   kInf,
    -kInf, 1e300,      -1e300, 1e-320, std::numeric_limits<double>::quiet_NaN(),
    -0.25, 1.0 + 1e-12};

struct Shape {
  unsigned width, height;
  int bits;
  std::size_t padding;
  bool bottomUp;
};
// Pairs of (from, to): equal sizes, sizes that differ, depths that differ, degenerate sizes.
const std::pair<Shape, Shape> kShapes[] = {
    {{9, 7, 24, 0, false}, {9, 7, 24, 0, false}},
    {{9, 7, 24, 5, true}, {9, 7, 24, 3, true}},
    {{1, 1, 24, 0, false}, {1, 1, 24, 0, false}},
    {{0, 0, 24, 0, false}, {5, 5, 24, 0, false}},
    {{5, 5, 24, 0, false}, {0, 3, 24, 0, false}},
    {{13, 3, 32, 4, false}, {13, 3, 32, 0, true}},
    {{6, 4, 32, 0, false}, {6, 4, 24, 2, false}},
    {{7, 5, 8, 1, true}, {7, 5, 8, 0, false}},
    {{3, 17, 24, 0, false}, {17, 3, 24, 1, true}},
    {{1, 20000, 24, 0, false}, {20000, 1, 24, 0, false}},
};

// Controls each property in its id range, and just outside it, to `value`.
void SetAll(IKeloTransition* effect, int value) {
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IUIPropInterrogate::kIID, properties.PutVoid());
  if (!properties) return;
  int lowest = 0, highest = 0;
  properties->ParameterRange(UIPROP_ALL, &lowest, &highest);
  for (int id = lowest - 1; id <= highest + 1 && id - lowest < 64; ++id)
    properties->Control(id, value);
}

// Catches: an effect that crashes, reads or writes outside a picture, writes into a caller's
// picture, keeps a reference to one, or reports success without a readable picture, for any
// progress, setting or picture shape.
TEST(HostileValues, EveryEffectSurvivesEveryValue) {
  const int kSettings[] = {0,
                           -1,
                           std::numeric_limits<int>::min(),
                           std::numeric_limits<int>::max(),
                           FloatBits(std::numeric_limits<float>::quiet_NaN()),
                           FloatBits(std::numeric_limits<float>::infinity()),
                           FloatBits(-1e30f)};
  for (const ModuleComponent& component : ModuleComponents()) {
    const std::wstring name(component.name.text, static_cast<std::size_t>(component.name.length));
    for (int setting : kSettings) {
      auto effect = moduletest::Create<IKeloTransition>(name);
      ASSERT_TRUE(effect);
      SetAll(effect.Get(), setting);
      for (const auto& [f, t] : kShapes) {
        GuardedPicture from(f.width, f.height, f.bits, f.padding, f.bottomUp, 10);
        GuardedPicture to(t.width, t.height, t.bits, t.padding, t.bottomUp, 200);
        for (double progress : kProgress) {
          SCOPED_TRACE(testing::Message()
                       << std::string(name.begin(), name.end()) << " setting " << setting
                       << " progress " << progress << " from " << f.width << "x" << f.height << "x"
                       << f.bits << " to " << t.width << "x" << t.height << "x" << t.bits);
          ICIF* out = nullptr;
          if (effect->DoTransition(&from, &to, &out, progress) >= 0) {
            ASSERT_NE(out, nullptr);
            unsigned width = 0, height = 0, planes = 0;
            int bits = 0, format = 0, formatC = 0, info = 0, stride = 0;
            unsigned char* first = nullptr;
            out->GetSize(&width, &height, &planes);
            out->GetFormat(&bits, &format, &formatC);
            if (width > 0 && height > 0) {
              ASSERT_GE(out->GetPlaneLines(0, &info, &first, &stride), 0);
              ASSERT_NE(first, nullptr);
              const std::size_t rowBytes = std::size_t{width} * static_cast<unsigned>(bits / 8);
              unsigned sum = 0;  // every byte read, so the sanitizer sees a bad row
              for (unsigned y = 0; y < height; ++y)
                for (std::size_t x = 0; x < rowBytes; ++x)
                  sum += first[static_cast<std::ptrdiff_t>(y) * stride +
                               static_cast<std::ptrdiff_t>(x)];
              (void)sum;
            }
            out->Release();
          }
          ASSERT_TRUE(from.Intact());
          ASSERT_TRUE(to.Intact());
        }
        effect->Uninitialize();
        // The counter-cover preset keeps its object, and what that holds, for good.
        if (name != L"CounterCoverTransition") {
          EXPECT_EQ(from.References(), 1u);
          EXPECT_EQ(to.References(), 1u);
        }
      }
    }
  }
}

}  // namespace
