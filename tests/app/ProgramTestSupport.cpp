#include "tests/app/ProgramTestSupport.h"

#include <gif_lib.h>
#include <jpeglib.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>
#include <webp/demux.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace apptest {

std::string Capture(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) out += buffer;
    pclose(pipe);
  }
  return out;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

void WritePng(const std::filesystem::path& path, const Image& image, unsigned format) {
  png_image info{};
  info.version = PNG_IMAGE_VERSION;
  info.width = image.width;
  info.height = image.height;
  info.format = format;
  const std::size_t pixels = static_cast<std::size_t>(image.width) * image.height;
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint8_t> colourMap;
  if (format == PNG_FORMAT_RGB || format == PNG_FORMAT_GRAY || format == PNG_FORMAT_RGBA) {
    // Grey takes the red byte; alpha is opaque.
    for (std::size_t i = 0; i < pixels; ++i)
      for (unsigned c = 0; c < PNG_IMAGE_PIXEL_CHANNELS(format); ++c)
        bytes.push_back(c == 3 ? 255 : image.rgb[i * 3 + c]);
  } else if (format == PNG_FORMAT_LINEAR_Y) {
    // 16-bit linear grey: the sRGB byte v becomes its linear value scaled to 65535.
    for (std::size_t i = 0; i < pixels; ++i) {
      const double v = image.rgb[i * 3] / 255.0;
      const double linear = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
      const auto value = static_cast<std::uint16_t>(linear * 65535 + 0.5);
      bytes.push_back(static_cast<std::uint8_t>(value & 0xFF));
      bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
  } else if (format == PNG_FORMAT_RGB_COLORMAP) {
    // A palette of the picture's distinct colours (at most 256).
    for (std::size_t i = 0; i < pixels; ++i) {
      std::size_t entry = 0;
      while (entry * 3 < colourMap.size() &&
             !std::equal(&colourMap[entry * 3], &colourMap[entry * 3] + 3, &image.rgb[i * 3]))
        ++entry;
      if (entry * 3 == colourMap.size())
        colourMap.insert(colourMap.end(), &image.rgb[i * 3], &image.rgb[i * 3] + 3);
      bytes.push_back(static_cast<std::uint8_t>(entry));
    }
    info.colormap_entries = static_cast<png_uint_32>(colourMap.size() / 3);
  }
  ASSERT_TRUE(png_image_write_to_file(&info, path.c_str(), 0, bytes.data(), 0,
                                      colourMap.empty() ? nullptr : colourMap.data()))
      << info.message;
}

void WriteJpeg(const std::filesystem::path& path, const Image& image, int orientation,
               bool progressive) {
  FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, file);
  info.image_width = image.width;
  info.image_height = image.height;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 95, TRUE);
  if (progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  if (orientation != 0) {
    // "Exif\0\0", a big-endian TIFF header, one directory with the Orientation entry.
    const std::uint8_t exif[] = {
        'E', 'x', 'i', 'f',  0,    0, 'M', 'M', 0, 42, 0, 0, 0,
        8,   0,   1,   0x01, 0x12, 0, 3,   0,   0, 0,  1, 0, static_cast<std::uint8_t>(orientation),
        0,   0,   0,   0,    0,    0};
    jpeg_write_marker(&info, JPEG_APP0 + 1, exif, sizeof exif);
  }
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<std::uint8_t*>(
        &image.rgb[static_cast<std::size_t>(info.next_scanline) * image.width * 3]);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::fclose(file);
}

void WriteRawPng(const std::filesystem::path& path, unsigned width, unsigned height, int bitDepth,
                 int colourType, const std::vector<std::uint8_t>& samples) {
  FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, width, height, bitDepth, colourType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const std::size_t rowBytes = samples.size() / height;
  for (unsigned y = 0; y < height; ++y)
    png_write_row(png, const_cast<std::uint8_t*>(&samples[y * rowBytes]));
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

Image ReadPng(const std::filesystem::path& path) {
  png_image info{};
  info.version = PNG_IMAGE_VERSION;
  Image image;
  if (!png_image_begin_read_from_file(&info, path.c_str())) {
    ADD_FAILURE() << "cannot read " << path << ": " << info.message;
    return image;
  }
  info.format = PNG_FORMAT_RGB;
  image.width = info.width;
  image.height = info.height;
  image.rgb.resize(PNG_IMAGE_SIZE(info));
  if (!png_image_finish_read(&info, nullptr, image.rgb.data(), 0, nullptr))
    ADD_FAILURE() << info.message;
  return image;
}

std::vector<Image> ReadWebP(const std::filesystem::path& path, std::vector<int>* ends) {
  const std::string data = ReadFile(path);
  WebPData input{reinterpret_cast<const std::uint8_t*>(data.data()), data.size()};
  WebPAnimDecoderOptions options;
  WebPAnimDecoderOptionsInit(&options);
  options.color_mode = MODE_RGBA;
  std::vector<Image> frames;
  WebPAnimDecoder* decoder = WebPAnimDecoderNew(&input, &options);
  if (decoder == nullptr) {
    ADD_FAILURE() << path << " is not a WebP animation";
    return frames;
  }
  WebPAnimInfo info;
  WebPAnimDecoderGetInfo(decoder, &info);
  while (WebPAnimDecoderHasMoreFrames(decoder)) {
    std::uint8_t* rgba = nullptr;
    int timestamp = 0;
    if (!WebPAnimDecoderGetNext(decoder, &rgba, &timestamp)) break;
    Image frame{info.canvas_width, info.canvas_height, {}};
    for (std::size_t i = 0; i < static_cast<std::size_t>(info.canvas_width) * info.canvas_height;
         ++i)
      frame.rgb.insert(frame.rgb.end(), rgba + i * 4, rgba + i * 4 + 3);
    frames.push_back(std::move(frame));
    if (ends != nullptr) ends->push_back(timestamp);
  }
  WebPAnimDecoderDelete(decoder);
  return frames;
}

std::vector<Image> ReadGifFrames(const std::filesystem::path& path, std::vector<int>* delays) {
  std::vector<Image> frames;
  int error = 0;
  GifFileType* gif = DGifOpenFileName(path.c_str(), &error);
  if (gif == nullptr || DGifSlurp(gif) != GIF_OK) {
    ADD_FAILURE() << "cannot read " << path;
    if (gif != nullptr) DGifCloseFile(gif, &error);
    return frames;
  }
  Image canvas{static_cast<unsigned>(gif->SWidth), static_cast<unsigned>(gif->SHeight), {}};
  canvas.rgb.resize(static_cast<std::size_t>(canvas.width) * canvas.height * 3);
  for (int i = 0; i < gif->ImageCount; ++i) {
    const SavedImage& image = gif->SavedImages[i];
    const GifImageDesc& at = image.ImageDesc;
    const ColorMapObject* map = at.ColorMap != nullptr ? at.ColorMap : gif->SColorMap;
    GraphicsControlBlock control{};
    DGifSavedExtensionToGCB(gif, i, &control);
    for (int y = 0; y < at.Height; ++y)
      for (int x = 0; x < at.Width; ++x) {
        const int index = image.RasterBits[y * at.Width + x];
        if (index == control.TransparentColor || map == nullptr || index >= map->ColorCount)
          continue;
        const GifColorType c = map->Colors[index];
        std::uint8_t* to =
            &canvas.rgb[(static_cast<std::size_t>(at.Top + y) * canvas.width + at.Left + x) * 3];
        to[0] = c.Red;
        to[1] = c.Green;
        to[2] = c.Blue;
      }
    frames.push_back(canvas);
    if (delays != nullptr) delays->push_back(control.DelayTime);
  }
  DGifCloseFile(gif, &error);
  return frames;
}

Clip ReadGif(const std::filesystem::path& path) {
  std::vector<int> delays;
  const std::vector<Image> frames = ReadGifFrames(path, &delays);
  if (frames.empty()) return {};
  Clip clip{static_cast<int>(frames.size()), frames[0].width, frames[0].height};
  for (int delay : delays) clip.hundredths += delay;
  return clip;
}

bool HaveProgram(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

Clip ProbeVideo(const std::filesystem::path& path) {
  const std::string out = Capture(
      "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
      "stream=nb_read_frames,width,height -of csv=p=0 '" +
      path.string() + "'");
  Clip clip;
  std::sscanf(out.c_str(), "%u,%u,%d", &clip.width, &clip.height, &clip.frames);
  return clip;
}

int MaxDifference(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height || a.rgb.size() != b.rgb.size()) return 256;
  int most = 0;
  for (std::size_t i = 0; i < a.rgb.size(); ++i)
    most = std::max(most, std::abs(a.rgb[i] - b.rgb[i]));
  return most;
}

double Psnr(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height || a.rgb.size() != b.rgb.size()) return 0;
  double squares = 0;
  for (std::size_t i = 0; i < a.rgb.size(); ++i) {
    const double d = static_cast<double>(a.rgb[i]) - b.rgb[i];
    squares += d * d;
  }
  return squares == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * a.rgb.size() / squares);
}

void ProgramTest::SetUp() {
  ASSERT_FALSE(dir_.empty());
  a_ = MakeImage(48, 32, Warm);
  b_ = MakeImage(48, 32, Cool);
  WritePng(Path("a.png"), a_, PNG_FORMAT_RGB);
  WritePng(Path("b.png"), b_, PNG_FORMAT_RGB);
}

void ProgramTest::WriteCutJpeg(const std::string& name) const {
  WriteJpeg(Path("whole.jpg"), MakeImage(64, 64, Warm));
  const std::string whole = ReadFile(Path("whole.jpg"));
  Write(name, whole.substr(0, whole.size() / 2));
  std::filesystem::remove(Path("whole.jpg"));
}

Result ProgramTest::Run(const std::string& args, const std::string& environment) {
  const auto out = dir_ / ".stdout", err = dir_ / ".stderr";
  const std::string command = "cd '" + dir_.string() + "' && " + environment +
                              " '" KELO_PROGRAM "' " + args + " >'" + out.string() + "' 2>'" +
                              err.string() + "' </dev/null";
  const int status = std::system(command.c_str());
  Result result;
  result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.out = ReadFile(out);
  result.err = ReadFile(err);
  std::filesystem::remove(out);
  std::filesystem::remove(err);
  return result;
}

void ProgramTest::Succeeds(const std::string& args) {
  const Result result = Run(args);
  EXPECT_EQ(result.code, 0) << args << "\n" << result.err;
}

void ProgramTest::ExpectFailure(const std::string& args, int code, const std::string& message,
                                const std::string& environment) {
  SCOPED_TRACE(args);
  const std::vector<std::string> inputs = Files();
  const Result result = Run(args, environment);
  EXPECT_EQ(result.code, code) << result.err;
  EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_EQ(result.err.rfind("kelo: error: ", 0), 0u) << result.err;
  EXPECT_EQ(Files(), inputs);
}

Image ProgramTest::RunPng(const std::string& args, const std::string& output) {
  Succeeds(args + " -o " + output);
  return ReadPng(Path(output));
}

std::vector<std::string> ProgramTest::Files() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_))
    if (entry.is_regular_file())
      names.push_back(std::filesystem::relative(entry.path(), dir_).string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace apptest
