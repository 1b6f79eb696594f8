#include "studio/JpegEncoder.h"

// clang-format off
#include <cstddef>  // jpeglib.h needs size_t and FILE declared first
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <csetjmp>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace kelo::studio {

namespace {

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void JpegFail(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

// Everything the encoder touches after setjmp lives here, on the heap, so a longjmp leaves
// nothing indeterminate behind.
struct JpegWriter {
  jpeg_compress_struct info{};
  JpegErrors errors{};
  bool created = false;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  ~JpegWriter() {
    if (created) jpeg_destroy_compress(&info);
    std::free(buffer);
  }
};

}  // namespace

std::string EncodeJpeg(const PixelView& view, int quality) {
  if (view.bitsPerPixel != 24 || view.width == 0 || view.height == 0)
    throw std::runtime_error("only 24-bit pictures are encoded as JPEG");
  auto writer = std::make_unique<JpegWriter>();
  writer->info.err = jpeg_std_error(&writer->errors.manager);
  writer->errors.manager.error_exit = JpegFail;
  if (setjmp(writer->errors.jump))
    throw std::runtime_error(std::string("JPEG encoder: ") + writer->errors.message);
  jpeg_create_compress(&writer->info);
  writer->created = true;
  jpeg_mem_dest(&writer->info, &writer->buffer, &writer->size);
  writer->info.image_width = view.width;
  writer->info.image_height = view.height;
  writer->info.input_components = 3;
  writer->info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&writer->info);
  jpeg_set_quality(&writer->info, quality, TRUE);
  jpeg_start_compress(&writer->info, TRUE);
  while (writer->info.next_scanline < view.height) {
    JSAMPROW row = view.Row(writer->info.next_scanline);
    jpeg_write_scanlines(&writer->info, &row, 1);
  }
  jpeg_finish_compress(&writer->info);
  return std::string(reinterpret_cast<const char*>(writer->buffer), writer->size);
}

}  // namespace kelo::studio
