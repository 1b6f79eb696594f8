// Numbered PNG frame files. Each frame is written under a hidden name beside its own and Finish
// renames them all into place, so a run that fails or is interrupted replaces no file that was
// there before (frames of an earlier run included) and leaves nothing behind. Folders of the
// pattern that are missing are made, and removed again unless the run succeeds.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "app/Interrupt.h"
#include "app/PictureIO.h"
#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

class PngFramesSink final : public FrameSink {
 public:
  PngFramesSink(std::filesystem::path pattern, VideoFormat format)
      : pattern_(std::move(pattern)), format_(format), folders_(pattern_.parent_path()) {}
  ~PngFramesSink() override {
    if (finished_) return;
    // Before the folders (members) go: they are removed only when empty.
    std::error_code ignored;
    for (long i = 0; i < next_; ++i) std::filesystem::remove(Hidden(i), ignored);
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = CheckedView(picture, format_);
    // Counted before it is written, so that a frame written in part is removed too.
    const auto first = Hidden(next_++);
    // Fast compression: frame files are many and large.
    WritePngFile(first, FramePath(pattern_, next_ - 1).string(), view, 2);
    // Repeats of the same picture are copies of the encoded file.
    for (int i = 1; i < repeat; ++i) {
      const long index = next_++;
      std::error_code error;
      std::filesystem::copy_file(first, Hidden(index),
                                 std::filesystem::copy_options::overwrite_existing, error);
      if (error) WriteError(FramePath(pattern_, index), error.message());
    }
  }

  void Finish() override {
    // Frames are written whole, with nothing to commit one by one: the interrupt is looked at
    // here, once, before any is put in place.
    ThrowIfInterrupted();
    PutInPlace();
    finished_ = true;
    folders_.Keep();
  }

  std::vector<std::filesystem::path> Outputs() const override {
    std::vector<std::filesystem::path> paths;
    paths.reserve(static_cast<std::size_t>(next_));
    for (long i = 0; i < next_; ++i) paths.push_back(FramePath(pattern_, i));
    return paths;
  }

 private:
  std::filesystem::path Hidden(long index) const {
    return HiddenPathFor(FramePath(pattern_, index), "tmp");
  }
  std::filesystem::path Kept(long index) const {
    return HiddenPathFor(FramePath(pattern_, index), "old");
  }

  // Renames every frame into place. A file already there is first moved aside, so that a rename
  // failing half way (a full folder, say) puts back everything it replaced.
  void PutInPlace() {
    std::vector<bool> moved(static_cast<std::size_t>(next_));
    for (long i = 0; i < next_; ++i) {
      const auto path = FramePath(pattern_, i);
      const bool aside = ::rename(path.c_str(), Kept(i).c_str()) == 0;
      moved[static_cast<std::size_t>(i)] = aside;
      if ((!aside && errno != ENOENT) || ::rename(Hidden(i).c_str(), path.c_str()) != 0) {
        const int error = errno;
        // The hidden frames not yet renamed go with the sink.
        for (long j = i; j >= 0; --j) {
          const auto back = FramePath(pattern_, j);
          if (moved[static_cast<std::size_t>(j)])
            ::rename(Kept(j).c_str(), back.c_str());
          else if (j < i)
            ::remove(back.c_str());
        }
        WriteError(path, std::strerror(error));
      }
    }
    for (long i = 0; i < next_; ++i)
      if (moved[static_cast<std::size_t>(i)]) ::remove(Kept(i).c_str());
  }

  std::filesystem::path pattern_;
  VideoFormat format_;
  MadeFolders folders_;
  long next_ = 0;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<FrameSink> MakePngFramesSink(const std::filesystem::path& pattern,
                                             VideoFormat format) {
  return std::make_unique<PngFramesSink>(pattern, format);
}

}  // namespace kelo
