// The settings library without the command line: transitions made through the real host, their
// properties, values and settings files. Kinds no shipped effect has (ranges, booleans, floats,
// doubles, texts, objects) are driven on a probe built with the module's own property frame.
#include <gtest/gtest.h>

#include <fstream>

#include "app/Settings.h"
#include "properties/PropInterrogate.h"
#include "tests/common/ScratchFolder.h"
#include "tests/module/ModuleTestSupport.h"

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
  // What the probe holds of the numbers.
  auto Numbers() const { return std::tuple(count, flag, small, ratio, scale); }
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

// Catches: case or the missing suffix no longer forgiven, an effect not made; a typo without
// suggestions, or suggestions when nothing is close; an effect without IUIPropInterrogate or
// IDataPersist treated as having settings.
TEST(SettingsLibrary, TransitionsAreFoundByForgivingNamesOrReportedWithSuggestions) {
  auto dissolve = TransitionSettings::Create(SharedHost(), "dissolve");
  ASSERT_TRUE(dissolve) << dissolve.Error().message;
  EXPECT_EQ(dissolve->Name(), "DissolveTransition");
  EXPECT_TRUE(dissolve->Transition());

  auto typo = TransitionSettings::Create(SharedHost(), "Disolve");
  ASSERT_FALSE(typo);
  EXPECT_EQ(typo.Error().kind, SettingsErrorKind::kUnknownTransition);
  EXPECT_EQ(typo.Error().nearest, std::vector<std::string>{"DissolveTransition"});
  auto far = kelo::ResolveTransition(SharedHost(), "qqqqqqqqqqqq");
  ASSERT_FALSE(far);
  EXPECT_TRUE(far.Error().nearest.empty());
  EXPECT_EQ(far.Error().known.size(), SharedHost().TransitionNames().size());

  EXPECT_FALSE(dissolve->HasProperties());
  EXPECT_TRUE(dissolve->Properties().empty());
  EXPECT_EQ(KindOf(dissolve->Set("Direction", "1")), SettingsErrorKind::kNoSettings);
  EXPECT_EQ(KindOf(dissolve->Save("unused.xml")), SettingsErrorKind::kNoSettings);
  EXPECT_FALSE(std::filesystem::exists("unused.xml"));
}

// Catches: names or choice texts not read from the tables, current values not read; lookup by
// id or by folded name failing, unknown names without their alternatives; a choice by text or by
// value not applied, a value outside the choices applied.
TEST(SettingsLibrary, ChoicePropertiesComeFromTheInterfaceAndStringTables) {
  if (!HasTransition(L"CoverTransition")) GTEST_SKIP() << "no CoverTransition in this build";
  auto cover = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(cover);
  const auto properties = cover->Properties();
  ASSERT_GE(properties.size(), 2u);
  const kelo::Property& direction = properties[0];
  EXPECT_EQ(std::tuple(direction.id, direction.name, direction.type),
            std::tuple(1, "Direction", PropertyType::kChoice));
  EXPECT_EQ(kelo::DescribeConstraint(direction), "one of Top=0, Right=1, Bottom=2, Left=3");
  ASSERT_TRUE(direction.current);
  EXPECT_EQ(kelo::FormatValue(direction, *direction.current), "Top");

  EXPECT_EQ(cover->Find("1")->name, "Direction");
  EXPECT_EQ(cover->Find("DIRECTION")->id, 1);
  auto typo = cover->Find("Dirction");
  ASSERT_FALSE(typo);
  EXPECT_EQ(typo.Error().kind, SettingsErrorKind::kUnknownProperty);
  EXPECT_EQ(typo.Error().nearest, std::vector<std::string>{"Direction"});
  auto missing = cover->Find("9");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.Error().known, (std::vector<std::string>{"Direction", "Style"}));

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

// Catches: a type derived from anything but the flags word; accepted values not reaching the
// effect, boolean words not understood, doubles not travelling as float bits, texts not handed
// over; a value outside the range or the kind (truncated instead of refused), text for a number,
// or an object from text reaching the effect, or refused for the wrong reason.
TEST(SettingsLibrary, NumbersAreCheckedAgainstTypeRangeAndKind) {
  auto object = moduletest::New<CSettingsProbe, IUnknown>();
  const auto* probe = moduletest::Raw<CSettingsProbe>(object);
  const TransitionSettings settings(SharedHost(), object, L"SettingsProbe");
  const auto properties = settings.Properties();
  ASSERT_EQ(properties.size(), 7u);
  const PropertyType types[] = {
      PropertyType::kInteger, PropertyType::kBoolean, PropertyType::kInteger, PropertyType::kDouble,
      PropertyType::kText,    PropertyType::kOther,   PropertyType::kFloat};
  for (std::size_t i = 0; i < properties.size(); ++i)
    EXPECT_EQ(properties[i].type, types[i]) << properties[i].id;

  for (auto [id, text] : {std::pair{"1", "7"},
                          {"2", "Yes"},
                          {"3", "255"},
                          {"4", "2.5"},
                          {"5", "caption"},
                          {"7", "-0.5"}})
    EXPECT_FALSE(settings.Set(id, text)) << id << "=" << text;
  const auto accepted = std::tuple(7, 1, std::uint8_t{255}, 2.5, -0.5f);
  EXPECT_EQ(probe->Numbers(), accepted);
  const auto text = settings.Find("5");
  ASSERT_TRUE(text && text->current);
  EXPECT_EQ(kelo::FormatValue(*text, *text->current), "\"caption\"");

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
  EXPECT_EQ(probe->Numbers(), accepted);
  EXPECT_EQ(settings.Set("3", "256")->detail, "out of the 8-bit integer range");

  // Typed values from a front end are checked the same way.
  EXPECT_EQ(KindOf(settings.Apply(properties[3], PropertyValue(2L))),
            SettingsErrorKind::kWrongType);
  EXPECT_EQ(KindOf(settings.Apply(properties[0], PropertyValue(12L))),
            SettingsErrorKind::kOutOfRange);
  EXPECT_FALSE(settings.Apply(properties[3], PropertyValue(0.25)));
  EXPECT_EQ(probe->ratio, 0.25);
}

// Catches: settings not written, or not read back into a fresh effect; file faults reported as
// each other, a failed save leaving a file behind, a fault changing the effect's settings.
TEST(SettingsFiles, SavedSettingsLoadBackAndFileFaultsAreReported) {
  if (!HasTransition(L"CoverTransition")) GTEST_SKIP() << "no CoverTransition in this build";
  const testsupport::ScratchFolder scratch("kelo-settings-test");
  const std::filesystem::path& dir = scratch.Path();
  ASSERT_FALSE(dir.empty());
  const std::filesystem::path file = dir / "cover.xml";
  auto saved = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(saved);
  ASSERT_FALSE(saved->Set("Direction", "Left"));
  ASSERT_FALSE(saved->Set("Style", "Crush"));
  ASSERT_FALSE(saved->Save(file));

  auto loaded = TransitionSettings::Create(SharedHost(), "CoverTransition");
  ASSERT_TRUE(loaded);
  ASSERT_FALSE(loaded->Load(file));
  EXPECT_EQ(std::pair(CurrentInteger(*loaded, 1), CurrentInteger(*loaded, 2)), std::pair(3L, 2L));

  EXPECT_EQ(KindOf(loaded->Load(dir / "missing.xml")), SettingsErrorKind::kFileUnreadable);
  std::ofstream(dir / "broken.xml") << "<KeloData><Direction>";
  EXPECT_EQ(KindOf(loaded->Load(dir / "broken.xml")), SettingsErrorKind::kFileMalformed);
  const auto unwritable = loaded->Save(dir / "nowhere" / "cover.xml");
  ASSERT_TRUE(unwritable);
  EXPECT_EQ(unwritable->kind, SettingsErrorKind::kFileUnwritable);
  EXPECT_EQ(unwritable->file, dir / "nowhere" / "cover.xml");
  EXPECT_EQ(scratch.Entries(), (std::vector<std::string>{"broken.xml", "cover.xml"}));
  EXPECT_EQ(CurrentInteger(*loaded, 1), 3);
}

}  // namespace
