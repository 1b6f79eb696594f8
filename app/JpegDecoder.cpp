// JPEG pictures through libjpeg: the size checked right after the header, the decoder's memory
// and scan count bounded, corrupt data reported as a warning, EXIF orientation and CMYK handled.
// clang-format off
#include <cstddef>  // jpeglib.h needs size_t and FILE declared first
#include <cstdio>
#include <jerror.h>
#include <jpeglib.h>
// clang-format on

#include <csetjmp>
#include <opencv2/core.hpp>
#include <vector>

#include "app/PictureDecoders.h"

namespace kelo::decoders {

namespace {

// What libjpeg may allocate for one picture: the whole-picture coefficient buffers of a
// progressive picture at the largest size allowed (8 bytes a pixel for CMYK) fit.
constexpr long kMaxDecoderMemory = 1L << 30;
// A progressive file may hold any number of scans, each a pass over the whole picture; real
// encoders write about ten.
constexpr int kMaxScans = 1000;

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
  int warnings = 0;
  char warning[JMSG_LENGTH_MAX];
};

JpegErrors& ErrorsOf(j_common_ptr info) {
  return *reinterpret_cast<JpegErrors*>(info->err);
}

void JpegFail(j_common_ptr info) {
  (*info->err->format_message)(info, ErrorsOf(info).message);
  std::longjmp(ErrorsOf(info).jump, 1);
}

void JpegMessage(j_common_ptr info, int level) {
  if (level != -1) return;  // trace messages
  // A file that ends early decodes as grey: treat it as the damaged file it is.
  if (info->err->msg_code == JWRN_JPEG_EOF) JpegFail(info);
  JpegErrors& errors = ErrorsOf(info);
  if (errors.warnings++ == 0) (*info->err->format_message)(info, errors.warning);
}

void JpegProgress(j_common_ptr info) {
  auto* decompress = reinterpret_cast<j_decompress_ptr>(info);
  if (decompress->input_scan_number > kMaxScans) {
    std::snprintf(ErrorsOf(info).message, JMSG_LENGTH_MAX, "more than %d scans", kMaxScans);
    std::longjmp(ErrorsOf(info).jump, 1);
  }
}

// Everything the decoder touches after setjmp lives here, on the heap, so a longjmp leaves
// nothing indeterminate behind.
struct JpegReader {
  jpeg_decompress_struct info{};
  JpegErrors errors{};
  jpeg_progress_mgr progress{};
  bool created = false;
  File file;
  ComPtr<ICIF> picture;
  std::vector<unsigned char> buffer;
  std::vector<unsigned char> cmykRow;
  ~JpegReader() {
    if (created) jpeg_destroy_decompress(&info);
  }
};

int FindOrientation(jpeg_decompress_struct& info) {
  for (jpeg_saved_marker_ptr marker = info.marker_list; marker != nullptr; marker = marker->next)
    if (marker->marker == JPEG_APP0 + 1)
      if (int orientation = ExifOrientation({marker->data, marker->data_length}); orientation != 1)
        return orientation;
  return 1;
}

// Places `source` (tightly packed RGB rows, as stored in the file) into `target` turned upright
// for the EXIF orientation.
void ApplyOrientation(const cv::Mat& source, cv::Mat& target, int orientation) {
  switch (orientation) {
    case 2:
      cv::flip(source, target, 1);
      break;
    case 3:
      cv::flip(source, target, -1);
      break;
    case 4:
      cv::flip(source, target, 0);
      break;
    case 5:
      cv::transpose(source, target);
      break;
    case 6:
      cv::rotate(source, target, cv::ROTATE_90_CLOCKWISE);
      break;
    case 7: {
      cv::Mat transposed;
      cv::transpose(source, transposed);
      cv::flip(transposed, target, -1);
      break;
    }
    case 8:
      cv::rotate(source, target, cv::ROTATE_90_COUNTERCLOCKWISE);
      break;
    default:
      source.copyTo(target);
      break;
  }
}

// One row of CMYK inks as RGB. Adobe's files store the inks inverted.
void CmykToRgb(const unsigned char* inks, unsigned char* row, unsigned width, bool inverted) {
  for (unsigned x = 0; x < width; ++x) {
    const unsigned char* ink = &inks[x * 4];
    const unsigned k = inverted ? ink[3] : 255u - ink[3];
    for (int c = 0; c < 3; ++c) {
      const unsigned value = inverted ? ink[c] : 255u - ink[c];
      row[x * 3 + c] = static_cast<unsigned char>((value * k + 127) / 255);
    }
  }
}

}  // namespace

ComPtr<ICIF> DecodeJpeg(const Host& host, const std::string& name, File file,
                        const DecodeOptions& options) {
  auto reader = std::make_unique<JpegReader>();
  reader->file = std::move(file);
  reader->info.err = jpeg_std_error(&reader->errors.manager);
  reader->errors.manager.error_exit = JpegFail;
  reader->errors.manager.emit_message = JpegMessage;
  if (setjmp(reader->errors.jump)) InputError(name, reader->errors.message);
  jpeg_create_decompress(&reader->info);
  reader->created = true;
  jpeg_decompress_struct& info = reader->info;
  info.mem->max_memory_to_use = kMaxDecoderMemory;
  reader->progress.progress_monitor = JpegProgress;
  info.progress = &reader->progress;
  jpeg_stdio_src(&info, reader->file.get());
  jpeg_save_markers(&info, JPEG_APP0 + 1, 0xFFFF);
  jpeg_read_header(&info, TRUE);
  // Before jpeg_start_decompress, which takes the memory of a progressive picture.
  CheckSize(name, info.image_width, info.image_height);
  const bool cmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
  info.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
  jpeg_start_decompress(&info);
  const unsigned width = info.output_width, height = info.output_height;
  CheckSize(name, width, height);
  const int orientation = FindOrientation(info);
  const bool turned = orientation >= 5 && orientation <= 8;
  reader->picture = host.NewPicture(turned ? height : width, turned ? width : height);
  const PixelView target = View(reader->picture.Get());

  // Upright pictures decode straight into the host picture; others through one buffer.
  const bool direct = orientation == 1 && !cmyk;
  if (!direct) reader->buffer.resize(static_cast<std::size_t>(width) * height * 3);
  if (cmyk) reader->cmykRow.resize(static_cast<std::size_t>(width) * 4);
  while (info.output_scanline < height) {
    const unsigned y = info.output_scanline;
    unsigned char* row =
        direct ? target.Row(y) : reader->buffer.data() + static_cast<std::size_t>(y) * width * 3;
    JSAMPROW rows[1] = {cmyk ? reader->cmykRow.data() : row};
    jpeg_read_scanlines(&info, rows, 1);
    if (cmyk) CmykToRgb(reader->cmykRow.data(), row, width, info.saw_Adobe_marker);
  }
  jpeg_finish_decompress(&info);
  if (!direct) {
    const cv::Mat source(static_cast<int>(height), static_cast<int>(width), CV_8UC3,
                         reader->buffer.data());
    cv::Mat upright(static_cast<int>(target.height), static_cast<int>(target.width), CV_8UC3,
                    target.first, static_cast<std::size_t>(target.stride));
    ApplyOrientation(source, upright, orientation);
  }
  if (reader->errors.warnings > 0) {
    const std::string warning = "'" + name + "' has corrupt JPEG data (" + reader->errors.warning +
                                "): the picture may be damaged";
    if (options.warn)
      options.warn(warning);
    else
      std::fprintf(stderr, "kelo: warning: %s\n", warning.c_str());
  }
  return std::move(reader->picture);
}

}  // namespace kelo::decoders
