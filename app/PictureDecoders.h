// The two decoders behind DecodePicture, one file each, and what they share.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "app/Errors.h"
#include "app/PictureIO.h"

namespace kelo::decoders {

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != nullptr) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Throws the input error "cannot read 'name': what".
[[noreturn]] void InputError(const std::string& name, const std::string& what);
// Throws an input error unless width x height is within the picture limits.
void CheckSize(const std::string& name, std::uint64_t width, std::uint64_t height);

// Each reads `file` from its start; `name` stands for the file in messages.
ComPtr<ICIF> DecodeJpeg(const Host& host, const std::string& name, File file,
                        const DecodeOptions& options);
ComPtr<ICIF> DecodePng(const Host& host, const std::string& name, File file,
                       const DecodeOptions& options);

}  // namespace kelo::decoders
