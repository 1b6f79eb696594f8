#include "app/sinks/FileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "app/Errors.h"

namespace kelo {

void WriteError(const std::filesystem::path& path, const std::string& what) {
  throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + what);
}

PixelView CheckedView(ICIF* picture, const VideoFormat& format) {
  const PixelView view = View(picture);
  if (view.width != format.width || view.height != format.height || view.bitsPerPixel != 24)
    throw AppError(kExitFailure, "a frame of " + std::to_string(view.width) + "x" +
                                     std::to_string(view.height) + " at " +
                                     std::to_string(view.bitsPerPixel) + " bits does not fit a " +
                                     std::to_string(format.width) + "x" +
                                     std::to_string(format.height) + " RGB output");
  return view;
}

long Timestamp(long index, double fps, double unitsPerSecond) {
  return std::lround(static_cast<double>(index) * unitsPerSecond / fps);
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

int FileDescriptor::Close() {
  return fd_ < 0 ? 0 : ::close(std::exchange(fd_, -1));
}

void WriteBytes(int fd, const unsigned char* data, std::size_t size,
                const std::function<void(int)>& fail) {
  while (size > 0) {
    const ssize_t done = ::write(fd, data, size);
    if (done < 0) {
      if (errno == EINTR) continue;
      fail(errno);
      return;
    }
    data += done;
    size -= static_cast<std::size_t>(done);
  }
}

void WriteFrame(int fd, const PixelView& view, int repeat, const std::function<void(int)>& fail) {
  for (int i = 0; i < repeat; ++i) {
    if (static_cast<std::size_t>(view.stride) == view.RowBytes()) {
      WriteBytes(fd, view.first, view.RowBytes() * view.height, fail);
    } else {
      for (unsigned y = 0; y < view.height; ++y) WriteBytes(fd, view.Row(y), view.RowBytes(), fail);
    }
  }
}

FileDescriptor FileSink::CreateTemporary(mode_t mode) const {
  FileDescriptor fd(::open(Temporary().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  if (fd.Get() < 0) Fail(std::strerror(errno));
  return fd;
}

}  // namespace kelo
