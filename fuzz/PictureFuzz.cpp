// Picture decoding as kelo does it: PNG and JPEG (EXIF orientation, CMYK, progressive, grey,
// palette, 16-bit, alpha) from any bytes. A refusal is an input error; anything else that
// escapes, and any picture whose rows cannot be read whole, is a finding.
#include "app/Errors.h"
#include "app/PictureIO.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kelo::DecodeOptions quiet{kelo::Rgb{30, 60, 90}, [](const std::string&) {}};
  try {
    const auto picture =
        kelo::DecodePictureBytes(fuzzing::FuzzHost(), {data, size}, "fuzzed", quiet);
    fuzzing::ReadEveryByte(picture.Get());
  } catch (const kelo::AppError& error) {
    if (error.Code() != kelo::kExitInput) __builtin_trap();
  }
  return 0;
}
