#include "app/Fit.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "app/Errors.h"
#include "app/Text.h"

namespace kelo {

namespace {

constexpr unsigned kMaxSide = 16384;

bool ParseUnsigned(const std::string& text, unsigned& value) {
  if (text.empty() || text.size() > 6) return false;
  for (char c : text)
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  value = static_cast<unsigned>(std::stoul(text));
  return true;
}

}  // namespace

Size ParseSize(const std::string& text, const std::string& option) {
  const auto x = text.find_first_of("xX");
  Size size;
  if (x == std::string::npos || !ParseUnsigned(text.substr(0, x), size.width) ||
      !ParseUnsigned(text.substr(x + 1), size.height))
    throw AppError(kExitUsage,
                   "bad " + option + " '" + text + "': expected WIDTHxHEIGHT, e.g. 1280x720");
  if (size.width == 0 || size.height == 0 || size.width > kMaxSide || size.height > kMaxSide)
    throw AppError(kExitUsage, "bad " + option + " '" + text + "': each side must be 1 to " +
                                   std::to_string(kMaxSide) + " pixels");
  return size;
}

FitMode ParseFit(const std::string& text) {
  if (EqualsIgnoreCase(text, "contain")) return FitMode::kContain;
  if (EqualsIgnoreCase(text, "cover")) return FitMode::kCover;
  if (EqualsIgnoreCase(text, "stretch")) return FitMode::kStretch;
  throw AppError(kExitUsage, "bad --fit '" + text + "': expected contain, cover or stretch");
}

Rgb ParseColour(const std::string& text) {
  if (EqualsIgnoreCase(text, "black")) return {0, 0, 0};
  if (EqualsIgnoreCase(text, "white")) return {255, 255, 255};
  if (EqualsIgnoreCase(text, "grey") || EqualsIgnoreCase(text, "gray")) return {128, 128, 128};
  std::string hex = text;
  if (!hex.empty() && hex[0] == '#') hex.erase(0, 1);
  if (hex.size() == 6 &&
      std::all_of(hex.begin(), hex.end(), [](unsigned char c) { return std::isxdigit(c); })) {
    const auto value = std::stoul(hex, nullptr, 16);
    return {static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 8),
            static_cast<unsigned char>(value)};
  }
  unsigned parts[3];
  std::size_t start = 0;
  for (int i = 0; i < 3; ++i) {
    const auto comma = i < 2 ? text.find(',', start) : text.size();
    if (comma == std::string::npos || !ParseUnsigned(text.substr(start, comma - start), parts[i]) ||
        parts[i] > 255)
      throw AppError(kExitUsage,
                     "bad colour '" + text + "': expected #RRGGBB, R,G,B, black or white");
    start = comma + 1;
  }
  return {static_cast<unsigned char>(parts[0]), static_cast<unsigned char>(parts[1]),
          static_cast<unsigned char>(parts[2])};
}

Size PictureSize(ICIF* picture) {
  Size size;
  unsigned planes = 0;
  picture->GetSize(&size.width, &size.height, &planes);
  return size;
}

void FillPicture(const PixelView& view, Rgb colour) {
  if (view.height == 0) return;
  unsigned char* first = view.Row(0);
  for (unsigned x = 0; x < view.width; ++x) {
    first[x * 3] = colour.r;
    first[x * 3 + 1] = colour.g;
    first[x * 3 + 2] = colour.b;
  }
  for (unsigned y = 1; y < view.height; ++y) std::memcpy(view.Row(y), first, view.RowBytes());
}

namespace {

// A copy of the region of `picture` at (left, top) of `size`.
ComPtr<ICIF> CopyRegion(const Host& host, ICIF* picture, unsigned left, unsigned top, Size size) {
  auto out = host.NewPicture(size.width, size.height);
  const PixelView target = View(out.Get()), source = View(picture);
  for (unsigned y = 0; y < size.height; ++y)
    std::memcpy(target.Row(y), source.Row(top + y) + left * 3, target.RowBytes());
  return out;
}

}  // namespace

ComPtr<ICIF> FitPicture(const Host& host, ICIF* picture, Size size, FitMode mode, Rgb background) {
  const Size from = PictureSize(picture);
  if (from == size) return ComPtr<ICIF>::Share(picture);
  if (mode == FitMode::kStretch) return host.Resize(picture, size.width, size.height);

  const double scaleX = static_cast<double>(size.width) / from.width;
  const double scaleY = static_cast<double>(size.height) / from.height;
  if (mode == FitMode::kCover) {
    // The middle part the output shows is cut out first and only it is scaled: scaled whole, a
    // thin picture covering a large output would grow far past the output's own size.
    const double scale = std::max(scaleX, scaleY);
    auto part = [&](unsigned side, unsigned source) {
      return std::clamp(static_cast<unsigned>(std::lround(side / scale)), 1u, source);
    };
    const Size crop{part(size.width, from.width), part(size.height, from.height)};
    auto middle = crop == from ? ComPtr<ICIF>::Share(picture)
                               : CopyRegion(host, picture, (from.width - crop.width) / 2,
                                            (from.height - crop.height) / 2, crop);
    return crop == size ? middle : host.Resize(middle.Get(), size.width, size.height);
  }

  // Contain: the whole picture scaled to fit, never past the output, on bars of the background.
  const double scale = std::min(scaleX, scaleY);
  auto scaled = [&](unsigned side, unsigned limit) {
    return std::clamp(static_cast<unsigned>(std::lround(side * scale)), 1u, limit);
  };
  const Size inner{scaled(from.width, size.width), scaled(from.height, size.height)};
  auto resized = inner == from ? ComPtr<ICIF>::Share(picture)
                               : host.Resize(picture, inner.width, inner.height);
  if (inner == size) return resized;
  auto out = host.NewPicture(size.width, size.height);
  const PixelView target = View(out.Get());
  const PixelView source = View(resized.Get());
  FillPicture(target, background);
  const unsigned left = (size.width - inner.width) / 2, top = (size.height - inner.height) / 2;
  for (unsigned y = 0; y < inner.height; ++y)
    std::memcpy(target.Row(top + y) + left * 3, source.Row(y), source.RowBytes());
  return out;
}

}  // namespace kelo
