// Twenty pages at once scrubbing and changing settings for 30 seconds: no request fails, every
// frame is a whole JPEG of the frame size, and the server's memory stops growing once it has
// warmed up (a leak per frame or per setting would show as steady growth).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>

#include "tests/studio/StudioTestSupport.h"

namespace studiotest {
namespace {

constexpr int kClients = 20;
constexpr auto kDuration = std::chrono::seconds(30);
// Memory is compared between the warmed-up server (seconds 5 to 10) and its last 10 seconds.
constexpr int kWarmSeconds = 5, kBaselineEnd = 10;
constexpr long kAllowedGrowthKiB = 64 * 1024;

struct Tally {
  std::atomic<long> frames{0}, changes{0}, errors{0};
  std::mutex mutex;
  std::vector<std::string> firstErrors;
  void Error(const std::string& what) {
    ++errors;
    std::lock_guard lock(mutex);
    if (firstErrors.size() < 5) firstErrors.push_back(what);
  }
};

// A value to set: one of the choices, a boolean, or a number in the range (or near the value).
std::string SomeValue(const Json& property, std::mt19937& random) {
  if (property.contains("choices")) {
    const auto& choices = property["choices"];
    return choices[random() % choices.size()]["text"];
  }
  if (property["type"] == "boolean") return random() % 2 ? "true" : "false";
  if (property.contains("min")) {
    const int low = property["min"], high = property["max"];
    return std::to_string(low + static_cast<int>(random() % (high - low + 1)));
  }
  if (property["type"] == "double" || property["type"] == "float")
    return std::to_string(0.5 + (random() % 6) * 0.5);
  return std::to_string(1 + random() % 8);
}

void Client(const RunningStudio& studio, const std::vector<std::string>& transitions, int index,
            std::chrono::steady_clock::time_point end, Tally& tally) {
  std::mt19937 random(index);
  auto client = studio.Client();
  const auto check = [&](const httplib::Result& result, const std::string& what) {
    if (result && result->status == 200) return true;
    tally.Error(what + ": " +
                (result ? std::to_string(result->status) + " " + result->body
                        : httplib::to_string(result.error())));
    return false;
  };
  auto opened = client.Post("/api/sessions?transition=" + transitions[index % transitions.size()]);
  if (!opened || opened->status != 201) return tally.Error("open failed");
  Json state = Body(opened);
  const std::string path = "/api/sessions/" + state["session"].get<std::string>();
  for (long k = 0; std::chrono::steady_clock::now() < end; ++k) {
    const double progress = (random() % 1001) / 1000.0;
    auto frame = client.Get(path + "/frame?progress=" + std::to_string(progress));
    if (check(frame, "frame")) {
      const apptest::Image image = DecodeJpeg(frame->body);
      if (image.width != 1920 || image.height != 1080)
        tally.Error("frame of " + std::to_string(image.width) + "x" + std::to_string(image.height));
      ++tally.frames;
    }
    if (k % 3 == 1 && !state["properties"].empty()) {
      const auto& properties = state["properties"];
      const Json& property = properties[random() % properties.size()];
      auto set = client.Post(path + "/property?id=" + std::to_string(property["id"].get<int>()) +
                             "&value=" + SomeValue(property, random));
      if (check(set, "set " + property["name"].get<std::string>())) state = Body(set);
      ++tally.changes;
    }
    if (k % 20 == 19) {
      auto switched =
          client.Post(path + "/transition?name=" + transitions[random() % transitions.size()]);
      if (check(switched, "switch")) state = Body(switched);
    }
  }
  client.Post(path + "/close");
}

TEST(StudioLoad, TwentyPagesScrubbingAndChangingSettings) {
  ScratchFolder folder;
  // Under AddressSanitizer, freed memory waits in a quarantine of 256 MiB before reuse, which
  // alone would look like growth: a small one keeps the comparison about leaks. Other builds
  // ignore the variable.
  const char* asan = std::getenv("ASAN_OPTIONS");
  RunningStudio studio(
      folder.Path(), {},
      {{"ASAN_OPTIONS", std::string(asan ? asan : "") + ":quarantine_size_mb=16"}});
  auto client = studio.Client();
  std::vector<std::string> transitions;
  const Json list = Body(client.Get("/api/transitions"));
  for (const auto& transition : list["transitions"]) transitions.push_back(transition["name"]);
  ASSERT_FALSE(transitions.empty());

  Tally tally;
  const auto start = std::chrono::steady_clock::now();
  const auto end = start + kDuration;
  std::vector<std::thread> clients;
  for (int k = 0; k < kClients; ++k)
    clients.emplace_back(Client, std::cref(studio), std::cref(transitions), k, end,
                         std::ref(tally));
  std::vector<long> resident;  // KiB, once a second
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    resident.push_back(studio.ResidentKiB());
  }
  for (auto& thread : clients) thread.join();

  EXPECT_EQ(tally.errors, 0) << testing::PrintToString(tally.firstErrors);
  EXPECT_GT(tally.frames, kClients);
  EXPECT_GT(tally.changes, 0);
  ASSERT_GE(resident.size(), static_cast<std::size_t>(kBaselineEnd + 10));
  const long warm =
      *std::max_element(resident.begin() + kWarmSeconds, resident.begin() + kBaselineEnd);
  const long late = *std::max_element(resident.end() - 10, resident.end());
  std::printf(
      "%ld frames and %ld setting changes in %lld s; resident memory warm %ld MiB, late %ld MiB\n",
      tally.frames.load(), tally.changes.load(), static_cast<long long>(kDuration.count()),
      warm / 1024, late / 1024);
  EXPECT_LE(late, warm + kAllowedGrowthKiB) << "resident MiB each second: " << [&] {
    std::string series;
    for (long kib : resident) series += std::to_string(kib / 1024) + " ";
    return series;
  }();
  const auto ending = studio.Stop();
  EXPECT_EQ(ending.code, 0) << ending.err;
}

}  // namespace
}  // namespace studiotest
