// Numbered PNG frame files. Each frame is its own file, written and renamed in place as it
// comes; a sink that goes unfinished removes every frame it wrote.
#include "app/PictureIO.h"
#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

class PngFramesSink final : public FrameSink {
 public:
  PngFramesSink(std::filesystem::path pattern, VideoFormat format)
      : pattern_(std::move(pattern)), format_(format) {}
  ~PngFramesSink() override {
    if (finished_) return;
    std::error_code ignored;
    for (const auto& path : written_) std::filesystem::remove(path, ignored);
  }
  void Add(ICIF* picture, int repeat) override {
    const PixelView view = CheckedView(picture, format_);
    const auto first = FramePath(pattern_, next_);
    // Fast compression: frame files are many and large.
    SavePng(first, view, 2);
    written_.push_back(first);
    ++next_;
    // Repeats of the same picture are copies of the encoded file.
    for (int i = 1; i < repeat; ++i, ++next_) {
      const auto path = FramePath(pattern_, next_);
      TemporaryFile copy(path);
      std::error_code error;
      std::filesystem::copy_file(first, copy.Path(), error);
      if (error) WriteError(path, error.message());
      copy.Commit();
      written_.push_back(path);
    }
  }
  void Finish() override { finished_ = true; }
  std::vector<std::filesystem::path> Outputs() const override { return written_; }

 private:
  std::filesystem::path pattern_;
  VideoFormat format_;
  long next_ = 0;
  std::vector<std::filesystem::path> written_;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<FrameSink> MakePngFramesSink(const std::filesystem::path& pattern,
                                             VideoFormat format) {
  return std::make_unique<PngFramesSink>(pattern, format);
}

}  // namespace kelo
