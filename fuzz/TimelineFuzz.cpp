// Timeline files from any bytes, as JSON or TOML by the first byte: read into slides or refused
// with kelo's error, and every value the reader kept looked at.
#include "app/Errors.h"
#include "app/Timeline.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto format = data[0] & 1 ? kelo::TimelineFormat::kToml : kelo::TimelineFormat::kJson;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    const kelo::Timeline timeline = kelo::ParseTimeline(text, format, "fuzz/show");
    if (timeline.slides.empty() || timeline.slides.size() > kelo::kMaxTimelineSlides)
      __builtin_trap();
    double sum = 0;
    for (const auto& slide : timeline.slides) {
      sum += slide.hold.value_or(0) + slide.transition.duration.value_or(0);
      if (slide.transition.easing) sum += (*slide.transition.easing)(0.5);
      for (const auto& setting : slide.transition.settings)
        sum += static_cast<double>(setting.name.size() + setting.value.size());
    }
    if (!(sum >= 0)) __builtin_trap();
  } catch (const kelo::AppError& error) {
    if (error.Code() != kelo::kExitUsage && error.Code() != kelo::kExitInput) __builtin_trap();
  }
  return 0;
}
