// The settings library without the command line: transitions made through the real host, their
// properties, values and settings files. Kinds no shipped effect has (ranges, booleans, floats,
// doubles, texts, objects) are driven on a probe built with the module's own property frame.
#include <gtest/gtest.h>

#include <fstream>

#include "app/Settings.h"
#include "frame/Object.h"
#include "properties/PropInterrogate.h"

namespace kelo {
// Failures name the kind by its number rather than as bytes.
void PrintTo(SettingsErrorKind kind, std::ostream* out) {
  *out << "SettingsErrorKind " << static_cast<int>(kind);
}
}  // namespace kelo

namespace {

using kelo::PropertyType;
using kelo::PropertyValue;
using kelo::SettingsErrorKind;
using kelo::TransitionSettings;

// One property of each kind the shipped effects lack; no string table names them.
class CSettingsProbe : public CObjectRoot,
                       public IUIPropInterrogateImpl<CSettingsProbe, IUIPropInterrogateEx, 8> {
 public:
  static const auto& Interfaces() {
    // As the effects answer: the extended interface for IUIPropInterrogate, and no answer for
    // the extended identity itself.
    static constexpr std::array table{
        Entry<CSettingsProbe, IUIPropInterrogateEx>(&IID_IUIPropInterrogate)};
    return table;
  }
  HRESULT FinalConstruct() override {
    AddProperty(1, &count, kPropInt32, 1, 10);
    AddProperty(2, &flag, kPropInt32 | kPropBoolean, 0, 1);
    AddProperty(3, &small, kPropUInt8, 0, 0);
    AddProperty(4, &ratio, kPropDouble, 0, 4);
    AddProperty(5, &label, kPropString, 0, 0);
    AddProperty(6, &object, kPropObject, 0, 0);
    AddProperty(7, &scale, kPropFloat, 0, 0);
    return S_OK;
  }
  std::int32_t count = 1, flag = 0;
  std::uint8_t small = 0;
  double ratio = 1.0;
  float scale = 1.0f;
  IString* label = nullptr;
  IUnknown* object = nullptr;

 protected:
  ~CSettingsProbe() {
    if (label != nullptr) label->Release();
    if (object != nullptr) object->Release();
  }
};

kelo::Host& SharedHost() {
  static kelo::Host host;
  return host;
}

TransitionSettings MakeProbe(CSettingsProbe** raw) {
  ComPtr<IUnknown> probe;
  IID iid = IID_IUnknown;
  EXPECT_EQ(CObject<CSettingsProbe>::_CreateInstance(nullptr, &iid, probe.PutVoid()), S_OK);
  *raw = static_cast<CSettingsProbe*>(static_cast<CObjectRoot*>(probe.Get()));
  return TransitionSettings(SharedHost(), probe, L"SettingsProbe");
}

bool HasTransition(const std::wstring& name) {
  const auto names = SharedHost().TransitionNames();
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The kind of a refusal, or nothing when the operation succeeded.
std::optional<SettingsErrorKind> KindOf(const std::optional<kelo::SettingsError>& error) {
  if (!error) return std::nullopt;
  return error->kind;
}

long CurrentInteger(const TransitionSettings& settings, int id) {
  for (const auto& property : settings.Properties())
    if (property.id == id && property.current) return std::get<long>(*property.current);
  return -1;
}

TEST(SettingsLibrary, TransitionsAreFoundByForgivingNamesOrReportedWithSuggestions) {
  // Catches: case or the missing suffix no longer forgiven, an effect not made.
  auto dissolve = TransitionSettings::Create(SharedHost(), "dissolve");
  ASSERT_TRUE(dissolve) << dissolve.Error().message;
  EXPECT_EQ(dissolve->Name(), "DissolveTransition");
  EXPECT_TRUE(dissolve->Transition());

  // Catches: a typo without suggestions, or suggestions when nothing is close.
  auto typo = TransitionSettings::Create(SharedHost(), "Disolve");
  ASSERT_FALSE(typo);
  EXPECT_EQ(typo.Error().kind, SettingsErrorKind::kUnknownTransition);
  EXPECT_EQ(typo.Error().nearest, std::vector<std::string>{"DissolveTransition"});
  auto far = kelo::ResolveTransition(SharedHost(), "qqqqqqqqqqqq");
  ASSERT_FALSE(far);
  EXPECT_TRUE(far.Error().nearest.empty());
  EXPECT_EQ(far.Error().known.size(), SharedHost().TransitionNames().size());

  // Catches: an effect without IUIPropInterrogate or IDataPersist treated as having settings.
  EXPECT_FALSE(dissolve->HasProperties());
  EXPECT_TRUE(dissolve->Properties().empty());
  EXPECT_EQ(KindOf(dissolve->Set("Direction", "1")), SettingsErrorKind::kNoSettings);
  EXPECT_EQ(KindOf(dissolve->Save("unused.xml")), SettingsErrorKind::kNoSettings);
  EXPECT_FALSE(std::filesystem::exists("unused.xml"));
}

TEST(SettingsLibrary, ChoicePropertiesComeFromTheInterfaceAndStringTables) {
  if (!HasTransition(L"CoverTransition")) GTEST_SKIP() << "no CoverTransition in this build";
  auto cover = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(cover);
  // Catches: names or choice texts not read from the tables, current values not read.
  const auto properties = cover->Properties();
  ASSERT_GE(properties.size(), 2u);
  const kelo::Property& direction = properties[0];
  EXPECT_EQ(direction.id, 1);
  EXPECT_EQ(direction.name, "Direction");
  EXPECT_EQ(direction.type, PropertyType::kChoice);
  EXPECT_EQ(kelo::DescribeConstraint(direction), "one of Top=0, Right=1, Bottom=2, Left=3");
  ASSERT_TRUE(direction.current);
  EXPECT_EQ(kelo::FormatValue(direction, *direction.current), "Top");

  // Catches: lookup by id or by folded name failing, unknown names without their alternatives.
  EXPECT_EQ(cover->Find("1")->name, "Direction");
  EXPECT_EQ(cover->Find("DIRECTION")->id, 1);
  auto typo = cover->Find("Dirction");
  ASSERT_FALSE(typo);
  EXPECT_EQ(typo.Error().kind, SettingsErrorKind::kUnknownProperty);
  EXPECT_EQ(typo.Error().nearest, std::vector<std::string>{"Direction"});
  auto missing = cover->Find("9");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.Error().known, (std::vector<std::string>{"Direction", "Style"}));

  // Catches: a choice by text or by value not applied, a value outside the choices applied.
  EXPECT_FALSE(cover->Set("direction", "left"));
  EXPECT_EQ(CurrentInteger(*cover, 1), 3);
  EXPECT_FALSE(cover->Set("1", "1"));
  EXPECT_EQ(CurrentInteger(*cover, 1), 1);
  for (const char* refused : {"Diagonal", "7", "-1", "1.5", ""}) {
    auto error = cover->Set("Direction", refused);
    ASSERT_TRUE(error) << refused;
    EXPECT_EQ(error->kind, SettingsErrorKind::kNotAChoice) << refused;
    EXPECT_EQ(error->detail, "expected one of Top=0, Right=1, Bottom=2, Left=3");
  }
  EXPECT_EQ(CurrentInteger(*cover, 1), 1);
}

TEST(SettingsLibrary, NumbersAreCheckedAgainstTypeRangeAndKind) {
  CSettingsProbe* probe = nullptr;
  const TransitionSettings settings = MakeProbe(&probe);
  const auto properties = settings.Properties();
  ASSERT_EQ(properties.size(), 7u);
  // Catches: a type derived from anything but the flags word.
  const PropertyType types[] = {
      PropertyType::kInteger, PropertyType::kBoolean, PropertyType::kInteger, PropertyType::kDouble,
      PropertyType::kText,    PropertyType::kOther,   PropertyType::kFloat};
  for (std::size_t i = 0; i < properties.size(); ++i)
    EXPECT_EQ(properties[i].type, types[i]) << properties[i].id;

  // Catches: accepted values not reaching the effect, boolean words not understood, doubles not
  // travelling as float bits, texts not handed over.
  EXPECT_FALSE(settings.Set("1", "7"));
  EXPECT_FALSE(settings.Set("2", "Yes"));
  EXPECT_FALSE(settings.Set("3", "255"));
  EXPECT_FALSE(settings.Set("4", "2.5"));
  EXPECT_FALSE(settings.Set("5", "caption"));
  EXPECT_FALSE(settings.Set("7", "-0.5"));
  EXPECT_EQ(probe->count, 7);
  EXPECT_EQ(probe->flag, 1);
  EXPECT_EQ(probe->small, 255);
  EXPECT_EQ(probe->ratio, 2.5);
  EXPECT_EQ(probe->scale, -0.5f);
  const auto text = settings.Find("5");
  ASSERT_TRUE(text && text->current);
  EXPECT_EQ(kelo::FormatValue(*text, *text->current), "\"caption\"");

  // Catches: a value outside the range or the kind (truncated instead of refused), text for a
  // number, or an object from text reaching the effect, or refused for the wrong reason.
  const struct {
    const char* id;
    const char* text;
    SettingsErrorKind kind;
  } refusals[] = {{"1", "11", SettingsErrorKind::kOutOfRange},
                  {"1", "0", SettingsErrorKind::kOutOfRange},
                  {"1", "seven", SettingsErrorKind::kWrongType},
                  {"2", "maybe", SettingsErrorKind::kWrongType},
                  {"3", "256", SettingsErrorKind::kOutOfRange},
                  {"4", "4.5", SettingsErrorKind::kOutOfRange},
                  {"4", "nan", SettingsErrorKind::kWrongType},
                  {"4", "two", SettingsErrorKind::kWrongType},
                  {"6", "anything", SettingsErrorKind::kNotSettable},
                  {"7", "1e39", SettingsErrorKind::kOutOfRange}};
  for (const auto& refusal : refusals)
    EXPECT_EQ(KindOf(settings.Set(refusal.id, refusal.text)), refusal.kind)
        << refusal.id << "=" << refusal.text;
  EXPECT_EQ(probe->count, 7);
  EXPECT_EQ(probe->flag, 1);
  EXPECT_EQ(probe->small, 255);
  EXPECT_EQ(probe->ratio, 2.5);
  EXPECT_EQ(probe->scale, -0.5f);
  EXPECT_EQ(settings.Set("3", "256")->detail, "out of the 8-bit integer range");

  // Typed values from a front end are checked the same way.
  EXPECT_EQ(KindOf(settings.Apply(properties[3], PropertyValue(2L))),
            SettingsErrorKind::kWrongType);
  EXPECT_EQ(KindOf(settings.Apply(properties[0], PropertyValue(12L))),
            SettingsErrorKind::kOutOfRange);
  EXPECT_FALSE(settings.Apply(properties[3], PropertyValue(0.25)));
  EXPECT_EQ(probe->ratio, 0.25);
}

class SettingsFiles : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/kelo-settings-test-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    dir_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::filesystem::path dir_;
};

TEST_F(SettingsFiles, SavedSettingsLoadBackAndFileFaultsAreReported) {
  if (!HasTransition(L"CoverTransition")) GTEST_SKIP() << "no CoverTransition in this build";
  auto saved = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(saved);
  ASSERT_FALSE(saved->Set("Direction", "Left"));
  ASSERT_FALSE(saved->Set("Style", "Crush"));
  const auto file = dir_ / "cover.xml";
  ASSERT_FALSE(saved->Save(file));

  // Catches: settings not written, or not read back into a fresh effect.
  auto loaded = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(loaded);
  ASSERT_FALSE(loaded->Load(file));
  EXPECT_EQ(CurrentInteger(*loaded, 1), 3);
  EXPECT_EQ(CurrentInteger(*loaded, 2), 2);

  // Catches: file faults reported as each other, or a failed save leaving a file behind.
  EXPECT_EQ(KindOf(loaded->Load(dir_ / "missing.xml")), SettingsErrorKind::kFileUnreadable);
  std::ofstream(dir_ / "broken.xml") << "<KeloData><Direction>";
  EXPECT_EQ(KindOf(loaded->Load(dir_ / "broken.xml")), SettingsErrorKind::kFileMalformed);
  const auto unwritable = loaded->Save(dir_ / "nowhere" / "cover.xml");
  ASSERT_TRUE(unwritable);
  EXPECT_EQ(unwritable->kind, SettingsErrorKind::kFileUnwritable);
  EXPECT_EQ(unwritable->file, dir_ / "nowhere" / "cover.xml");
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir_)) ++files;
  EXPECT_EQ(files, 2u);  // cover.xml and broken.xml
  // A fault leaves the effect's settings as they were.
  EXPECT_EQ(CurrentInteger(*loaded, 1), 3);
}

}  // namespace
