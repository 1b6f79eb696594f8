// Settings files built to hurt: too large, too deep, entities, wrong roots and values, and
// --save-settings aimed at an input. Each is refused with one line naming the reason, nothing
// is written, and good files load in linear time.
#include <unistd.h>

#include <chrono>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

constexpr int kUsage = 2, kInput = 3, kOutput = 4;

class SettingsFilesTest : public ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    if (Run("list --names").out.find("CoverTransition\n") == std::string::npos)
      GTEST_SKIP() << "no CoverTransition in this build";
  }
  const std::string frame_ = "frame --from a.png --to b.png -t CoverTransition ";
};

// Catches: a file of any size or depth read (and parsed in quadratic time), a folder, a missing
// folder or an entity declaration refused without saying why, or entities expanded.
TEST_F(SettingsFilesTest, FilesOverTheLimitsAreRefusedWithTheReason) {
  Write("large.xml", "<KeloData>" + std::string(5 << 20, ' ') + "</KeloData>");
  std::string deep;
  for (int i = 0; i < 511; ++i) deep += "<e" + std::to_string(i) + ">";
  for (int i = 510; i >= 0; --i) deep += "</e" + std::to_string(i) + ">";
  Write("deep.xml", "<KeloData>" + deep + "</KeloData>");
  Write("laughs.xml",
        "<?xml version=\"1.0\"?><!DOCTYPE KeloData [<!ENTITY a \"aaaaaaaaaa\">"
        "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]>"
        "<KeloData><Direction>&c;</Direction></KeloData>");
  Write("secret.txt", "3");
  Write("external.xml",
        "<!DOCTYPE KeloData [<!ENTITY x SYSTEM \"secret.txt\">]>"
        "<KeloData><Direction>&x;</Direction></KeloData>");
  Write("root.xml", "<Settings><Direction>1</Direction></Settings>");
  std::filesystem::create_directory(Path("folder.xml"));
  const std::pair<std::string, std::string> cases[] = {
      {"large.xml", "it is larger than 4 MiB"},
      {"deep.xml", "is not a settings file: its elements nest more than 8 deep"},
      {"laughs.xml", "it declares a document type"},
      {"external.xml", "it declares a document type"},
      {"root.xml", "its root element is <Settings>, not <KeloData>"},
      {"folder.xml", "cannot read the settings file 'folder.xml': it is a folder"},
      {"missing/s.xml",
       "cannot read the settings file 'missing/s.xml': the folder 'missing' does not exist"},
      {"missing.xml", "cannot read the settings file 'missing.xml': no such file"},
  };
  for (const auto& [file, reason] : cases)
    ExpectFailure(frame_ + "-o out.png --settings " + file, kInput, reason);

  // A large file of good settings loads in linear time: the last one counts.
  std::string many = "<KeloData>";
  while (many.size() < (3 << 20)) many += "<Direction>1</Direction><Style>Push</Style>";
  Write("many.xml", many + "<Direction>Left</Direction></KeloData>");
  const auto start = std::chrono::steady_clock::now();
  const Image loaded = RunPng(frame_ + "--settings many.xml", "many.png");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(
      MaxDifference(loaded, RunPng(frame_ + "--set Style=Push --set Direction=Left", "set.png")),
      0);
}

// Catches: values in a file kept without the checks --set makes (a direction of 99, a negative
// style, a number that wraps, a name that is no setting), a choice's text read as 0.
TEST_F(SettingsFilesTest, ValuesAreCheckedAsSetChecksThem) {
  auto file = [this](const std::string& content) {
    Write("v.xml", "<?xml version=\"1.0\"?>\n<KeloData>\n" + content + "\n</KeloData>\n");
    return frame_ + "--settings v.xml ";
  };
  const std::pair<std::string, std::string> refused[] = {
      {"<Direction>99</Direction>",
       "bad value '99' for CoverTransition Direction: expected one of"},
      {"<Style>-5</Style>", "bad value '-5' for CoverTransition Style"},
      {"<Direction>99999999999999999999</Direction>", "bad value '99999999999999999999'"},
      {"<Direction>1</Direction><Speed>3</Speed>", "CoverTransition has no setting 'Speed'"},
      {"<Direction><Top/></Direction>", "it holds elements, not a value"},
  };
  for (const auto& [content, message] : refused) {
    ExpectFailure(file(content) + "-o out.png", kUsage, message);
    ExpectFailure(file(content) + "-o out.png", kUsage, "(in 'v.xml')");
  }
  const Image byText = RunPng(file("<Direction> Left </Direction><style>Push</style>"), "t.png");
  EXPECT_EQ(MaxDifference(byText, RunPng(frame_ + "--set Direction=3 --set Style=1", "n.png")), 0);
}

// Catches: --save-settings writing over an input picture (directly, through "./", a symbolic or a
// hard link) or over the output, or writing settings for a run that failed.
TEST_F(SettingsFilesTest, SavedSettingsNeverReplaceAnInputAndFollowSuccessOnly) {
  std::filesystem::create_symlink("a.png", Path("link.png"));
  ASSERT_EQ(link(Path("b.png").c_str(), Path("hard.png").c_str()), 0);
  const std::string a = ReadFile(Path("a.png")), b = ReadFile(Path("b.png"));
  for (const std::string target : {"a.png", "./a.png", "link.png", "hard.png"})
    ExpectFailure(frame_ + "-o out.png --save-settings " + target, kOutput,
                  "the settings file '" + target + "' would overwrite the input");
  ExpectFailure(frame_ + "-o out.png --save-settings out.png", kUsage, "is also the output");
  EXPECT_EQ(ReadFile(Path("a.png")), a);
  EXPECT_EQ(ReadFile(Path("b.png")), b);

  const std::string png = ReadFile(Path("b.png"));
  Write("cut.png", png.substr(0, png.size() / 2));
  ExpectFailure("frame --from a.png --to cut.png -t CoverTransition --save-settings s.xml -o o.png",
                kInput, "cannot read 'cut.png'");
  Succeeds(frame_ + "-o out.png --set Direction=Left --save-settings s.xml");
  EXPECT_NE(ReadFile(Path("s.xml")).find("<Direction>3</Direction>"), std::string::npos);
}

}  // namespace
}  // namespace apptest
