#include "host/storage/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace host::storage {

namespace {

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (written == 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Closes a descriptor when it goes out of scope (also when an allocation throws).
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int Get() const { return fd_; }
  // Closes now and reports whether that succeeded.
  bool Close() {
    const int fd = fd_;
    fd_ = -1;
    return close(fd) == 0;
  }

 private:
  int fd_;
};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

HRESULT WriteFileAtomically(const std::string& path, std::string_view bytes) {
  if (path.empty() || path.back() == '/') return E_INVALIDARG;
  static std::atomic<unsigned> serial{0};
  const std::string temporary = path + ".tmp-" + std::to_string(getpid()) + "-" +
                                std::to_string(serial.fetch_add(1, std::memory_order_relaxed));
  // Made first: once the file is replaced nothing may fail (or throw) any more.
  const std::string folderPath = FolderOf(path);
  Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (file.Get() < 0) return E_FAIL;
  bool ok = WriteAll(file.Get(), bytes) && fsync(file.Get()) == 0;
  ok = file.Close() && ok;
  if (ok) ok = rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) {
    unlink(temporary.c_str());
    return E_FAIL;
  }
  // Make the rename itself durable; a failure here leaves a complete file either way.
  Descriptor folder(open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.Get() >= 0) fsync(folder.Get());
  return S_OK;
}

HRESULT ReadWholeFile(const std::string& path, std::string* bytes, std::size_t limit) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) return E_FAIL;
  struct stat info {};
  if (fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode)) return E_FAIL;
  if (static_cast<std::size_t>(info.st_size) > limit) return E_INVALIDARG;
  std::string content;
  content.reserve(static_cast<std::size_t>(info.st_size));
  char buffer[65536];
  for (;;) {
    const ssize_t got = read(file.Get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      return E_FAIL;
    }
    if (got == 0) break;
    content.append(buffer, static_cast<std::size_t>(got));
    if (content.size() > limit) return E_INVALIDARG;
  }
  *bytes = std::move(content);
  return S_OK;
}

}  // namespace host::storage
