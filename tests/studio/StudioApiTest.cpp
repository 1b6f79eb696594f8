// The studio's HTTP interface against the running program: what each route answers, and that
// every bad request is refused with a JSON error and changes nothing.
#include <gtest/gtest.h>
#include <png.h>
#include <signal.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "tests/studio/StudioTestSupport.h"

namespace studiotest {
namespace {

using apptest::Image;

std::string Encoded(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.') {
      out += static_cast<char>(c);
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", c);
      out += escape;
    }
  }
  return out;
}

std::string Query(std::string path,
                  const std::vector<std::pair<std::string, std::string>>& params) {
  char separator = '?';
  for (const auto& [key, value] : params) {
    path += separator + key + "=" + Encoded(value);
    separator = '&';
  }
  return path;
}

// The status and the error message of a refused request.
void ExpectRefused(const httplib::Result& result, int status, const std::string& words) {
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, status) << result->body;
  const Json body = Body(result);
  ASSERT_TRUE(body.is_object() && body.contains("error")) << result->body;
  EXPECT_NE(body["error"].get<std::string>().find(words), std::string::npos) << result->body;
}

const Json& PropertyNamed(const Json& state, const std::string& name) {
  for (const auto& property : state["properties"])
    if (property["name"] == name) return property;
  static const Json none;
  ADD_FAILURE() << "no property " << name << " in " << state.dump();
  return none;
}

class StudioApi : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = new ScratchFolder;
    studio_ = new RunningStudio(folder_->Path());
  }
  static void TearDownTestSuite() {
    const auto ending = studio_->Stop();
    EXPECT_EQ(ending.code, 0) << ending.err;
    delete studio_;
    delete folder_;
  }

  httplib::Client Client() const { return studio_->Client(); }
  std::filesystem::path Folder() const { return folder_->Path(); }

  Json Open(httplib::Client& client, const std::string& transition) {
    auto result = client.Post(Query("/api/sessions", {{"transition", transition}}));
    EXPECT_TRUE(result && result->status == 201) << (result ? result->body : "no answer");
    return Body(result);
  }
  std::string SessionPath(const Json& state, const std::string& what = "") {
    return "/api/sessions/" + state["session"].get<std::string>() + what;
  }
  Json Set(httplib::Client& client, const Json& state, const std::string& id,
           const std::string& value, int status = 200) {
    auto result =
        client.Post(Query(SessionPath(state, "/property"), {{"id", id}, {"value", value}}));
    EXPECT_TRUE(result && result->status == status) << (result ? result->body : "no answer");
    return Body(result);
  }
  std::string Frame(httplib::Client& client, const Json& state, double progress) {
    auto result =
        client.Get(Query(SessionPath(state, "/frame"), {{"progress", std::to_string(progress)}}));
    EXPECT_TRUE(result && result->status == 200) << (result ? result->body : "no answer");
    EXPECT_EQ(result->get_header_value("Content-Type"), "image/jpeg");
    return result ? result->body : "";
  }
  Json Current(httplib::Client& client, const Json& state) {
    return Body(client.Get(SessionPath(state)));
  }

  static ScratchFolder* folder_;
  static RunningStudio* studio_;
};
ScratchFolder* StudioApi::folder_ = nullptr;
RunningStudio* StudioApi::studio_ = nullptr;

// Another page, another site or a rebound name must not reach the server, nor anyone without
// the token.
TEST_F(StudioApi, RefusesAnythingButItsOwnPage) {
  httplib::Client bare("127.0.0.1", studio_->Port());
  const std::string token = studio_->Token();
  ExpectRefused(bare.Get("/api/transitions"), 401, "token");
  ExpectRefused(bare.Get("/"), 401, "token");
  ExpectRefused(bare.Get("/api/transitions?token=" + std::string(token.size(), '0')), 401, "token");
  ExpectRefused(bare.Get("/api/transitions?token=" + token.substr(1)), 401, "token");
  ExpectRefused(bare.Post("/api/sessions?transition=cover"), 401, "token");
  const std::string port = std::to_string(studio_->Port());
  for (const httplib::Headers& headers : {httplib::Headers{{"Host", "attacker.example:" + port}},
                                          {{"Host", "127.0.0.1:1"}},
                                          {{"Origin", "http://attacker.example"}},
                                          {{"Origin", "null"}}})
    ExpectRefused(bare.Get("/api/transitions?token=" + token, headers), 403, "127.0.0.1");
  ExpectRefused(
      bare.Post("/api/sessions?transition=cover&token=" + token,
                httplib::Headers{{"Origin", "http://127.0.0.1:" + port + ".attacker.example"}}),
      403, "127.0.0.1");

  auto own = bare.Get("/api/transitions?token=" + token, {{"Origin", "http://127.0.0.1:" + port}});
  ASSERT_TRUE(own);
  EXPECT_EQ(own->status, 200);
  auto viaHeader =
      bare.Get("/api/transitions", {{"X-Kelo-Token", token}, {"Host", "localhost:" + port}});
  ASSERT_TRUE(viaHeader);
  EXPECT_EQ(viaHeader->status, 200);

  // The page names its scripts with the token, and they are served.
  auto page = bare.Get("/?token=" + token);
  ASSERT_TRUE(page && page->status == 200);
  EXPECT_NE(page->body.find("app.js?token=" + token), std::string::npos);
  auto script = bare.Get("/app.js?token=" + token);
  ASSERT_TRUE(script && script->status == 200);
  EXPECT_NE(script->body.find("/api/sessions"), std::string::npos);
  ExpectRefused(bare.Get("/nothing.js?token=" + token), 404, "no such");
}

TEST_F(StudioApi, ListsTransitionsAndRendersFramesAndThumbnails) {
  auto client = Client();
  const Json list = Body(client.Get("/api/transitions"));
  ASSERT_TRUE(list.is_object()) << list.dump();
  std::vector<std::string> names;
  for (const auto& transition : list["transitions"]) names.push_back(transition["name"]);
  const auto listed = apptest::RunKelo(Folder(), {"list", "--names"});
  std::string expected;
  for (const auto& name : names) expected += name + "\n";
  EXPECT_EQ(listed.out, expected);
  EXPECT_EQ(list["width"], 1920);
  EXPECT_EQ(list["height"], 1080);

  const Json state = Open(client, "cover");
  EXPECT_EQ(state["transition"], "CoverTransition");
  const Image start = DecodeJpeg(Frame(client, state, 0)),
              middle = DecodeJpeg(Frame(client, state, 0.5));
  EXPECT_EQ(start.width, 1920u);
  EXPECT_EQ(start.height, 1080u);
  EXPECT_EQ(middle.width, 1920u);
  EXPECT_GT(apptest::MaxDifference(start, middle), 100);

  for (const auto& name : names) {
    auto thumb = client.Get(Query(
        "/api/thumbnail", {{"transition", name}, {"from", "0"}, {"to", "1"}, {"progress", "0.5"}}));
    ASSERT_TRUE(thumb);
    ASSERT_EQ(thumb->status, 200) << name << ": " << thumb->body;
    const Image small = DecodeJpeg(thumb->body);
    EXPECT_EQ(small.width, 160u) << name;
    EXPECT_EQ(small.height, 90u) << name;
  }

  for (const char* progress : {"-0.1", "1.5", "nan", "inf", "0.5x", "", "1e999"})
    ExpectRefused(client.Get(SessionPath(state, "/frame?progress=") + Encoded(progress)), 400,
                  "progress");
  ExpectRefused(client.Get(SessionPath(state, "/frame")), 400, "missing");
  ExpectRefused(client.Get("/api/sessions/0123abcd/frame?progress=0.5"), 404, "session");
  ExpectRefused(client.Get("/api/sessions/not-hex/frame?progress=0.5"), 404, "no such");
  ExpectRefused(client.Post("/api/sessions?transition=NoSuchEffect"), 404, "unknown transition");
  ExpectRefused(client.Post(SessionPath(state, "/transition?name=NoSuchEffect")), 404,
                "unknown transition");
  ExpectRefused(client.Get("/api/thumbnail?transition=cover&from=0&to=99&progress=0"), 404,
                "picture");
  ExpectRefused(client.Post(SessionPath(state, "/pictures?from=0&to=-1")), 404, "picture");
  ExpectRefused(client.Post(SessionPath(state, "/pictures?from=0&to=x")), 400, "whole number");
  EXPECT_EQ(Current(client, state)["transition"], "CoverTransition");
}

TEST_F(StudioApi, PropertiesAreTheEffectsOwnAndChangeTheFrame) {
  auto client = Client();
  const Json state = Open(client, "CoverTransition");
  const Json& direction = PropertyNamed(state, "Direction");
  EXPECT_EQ(direction["type"], "choice");
  std::vector<std::string> choices;
  for (const auto& choice : direction["choices"]) choices.push_back(choice["text"]);
  EXPECT_EQ(choices, (std::vector<std::string>{"Top", "Right", "Bottom", "Left"}));
  const std::string id = std::to_string(direction["id"].get<int>());

  const std::string before = Frame(client, state, 0.5);
  EXPECT_EQ(PropertyNamed(Set(client, state, id, "Left"), "Direction")["value"], 3);
  const std::string after = Frame(client, state, 0.5);
  EXPECT_NE(before, after);
  EXPECT_EQ(PropertyNamed(Set(client, state, "Direction", "1"), "Direction")["text"], "Right");

  // Refused, and nothing changes.
  const struct {
    std::vector<std::pair<std::string, std::string>> params;
    int status;
    std::string words;
  } refusals[] = {{{{"id", "99"}, {"value", "1"}}, 404, "no setting '99'"},
                  {{{"id", "-1"}, {"value", "1"}}, 404, "no setting"},
                  {{{"id", id}, {"value", "7"}}, 400, "expected one of"},
                  {{{"id", id}, {"value", "Sideways"}}, 400, "expected one of"},
                  {{{"id", id}}, 400, "missing"}};
  for (const auto& [params, status, words] : refusals)
    ExpectRefused(client.Post(Query(SessionPath(state, "/property"), params)), status, words);
  EXPECT_EQ(PropertyNamed(Current(client, state), "Direction")["text"], "Right");

  // Another page's effect is its own.
  const Json other = Open(client, "CoverTransition");
  EXPECT_EQ(PropertyNamed(other, "Direction")["text"], "Top");

  // Doubles travel as numbers.
  const Json twirl = Open(client, "TwirlTransition");
  const std::string revolutions =
      std::to_string(PropertyNamed(twirl, "Revolutions")["id"].get<int>());
  EXPECT_DOUBLE_EQ(PropertyNamed(Set(client, twirl, revolutions, "2.5"), "Revolutions")["value"],
                   2.5);
  ExpectRefused(
      client.Post(Query(SessionPath(twirl, "/property"), {{"id", revolutions}, {"value", "fast"}})),
      400, "fast");
  EXPECT_DOUBLE_EQ(PropertyNamed(Current(client, twirl), "Revolutions")["value"], 2.5);
}

TEST_F(StudioApi, RandomizeIsTheEffectsOwn) {
  auto client = Client();
  const Json state = Open(client, "CoverTransition");
  const Json first = state["properties"];
  bool changed = false;
  for (int attempt = 0; attempt < 40 && !changed; ++attempt) {
    auto result = client.Post(SessionPath(state, "/randomize"));
    ASSERT_TRUE(result && result->status == 200);
    changed = Body(result)["properties"] != first;
    EXPECT_EQ(Current(client, state)["properties"], Body(result)["properties"]);
  }
  EXPECT_TRUE(changed) << "40 draws of Randomize left every setting as it was";
  ExpectRefused(client.Post(SessionPath(Open(client, "DissolveTransition"), "/randomize")), 409,
                "cannot randomize");
}

TEST_F(StudioApi, SavesAndLoadsTheSettingsFilesKeloReads) {
  auto client = Client();
  const Json state = Open(client, "CoverTransition");
  Set(client, state, "Direction", "Left");
  auto saved = client.Post(SessionPath(state, "/save?file=cover.xml"));
  ASSERT_TRUE(saved && saved->status == 200) << saved->body;
  EXPECT_EQ(Body(saved)["saved"], "cover.xml");
  ASSERT_TRUE(std::filesystem::exists(Folder() / "cover.xml"));
  EXPECT_NE(apptest::ReadFile(Folder() / "cover.xml").find("<Direction>3</Direction>"),
            std::string::npos);
  // kelo itself reads it.
  apptest::WritePng(Folder() / "a.png", apptest::MakeImage(32, 16, apptest::Warm), PNG_FORMAT_RGB);
  const auto read =
      apptest::RunKelo(Folder(), {"frame", "--from", "a.png", "--to", "a.png", "-t", "cover",
                                  "--settings", "cover.xml", "-o", "out.png"});
  EXPECT_EQ(read.code, 0) << read.err;

  const Json fresh = Open(client, "CoverTransition");
  auto loaded = client.Post(SessionPath(fresh, "/load?file=cover.xml"));
  ASSERT_TRUE(loaded && loaded->status == 200) << loaded->body;
  EXPECT_EQ(PropertyNamed(Body(loaded), "Direction")["text"], "Left");
  auto listed = Body(client.Get("/api/settings-files"));
  EXPECT_NE(std::find(listed["files"].begin(), listed["files"].end(), "cover.xml"),
            listed["files"].end());

  // Refused, and nothing changes: paths outside the folder, other names, missing and bad files.
  const std::filesystem::path outside =
      Folder().parent_path() / (Folder().filename().string() + "-outside.xml");
  std::filesystem::create_directory(Folder() / "sub");
  std::filesystem::create_symlink(outside, Folder() / "sub" / "link.xml");
  for (const std::string name :
       {"../escape.xml", "/etc/passwd.xml", "sub/../../escape.xml", "sub/link.xml"}) {
    ExpectRefused(client.Post(Query(SessionPath(fresh, "/save"), {{"file", name}})), 403,
                  "outside the working folder");
    ExpectRefused(client.Post(Query(SessionPath(fresh, "/load"), {{"file", name}})), 403,
                  "outside the working folder");
  }
  EXPECT_FALSE(std::filesystem::exists(outside));
  ExpectRefused(client.Post(SessionPath(fresh, "/save?file=notes.txt")), 400, ".xml");
  ExpectRefused(client.Post(SessionPath(fresh, "/save?file=")), 400, "name");
  ExpectRefused(client.Post(SessionPath(fresh, "/load?file=missing.xml")), 404, "missing.xml");
  apptest::WriteFile(Folder() / "bad.xml", "<KeloData><Direction>Sideways</Direction></KeloData>");
  ExpectRefused(client.Post(SessionPath(fresh, "/load?file=bad.xml")), 400, "Sideways");
  apptest::WriteFile(Folder() / "broken.xml", "<KeloData><Direction>");
  ExpectRefused(client.Post(SessionPath(fresh, "/load?file=broken.xml")), 400, "broken.xml");
  EXPECT_EQ(PropertyNamed(Current(client, fresh), "Direction")["text"], "Left");
}

TEST_F(StudioApi, ExportsClipsForDownload) {
  auto client = Client();
  const Json state = Open(client, "CoverTransition");
  const auto run = [&](const std::string& format) {
    auto started = client.Post(Query(SessionPath(state, "/export"),
                                     {{"format", format}, {"duration", "0.4"}, {"fps", "10"}}));
    EXPECT_TRUE(started && started->status == 202) << (started ? started->body : "");
    const std::string id = Body(started)["export"];
    Json job;
    for (int wait = 0; wait < 600; ++wait) {
      job = Body(client.Get("/api/exports/" + id));
      if (job["state"] != "running") break;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(job["state"], "done") << job.dump();
    EXPECT_EQ(job["done"], 4);
    auto file = client.Get("/api/exports/" + id + "/file");
    EXPECT_TRUE(file && file->status == 200);
    const auto path = Folder() / ("export." + format);
    apptest::WriteFile(path, file ? file->body : "");
    return path;
  };
  EXPECT_EQ(apptest::ReadWebP(run("webp")).size(), 4u);
  EXPECT_EQ(apptest::ReadGif(run("gif")), (apptest::Clip{4, 1920, 1080, 40}));
  if (apptest::HaveProgram("ffmpeg") && apptest::HaveProgram("ffprobe")) {
    EXPECT_EQ(apptest::ProbeVideo(run("mp4")), (apptest::Clip{4, 1920, 1080, 0}));
  }

  for (const auto& [query, words] : {std::pair{"format=avi&duration=1&fps=10", "avi"},
                                     {"format=gif&duration=0&fps=10", "duration"},
                                     {"format=gif&duration=1&fps=1000", "fps"}})
    ExpectRefused(client.Post(SessionPath(state, "/export?") + query), 400, words);
  ExpectRefused(client.Post("/api/sessions/abc/export?format=gif&duration=1&fps=10"), 404,
                "session");
  ExpectRefused(client.Get("/api/exports/999"), 404, "999");
  ExpectRefused(client.Get("/api/exports/999/file"), 404, "999");
}

TEST_F(StudioApi, TakesUploadedPicturesDecodedByKelo) {
  auto client = Client();
  const Json state = Open(client, "DissolveTransition");
  const auto upload = [&](const std::string& bytes, const std::string& name) {
    return client.Post(Query("/api/pictures", {{"name", name}}), bytes, "application/octet-stream");
  };
  // A red and blue picture of 4:3 lands in the middle of the 16:9 frame with bars beside it.
  apptest::WritePng(Folder() / "halves.png", apptest::Halves(64, 48), PNG_FORMAT_RGB);
  auto added = upload(apptest::ReadFile(Folder() / "halves.png"), "halves.png");
  ASSERT_TRUE(added && added->status == 201) << added->body;
  const int id = Body(added)["id"];
  auto chosen = client.Post(
      Query(SessionPath(state, "/pictures"), {{"from", "0"}, {"to", std::to_string(id)}}));
  ASSERT_TRUE(chosen && chosen->status == 200) << chosen->body;
  const Image shown = DecodeJpeg(Frame(client, state, 1));
  EXPECT_GT(shown.At(700, 540).r, 200);
  EXPECT_GT(shown.At(1220, 540).b, 200);
  EXPECT_LT(shown.At(100, 540).r + shown.At(1820, 540).b, 40);
  bool listed = false;
  const Json pictures = Body(client.Get("/api/pictures"));
  for (const auto& picture : pictures["pictures"])
    listed |= picture["id"] == id && picture["name"] == "halves.png";
  EXPECT_TRUE(listed);

  ExpectRefused(upload("not a picture at all", "x.png"), 400, "not a PNG or JPEG");
  ExpectRefused(upload("", "x.png"), 400, "empty");
  std::string truncated = apptest::ReadFile(Folder() / "halves.png");
  truncated.resize(truncated.size() / 2);
  ExpectRefused(upload(truncated, "half.png"), 400, "half.png");
  // A header announcing a huge picture (its checksum right) is refused by kelo's size limit.
  std::string huge = apptest::ReadFile(Folder() / "halves.png");
  huge[16] = huge[20] = 0x7f;
  const auto crc = crc32(0, reinterpret_cast<const Bytef*>(huge.data() + 12), 17);
  for (int k = 0; k < 4; ++k) huge[29 + k] = static_cast<char>(crc >> (24 - 8 * k));
  ExpectRefused(upload(huge, "huge.png"), 400, "picture size");
  ExpectRefused(upload(std::string((32u << 20) + 1, 'x'), "big.png"), 413, "too large");
  EXPECT_EQ(Current(client, state)["to"], id);
}

// Scrubbing asks for frames faster than they come: of the requests of one page waiting together,
// only the latest is rendered and the others are answered 409 at once, and the latest always is.
TEST_F(StudioApi, TheLatestFrameRequestWins) {
  auto client = Client();
  // The slowest transition, so that requests sent together wait behind one another.
  const Json state = Open(client, "DeformTransition");
  int superseded = 0;
  for (int round = 0; round < 10 && superseded == 0; ++round) {
    std::vector<int> statuses(6);
    std::vector<std::thread> requests;
    for (std::size_t k = 0; k < statuses.size(); ++k)
      requests.emplace_back([&, k] {
        auto page = Client();
        auto result = page.Get(SessionPath(state, "/frame?progress=0.") + std::to_string(k + 1));
        statuses[k] = result ? result->status : -1;
      });
    for (auto& request : requests) request.join();
    EXPECT_NE(std::count(statuses.begin(), statuses.end(), 200), 0)
        << testing::PrintToString(statuses);
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), 200) +
                  std::count(statuses.begin(), statuses.end(), 409),
              6)
        << testing::PrintToString(statuses);
    superseded += std::count(statuses.begin(), statuses.end(), 409);
  }
  EXPECT_GT(superseded, 0) << "every frame requested together was rendered";
}

// Ctrl-C stops the server at once and leaves no file of its own behind.
TEST(StudioStop, InterruptStopsCleanly) {
  ScratchFolder folder;
  RunningStudio studio(folder.Path());
  auto client = studio.Client();
  auto state = Body(client.Post("/api/sessions?transition=cover"));
  auto started = client.Post("/api/sessions/" + state["session"].get<std::string>() +
                             "/export?format=webp&duration=0.2&fps=10");
  ASSERT_TRUE(started && started->status == 202);
  const auto ending = studio.Stop();
  EXPECT_EQ(ending.code, 0) << ending.err;
  EXPECT_NE(ending.err.find("studio stopped"), std::string::npos) << ending.err;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
    EXPECT_EQ(entry.path().filename().string().rfind("kelo-studio", 0), std::string::npos)
        << entry.path();
}

// Mistakes on the command line end kelo studio with kelo's messages and exit codes.
TEST(StudioStop, RefusesBadPicturesAndPorts) {
  ScratchFolder folder;
  const auto missing = apptest::RunKelo(folder.Path(), {"studio", "--no-open", "missing.png"});
  EXPECT_EQ(missing.code, 3) << missing.err;
  EXPECT_NE(missing.err.find("missing.png"), std::string::npos) << missing.err;
  const auto port = apptest::RunKelo(folder.Path(), {"studio", "--no-open", "--port", "70000"});
  EXPECT_EQ(port.code, 2) << port.err;
  RunningStudio first(folder.Path());
  const auto taken = apptest::RunKelo(
      folder.Path(), {"studio", "--no-open", "--port", std::to_string(first.Port())});
  EXPECT_EQ(taken.code, 1) << taken.err;
  EXPECT_NE(taken.err.find("cannot listen on 127.0.0.1:" + std::to_string(first.Port())),
            std::string::npos)
      << taken.err;
}

}  // namespace
}  // namespace studiotest

namespace studiotest {
namespace {

// The time from a property change to the new preview frame at 1920x1080, as the page sees it
// (the change's answer, then the frame rendered, encoded and received), for every transition: the
// median of seven. Transitions without settings are timed for the frame alone. Printed, not
// judged: the sanitizer build and a busy machine take longer; each frame must be whole.
TEST_F(StudioApi, PropertyChangeToNewFrameAt1080p) {
  auto client = Client();
  const Json list = Body(client.Get("/api/transitions"));
  for (const auto& transition : list["transitions"]) {
    const Json state = Open(client, transition["name"]);
    // A choice, or else a number, switched between two values.
    const Json* property = nullptr;
    for (const auto& candidate : state["properties"])
      if (candidate.contains("choices") && candidate["choices"].size() > 1) property = &candidate;
    for (const auto& candidate : state["properties"])
      if (property == nullptr && candidate["value"].is_number()) property = &candidate;
    const auto value = [&](int k) -> std::string {
      if (property->contains("choices")) return (*property)["choices"][k % 2]["text"];
      return k % 2 ? "2" : "1";
    };
    std::vector<double> times;
    for (int k = 0; k < 7; ++k) {
      const auto start = std::chrono::steady_clock::now();
      if (property != nullptr)
        Set(client, state, std::to_string((*property)["id"].get<int>()), value(k));
      const Image frame = DecodeJpeg(Frame(client, state, 0.4));
      times.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
              .count());
      EXPECT_EQ(frame.width, 1920u) << transition["name"];
      EXPECT_EQ(frame.height, 1080u) << transition["name"];
    }
    std::sort(times.begin(), times.end());
    std::printf("%-28s %6.1f ms  %s\n", transition["name"].get<std::string>().c_str(), times[3],
                property ? ("after a change of " + (*property)["name"].get<std::string>()).c_str()
                         : "frame alone (no settings)");
  }
}

}  // namespace
}  // namespace studiotest
