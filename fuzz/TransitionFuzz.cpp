// DoTransition of every effect on hostile input: settings set through Control (ids around the
// declared ones, any integer or float pattern), any progress (NaN, infinities, 1e300, negative
// zero, subnormals or fuzzed bits) and foreign pictures of any size and depth (0, 1, odd,
// 1x100000, 100000x1; 8, 24 and 32 bits; padded rows; negative strides) fenced by guard bytes.
// A success must hand out a readable picture; the two pictures must come back untouched.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <limits>
#include <memory>

#include "fuzz/FuzzSupport.h"
#include "sdk/Properties.h"
#include "tests/common/GuardedPicture.h"

namespace {

using testhost::GuardedPicture;

double Progress(FuzzedDataProvider& input) {
  constexpr double kSpecial[] = {0.0,
                                 1.0,
                                 0.5,
                                 -0.0,
                                 std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 1e300,
                                 -1e300,
                                 std::numeric_limits<double>::denorm_min(),
                                 std::numeric_limits<double>::min(),
                                 std::numeric_limits<double>::max(),
                                 1.0 - std::numeric_limits<double>::epsilon(),
                                 1.0 + std::numeric_limits<double>::epsilon(),
                                 -1e-300};
  if (input.ConsumeBool()) return input.PickValueInArray(kSpecial);
  return input.ConsumeFloatingPoint<double>();
}

std::unique_ptr<GuardedPicture> Picture(FuzzedDataProvider& input) {
  constexpr unsigned kSides[] = {0, 1, 2, 3, 5, 8, 17, 31, 64, 100, 101};
  constexpr int kBits[] = {24, 32, 8};
  unsigned width = input.PickValueInArray(kSides), height = input.PickValueInArray(kSides);
  // The long thin pictures are slow: one input in sixteen, and never the default.
  switch (input.ConsumeIntegralInRange(0, 15)) {
    case 14:
      width = 1, height = 100000;
      break;
    case 15:
      width = 100000, height = 1;
      break;
    default:
      break;
  }
  const int bits = input.PickValueInArray(kBits);
  const std::size_t padding = input.ConsumeIntegralInRange<std::size_t>(0, 70);
  const bool bottomUp = input.ConsumeBool();
  return std::make_unique<GuardedPicture>(width, height, bits, padding, bottomUp,
                                          input.ConsumeIntegral<unsigned char>());
}

void Settle(FuzzedDataProvider& input, IKeloTransition* effect) {
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IUIPropInterrogate::kIID, properties.PutVoid());
  if (!properties) return;
  int lowest = 0, highest = 0;
  properties->ParameterRange(UIPROP_ALL, &lowest, &highest);
  constexpr float kFloats[] = {std::numeric_limits<float>::quiet_NaN(),
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::max(),
                               std::numeric_limits<float>::denorm_min(),
                               -0.0f,
                               1e30f,
                               -1e30f};
  for (int n = input.ConsumeIntegralInRange(0, 4); n > 0; --n) {
    const int id =
        input.ConsumeIntegralInRange(std::min(lowest, highest) - 1, std::max(lowest, highest) + 1);
    const int value = input.ConsumeBool() ? FloatBits(input.PickValueInArray(kFloats))
                                          : input.ConsumeIntegral<int>();
    properties->Control(id, value);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kelo::Host& host = fuzzing::FuzzHost();
  static const auto names = host.TransitionNames();
  FuzzedDataProvider input(data, size);
  auto effect =
      host.CreateTransition(names[input.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)]);
  if (!effect) return 0;
  Settle(input, effect.Get());
  const double progress = Progress(input);
  const auto from = Picture(input);
  const auto to = Picture(input);
  ICIF* out = nullptr;
  if (effect->DoTransition(from.get(), to.get(), &out, progress) >= 0) {
    if (out == nullptr) __builtin_trap();
    fuzzing::ReadEveryByte(out);
    out->Release();
  }
  effect->Uninitialize();
  effect.Reset();
  // Nothing written outside either picture nor into them, and every reference given back.
  if (!from->Intact() || !to->Intact() || from->References() != 1 || to->References() != 1)
    __builtin_trap();
  return 0;
}
