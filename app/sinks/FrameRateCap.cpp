// A lower frame rate for a format that cannot show a higher one (GIF above 50 fps): frames are
// dropped by time, and the ones kept last as long as the frames they stand for.
#include <cmath>

#include "app/Sinks.h"

namespace kelo {

namespace {

class FrameRateCap final : public FrameSink {
 public:
  FrameRateCap(std::unique_ptr<FrameSink> sink, double fps, double cappedFps)
      : sink_(std::move(sink)), ratio_(cappedFps / fps) {}

  void Add(ICIF* picture, int repeat) override {
    const long first = Slot(frames_);
    frames_ += repeat;
    const long slots = Slot(frames_) - first;
    if (slots == 0) {
      // No output frame starts while this one shows. Kept aside in case it is the last frame.
      dropped_ = ComPtr<ICIF>::Share(picture);
      return;
    }
    Flush();
    pending_ = ComPtr<ICIF>::Share(picture);
    pendingSlots_ = slots;
    dropped_.Reset();
  }

  void Finish() override {
    // The last frame given is the last one shown: it takes the last slot of the one before it
    // (a transition ends on its target picture).
    if (dropped_ && pending_) {
      if (pendingSlots_ > 1) sink_->Add(pending_.Get(), static_cast<int>(pendingSlots_ - 1));
      pending_ = dropped_;
      pendingSlots_ = 1;
    }
    Flush();
    dropped_.Reset();
    sink_->Finish();
  }

  std::vector<std::filesystem::path> Outputs() const override { return sink_->Outputs(); }

 private:
  // The first output frame that starts at or after input frame `index` starts (a hair of slack
  // for the rounding of index * ratio).
  long Slot(long index) const {
    return static_cast<long>(std::ceil(static_cast<double>(index) * ratio_ - 1e-9));
  }

  void Flush() {
    if (pending_) sink_->Add(pending_.Get(), static_cast<int>(pendingSlots_));
    pending_.Reset();
  }

  std::unique_ptr<FrameSink> sink_;
  double ratio_;
  long frames_ = 0;
  // The last frame that starts an output frame, held until the next one says how many it spans.
  ComPtr<ICIF> pending_;
  long pendingSlots_ = 0;
  ComPtr<ICIF> dropped_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeFrameRateCap(std::unique_ptr<FrameSink> sink, double fps,
                                            double cappedFps) {
  return std::make_unique<FrameRateCap>(std::move(sink), fps, cappedFps);
}

}  // namespace kelo
