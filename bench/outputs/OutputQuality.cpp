// How close an animation kelo wrote is to the frames it was made from: decodes an animated WebP
// (libwebp's animation decoder) or a GIF (giflib), takes for each source frame the decoded frame
// shown at its time, and prints the mean and lowest PSNR over RGB.
//
//   kelo_output_quality --fps 30 out.webp 'frames/%03d.png'
#include <gif_lib.h>
#include <png.h>
#include <webp/demux.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct Frame {
  std::vector<unsigned char> rgb;  // packed rows
  long end = 0;                    // milliseconds from the start when the frame stops showing
};

struct Animation {
  unsigned width = 0, height = 0;
  std::vector<Frame> frames;
};

[[noreturn]] void Die(const std::string& message) {
  std::fprintf(stderr, "kelo_output_quality: %s\n", message.c_str());
  std::exit(1);
}

Animation ReadWebP(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  WebPData input{reinterpret_cast<const std::uint8_t*>(data.data()), data.size()};
  WebPAnimDecoderOptions options;
  WebPAnimDecoderOptionsInit(&options);
  options.color_mode = MODE_RGBA;
  WebPAnimDecoder* decoder = WebPAnimDecoderNew(&input, &options);
  if (decoder == nullptr) Die(path + " is not a WebP animation");
  WebPAnimInfo info;
  WebPAnimDecoderGetInfo(decoder, &info);
  Animation animation{info.canvas_width, info.canvas_height, {}};
  const std::size_t pixels = static_cast<std::size_t>(info.canvas_width) * info.canvas_height;
  while (WebPAnimDecoderHasMoreFrames(decoder)) {
    std::uint8_t* rgba = nullptr;
    int timestamp = 0;
    if (!WebPAnimDecoderGetNext(decoder, &rgba, &timestamp)) Die(path + ": a frame is broken");
    Frame frame{std::vector<unsigned char>(pixels * 3), timestamp};
    for (std::size_t i = 0; i < pixels; ++i) std::memcpy(&frame.rgb[i * 3], rgba + i * 4, 3);
    animation.frames.push_back(std::move(frame));
  }
  WebPAnimDecoderDelete(decoder);
  return animation;
}

Animation ReadGif(const std::string& path) {
  int error = 0;
  GifFileType* gif = DGifOpenFileName(path.c_str(), &error);
  if (gif == nullptr || DGifSlurp(gif) != GIF_OK) Die("cannot read " + path);
  Animation animation{static_cast<unsigned>(gif->SWidth), static_cast<unsigned>(gif->SHeight), {}};
  std::vector<unsigned char> canvas(static_cast<std::size_t>(gif->SWidth) * gif->SHeight * 3);
  long end = 0;
  for (int i = 0; i < gif->ImageCount; ++i) {
    const SavedImage& image = gif->SavedImages[i];
    const ColorMapObject* map =
        image.ImageDesc.ColorMap ? image.ImageDesc.ColorMap : gif->SColorMap;
    GraphicsControlBlock control{};
    DGifSavedExtensionToGCB(gif, i, &control);
    for (int y = 0; y < image.ImageDesc.Height; ++y)
      for (int x = 0; x < image.ImageDesc.Width; ++x) {
        const int index = image.RasterBits[y * image.ImageDesc.Width + x];
        if (index == control.TransparentColor) continue;
        const GifColorType colour = map->Colors[index];
        unsigned char* to =
            &canvas[(static_cast<std::size_t>(image.ImageDesc.Top + y) * gif->SWidth +
                     image.ImageDesc.Left + x) *
                    3];
        to[0] = colour.Red;
        to[1] = colour.Green;
        to[2] = colour.Blue;
      }
    end += control.DelayTime * 10L;
    animation.frames.push_back({canvas, end});
  }
  DGifCloseFile(gif, &error);
  return animation;
}

bool ReadPng(const std::string& path, unsigned width, unsigned height,
             std::vector<unsigned char>& rgb) {
  png_image info{};
  info.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&info, path.c_str())) return false;
  info.format = PNG_FORMAT_RGB;
  if (info.width != width || info.height != height) Die(path + " is not of the animation's size");
  rgb.resize(PNG_IMAGE_SIZE(info));
  if (!png_image_finish_read(&info, nullptr, rgb.data(), 0, nullptr))
    Die(path + ": " + info.message);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 || std::strcmp(argv[1], "--fps") != 0)
    Die("usage: kelo_output_quality --fps FPS ANIMATION.webp|.gif 'FRAMES/%03d.png'");
  const double fps = std::atof(argv[2]);
  const std::string path = argv[3];
  const Animation animation =
      path.size() > 4 && path.substr(path.size() - 4) == ".gif" ? ReadGif(path) : ReadWebP(path);
  double sum = 0, lowest = INFINITY;
  long count = 0;
  std::vector<unsigned char> source;
  for (;; ++count) {
    char name[4096];
    std::snprintf(name, sizeof name, argv[4], static_cast<int>(count));
    if (!ReadPng(name, animation.width, animation.height, source)) break;
    // The decoded frame on show when source frame `count` starts.
    const long start = std::lround(static_cast<double>(count) * 1000 / fps);
    std::size_t k = 0;
    while (k + 1 < animation.frames.size() && animation.frames[k].end <= start) ++k;
    if (animation.frames.empty()) Die(path + " has no frames");
    const std::vector<unsigned char>& decoded = animation.frames[k].rgb;
    double squares = 0;
    for (std::size_t i = 0; i < source.size(); ++i) {
      const double d = static_cast<double>(decoded[i]) - source[i];
      squares += d * d;
    }
    const double psnr =
        squares == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * source.size() / squares);
    sum += psnr;
    lowest = std::min(lowest, psnr);
  }
  if (count == 0) Die(std::string("no source frames like ") + argv[4]);
  std::printf("%s: %zu frames, %ld ms, %ld source frames, PSNR mean %.2f dB, lowest %.2f dB\n",
              path.c_str(), animation.frames.size(), animation.frames.back().end, count,
              sum / count, lowest);
  return 0;
}
