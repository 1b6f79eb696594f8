// What the fuzz targets share: the host they load (once per process), fuzzed bytes as a file
// (the storage components and settings files read files), and a way to read every byte of a
// picture so that the sanitizers see a picture that is not what it claims to be.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/Host.h"

namespace fuzzing {

// The host of the modules beside the fuzz target (build-fuzz/_binARM64).
inline const kelo::Host& FuzzHost() {
  static const kelo::Host host;
  return host;
}

// `bytes` written to this process's scratch file named `name`; its path.
inline std::filesystem::path ScratchFile(const std::string& name, const std::uint8_t* bytes,
                                         std::size_t size) {
  const auto path = std::filesystem::temp_directory_path() /
                    ("kelo-fuzz-" + std::to_string(getpid()) + "-" + name);
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  return path;
}

// Reads every meaningful byte of a picture; traps when it describes rows it cannot have.
inline unsigned ReadEveryByte(ICIF* picture) {
  unsigned width = 0, height = 0, planes = 0;
  int bits = 0, format = 0, formatC = 0, info = 0, stride = 0;
  unsigned char* first = nullptr;
  if (picture->GetSize(&width, &height, &planes) < 0 ||
      picture->GetFormat(&bits, &format, &formatC) < 0)
    __builtin_trap();
  if (width == 0 || height == 0) return 0;
  if (picture->GetPlaneLines(0, &info, &first, &stride) < 0 || first == nullptr ||
      (bits != 8 && bits != 24 && bits != 32))
    __builtin_trap();
  unsigned sum = 0;
  const std::size_t rowBytes = std::size_t{width} * static_cast<unsigned>(bits / 8);
  for (unsigned y = 0; y < height; ++y)
    for (std::size_t x = 0; x < rowBytes; ++x)
      sum += first[static_cast<std::ptrdiff_t>(y) * stride + static_cast<std::ptrdiff_t>(x)];
  return sum;
}

}  // namespace fuzzing
