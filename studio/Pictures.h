// The pictures the page can choose from: those named on the command line (or two built-in ones)
// and those uploaded, each decoded by kelo and fitted once to the studio's frame size, with a
// small copy for thumbnails. Safe from any thread (no module calls: only host pictures).
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "app/Fit.h"
#include "app/Host.h"

namespace kelo::studio {

struct Picture {
  int id = 0;
  std::string name;
  bool uploaded = false;
  ComPtr<ICIF> frame;  // at the frame size
  ComPtr<ICIF> thumb;  // at the thumbnail size
};

// The largest upload taken, and how many uploads are kept (the oldest goes first).
inline constexpr std::size_t kMaxUploadBytes = 32u << 20;
inline constexpr std::size_t kMaxUploads = 16;
// Frames are at most this large: bigger pictures are fitted into it.
inline constexpr Size kMaxFrame{1920, 1080};
inline constexpr unsigned kThumbWidth = 160;

class Pictures {
 public:
  // Decodes the command-line pictures (throws AppError naming a bad one), or makes two built-in
  // ones at kMaxFrame without any. The frame size is the first picture's, fitted into kMaxFrame.
  Pictures(const Host& host, const std::vector<std::filesystem::path>& files);

  Size FrameSize() const { return frame_; }
  Size ThumbSize() const { return thumb_; }

  // Decodes an upload and keeps it; throws AppError with the decoder's message for bad data.
  Picture Add(std::span<const std::uint8_t> bytes, const std::string& name);
  // The picture with that id, or one with id -1.
  Picture Find(int id) const;
  std::vector<Picture> All() const;

 private:
  Picture Make(ComPtr<ICIF> decoded, std::string name, bool uploaded);

  const Host& host_;
  Size frame_;
  Size thumb_;
  mutable std::mutex mutex_;
  std::mutex decoding_;  // one upload decoded at a time bounds the memory decoding takes
  std::deque<Picture> pictures_;
  int nextId_ = 0;
};

}  // namespace kelo::studio
