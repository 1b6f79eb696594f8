#include "tests/studio/StudioTestSupport.h"

// clang-format off
#include <cstddef>  // jpeglib.h needs size_t and FILE declared first
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <signal.h>
#include <stdlib.h>

#include <csetjmp>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

namespace studiotest {

RunningStudio::RunningStudio(const std::filesystem::path& dir,
                             const std::vector<std::string>& pictures,
                             const std::vector<std::pair<std::string, std::string>>& extra) {
  // The server keeps its exports under TMPDIR: the scratch folder shows what it leaves behind.
  std::vector<std::pair<std::string, std::string>> environment{{"TMPDIR", dir.string()}};
  environment.insert(environment.end(), extra.begin(), extra.end());
  std::vector<std::pair<std::string, std::optional<std::string>>> saved;
  for (const auto& [name, value] : environment) {
    const char* before = std::getenv(name.c_str());
    saved.emplace_back(name, before ? std::optional<std::string>(before) : std::nullopt);
    setenv(name.c_str(), value.c_str(), 1);
  }
  std::vector<std::string> args{"studio", "--no-open", "--port", "0"};
  args.insert(args.end(), pictures.begin(), pictures.end());
  child_ = apptest::StartKelo(dir, args, false);
  for (auto it = saved.rbegin(); it != saved.rend(); ++it) {
    if (it->second)
      setenv(it->first.c_str(), it->second->c_str(), 1);
    else
      unsetenv(it->first.c_str());
  }
  const std::string prefix = "http://127.0.0.1:";
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < end) {
    // The first line: http://127.0.0.1:PORT/?token=TOKEN
    const std::string out = apptest::ReadFile(child_.out);
    const auto newline = out.find('\n');
    const auto marker = out.find("/?token=");
    if (out.rfind(prefix, 0) == 0 && newline != std::string::npos && marker < newline) {
      port_ = std::atoi(out.substr(prefix.size(), marker - prefix.size()).c_str());
      token_ = out.substr(marker + 8, newline - marker - 8);
      address_ = out.substr(0, newline);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ADD_FAILURE() << "kelo studio printed no address: " << apptest::ReadFile(child_.err);
}

RunningStudio::~RunningStudio() {
  if (!stopped_) Stop();
}

httplib::Client RunningStudio::Client() const {
  httplib::Client client("127.0.0.1", port_);
  client.set_default_headers({{"X-Kelo-Token", token_}});
  client.set_read_timeout(120, 0);
  return client;
}

long RunningStudio::ResidentKiB() const {
  std::ifstream status("/proc/" + std::to_string(child_.pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

apptest::Ending RunningStudio::Stop() {
  stopped_ = true;
  kill(child_.pid, SIGINT);
  return apptest::Finish(child_, std::chrono::seconds(60));
}

Json Body(const httplib::Result& result) {
  if (!result) return nullptr;
  return Json::parse(result->body, nullptr, false);
}

namespace {

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
};

void JpegFail(j_common_ptr info) {
  std::longjmp(reinterpret_cast<JpegErrors*>(info->err)->jump, 1);
}

// Warnings (a file cut short decodes as grey) count as damage.
void JpegWarning(j_common_ptr info, int level) {
  if (level == -1) JpegFail(info);
}

struct Reader {
  jpeg_decompress_struct info{};
  JpegErrors errors{};
  apptest::Image image;
};

}  // namespace

apptest::Image DecodeJpeg(const std::string& bytes) {
  auto reader = std::make_unique<Reader>();
  reader->info.err = jpeg_std_error(&reader->errors.manager);
  reader->errors.manager.error_exit = JpegFail;
  reader->errors.manager.emit_message = JpegWarning;
  jpeg_create_decompress(&reader->info);
  if (setjmp(reader->errors.jump)) {
    jpeg_destroy_decompress(&reader->info);
    return {};
  }
  jpeg_mem_src(&reader->info, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  jpeg_read_header(&reader->info, TRUE);
  reader->info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&reader->info);
  apptest::Image& image = reader->image;
  image.width = reader->info.output_width;
  image.height = reader->info.output_height;
  image.rgb.resize(static_cast<std::size_t>(image.width) * image.height * 3);
  while (reader->info.output_scanline < image.height) {
    JSAMPROW row =
        &image.rgb[static_cast<std::size_t>(reader->info.output_scanline) * image.width * 3];
    jpeg_read_scanlines(&reader->info, &row, 1);
  }
  jpeg_finish_decompress(&reader->info);
  jpeg_destroy_decompress(&reader->info);
  return std::move(reader->image);
}

}  // namespace studiotest
