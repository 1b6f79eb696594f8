#include "studio/Pictures.h"

#include <algorithm>
#include <cmath>

#include "app/Builtin.h"
#include "app/PictureIO.h"

namespace kelo::studio {

namespace {

// `size` shrunk to fit into `box` with its proportions kept (never grown), each side at least 1.
Size FitInto(Size size, Size box) {
  const double scale = std::min({1.0, static_cast<double>(box.width) / size.width,
                                 static_cast<double>(box.height) / size.height});
  return {std::max(1u, static_cast<unsigned>(std::lround(size.width * scale))),
          std::max(1u, static_cast<unsigned>(std::lround(size.height * scale)))};
}

}  // namespace

Pictures::Pictures(const Host& host, const std::vector<std::filesystem::path>& files)
    : host_(host) {
  std::vector<std::pair<ComPtr<ICIF>, std::string>> decoded;
  for (const auto& file : files)
    decoded.emplace_back(DecodePicture(host, file), file.filename().string());
  if (decoded.empty())
    for (std::size_t k = 0; k < 2; ++k)
      decoded.emplace_back(BuiltinPicture(host, k, kMaxFrame), "built-in " + std::to_string(k + 1));
  frame_ = FitInto(PictureSize(decoded.front().first.Get()), kMaxFrame);
  thumb_ = FitInto(frame_, {kThumbWidth, kThumbWidth});
  for (auto& [picture, name] : decoded) pictures_.push_back(Make(picture, name, false));
  // A single picture is paired with itself until another arrives.
}

Picture Pictures::Make(ComPtr<ICIF> decoded, std::string name, bool uploaded) {
  Picture picture;
  picture.name = std::move(name);
  picture.uploaded = uploaded;
  picture.frame = FitPicture(host_, decoded.Get(), frame_, FitMode::kContain, {});
  picture.thumb = FitPicture(host_, picture.frame.Get(), thumb_, FitMode::kContain, {});
  std::lock_guard lock(mutex_);
  picture.id = nextId_++;
  return picture;
}

Picture Pictures::Add(std::span<const std::uint8_t> bytes, const std::string& name) {
  Picture picture;
  {
    std::lock_guard lock(decoding_);
    picture =
        Make(DecodePictureBytes(host_, bytes, name, {{}, [](const std::string&) {}}), name, true);
  }
  std::lock_guard lock(mutex_);
  pictures_.push_back(picture);
  const auto uploads = std::count_if(pictures_.begin(), pictures_.end(),
                                     [](const Picture& p) { return p.uploaded; });
  if (static_cast<std::size_t>(uploads) > kMaxUploads)
    pictures_.erase(std::find_if(pictures_.begin(), pictures_.end(),
                                 [](const Picture& p) { return p.uploaded; }));
  return picture;
}

Picture Pictures::Find(int id) const {
  std::lock_guard lock(mutex_);
  for (const auto& picture : pictures_)
    if (picture.id == id) return picture;
  Picture none;
  none.id = -1;
  return none;
}

std::vector<Picture> Pictures::All() const {
  std::lock_guard lock(mutex_);
  return {pictures_.begin(), pictures_.end()};
}

}  // namespace kelo::studio
