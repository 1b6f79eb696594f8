// Finding and making effects, finding their properties, and settings files. Reading, checking and
// applying values is in PropertyValues.cpp.
#include "app/Settings.h"

#include <cstdio>
#include <unordered_map>

#include "app/SettingsFile.h"
#include "app/Text.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"
#include "sdk/Text.h"

namespace kelo {

namespace {

using kelo_text::Utf8FromWide;
using kelo_text::WideFromUtf8;

// The string table naming an effect's properties: the one named after the component the host says
// the effect is, else the one named after the component it was made under. The only place the
// settings open string tables.
ComPtr<IStringTable> OpenPropertyTexts(const Host& host, IUnknown* effect,
                                       std::wstring_view component) {
  std::vector<std::wstring> tables;
  if (auto describer = host.Create<IComponentString>(L"ComponentString")) {
    ComPtr<IString> own;
    if (Succeeded(describer->Attach(effect)) &&
        Succeeded(describer->GetText(kComponentName, own.Put())))
      if (auto text = kelo_text::TextOf(own.Get()); !text.empty()) tables.emplace_back(text);
  }
  tables.emplace_back(component);
  for (const auto& name : tables) {
    auto table = host.Create<IStringTable>(L"StringTable");
    if (table && Succeeded(table->Open(host.String(name).Get()))) return table;
  }
  return {};
}

}  // namespace

SettingsResult<std::wstring> ResolveTransition(const Host& host, std::string_view wanted) {
  const auto names = host.TransitionNames();
  std::vector<std::string> known;
  for (const auto& name : names) known.push_back(Utf8FromWide(name));
  for (const auto& name : known)
    if (name == wanted) return WideFromUtf8(name);
  const std::string withSuffix = std::string(wanted) + "Transition";
  for (const auto& name : known)
    if (EqualsIgnoreCase(name, wanted) || EqualsIgnoreCase(name, withSuffix))
      return WideFromUtf8(name);

  SettingsError error(SettingsErrorKind::kUnknownTransition,
                      "unknown transition '" + std::string(wanted) + "'");
  error.value = std::string(wanted);
  error.nearest = NearestNames(wanted, known);
  error.known = known;
  if (known.empty())
    error.message += " (the host lists no transitions: is KeloTransitions.so in " +
                     host.ModuleDir().string() + "?)";
  else if (!error.nearest.empty())
    error.message += "; did you mean " + JoinAlternatives(error.nearest) + "?";
  return error;
}

SettingsResult<TransitionSettings> TransitionSettings::Create(const Host& host,
                                                              std::string_view name) {
  auto resolved = ResolveTransition(host, name);
  if (!resolved) return resolved.Error();
  auto effect = host.CreateTransition(*resolved);
  if (!effect) {
    const std::string shown = Utf8FromWide(*resolved);
    return SettingsError(SettingsErrorKind::kNotCreated, "the host could not create " + shown,
                         shown);
  }
  return TransitionSettings(host, ComPtr<IUnknown>::Share(effect.Get()), std::move(*resolved));
}

TransitionSettings::TransitionSettings(const Host& host, ComPtr<IUnknown> effect,
                                       std::wstring component)
    : host_(&host),
      effect_(std::move(effect)),
      component_(std::move(component)),
      name_(Utf8FromWide(component_)),
      properties_(effect_.As<IUIPropInterrogate>()) {
  if (properties_) texts_ = OpenPropertyTexts(host, effect_.Get(), component_);
}

SettingsError TransitionSettings::Error(SettingsErrorKind kind, std::string message) const {
  return SettingsError(kind, std::move(message), name_);
}

SettingsResult<Property> TransitionSettings::Find(std::string_view key) const {
  if (!properties_) return Error(SettingsErrorKind::kNoSettings, name_ + " has no settings");
  auto list = Properties();
  long id = 0;
  const bool byId = ParseInteger(key, id);
  const Property* found = nullptr;
  // The last match wins: ids are unique, names should be.
  for (const auto& candidate : list)
    if ((byId && candidate.id == id) ||
        (!candidate.name.empty() && FoldedName(candidate.name) == FoldedName(key)))
      found = &candidate;
  if (found != nullptr) return *found;

  SettingsError error = Error(SettingsErrorKind::kUnknownProperty,
                              name_ + " has no setting '" + std::string(key) + "'");
  error.property = std::string(key);
  for (const auto& candidate : list) error.known.push_back(candidate.Shown());
  error.nearest = NearestNames(key, error.known);
  if (!error.nearest.empty())
    error.message += "; did you mean " + JoinAlternatives(error.nearest) + "?";
  else if (!error.known.empty())
    error.message += "; it has " + JoinAlternatives(error.known);
  return error;
}

std::optional<SettingsError> TransitionSettings::Set(std::string_view key,
                                                     std::string_view text) const {
  auto property = Find(key);
  if (!property) return property.Error();
  auto value = Parse(*property, text);
  if (!value) return value.Error();
  // Parse checked the value; messages quote the text as given.
  return Give(*property, *value, text);
}

SettingsError TransitionSettings::FileError(SettingsErrorKind kind, std::string message,
                                            const std::filesystem::path& file) const {
  SettingsError error = Error(kind, std::move(message));
  error.file = file;
  return error;
}

namespace {

// `text` as the content of an XML element.
void AppendEscaped(std::string_view text, std::string* out) {
  for (char c : text) {
    switch (c) {
      case '&':
        *out += "&amp;";
        break;
      case '<':
        *out += "&lt;";
        break;
      case '>':
        *out += "&gt;";
        break;
      case '\r':
        *out += "&#13;";
        break;
      default:
        out->push_back(c);
    }
  }
}

// A checked value as the effect's own Load reads it.
std::string StoredText(const PropertyValue& value) {
  if (const long* integer = std::get_if<long>(&value)) return std::to_string(*integer);
  if (const double* number = std::get_if<double>(&value)) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", *number);
    return text;
  }
  return std::get<std::string>(value);
}

std::string Trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1));
}

}  // namespace

std::optional<SettingsError> TransitionSettings::Load(const std::filesystem::path& file) const {
  // Built in steps: GCC 12 warns falsely (-Wrestrict) about "'" + text + "'" here.
  std::string shown = file.string();
  shown.insert(shown.begin(), '\'');
  shown.push_back('\'');
  auto persist = effect_.As<IDataPersist>();
  if (!persist)
    return FileError(SettingsErrorKind::kNoSettings,
                     name_ + " has no settings to load from " + shown, file);
  auto read = ReadSettingsFile(file);
  if (const auto* fault = std::get_if<SettingsFileFault>(&read)) {
    if (fault->unreadable)
      return FileError(SettingsErrorKind::kFileUnreadable,
                       "cannot read the settings file " + shown + ": " + fault->reason, file);
    return FileError(SettingsErrorKind::kFileMalformed,
                     shown + " is not a settings file: " + fault->reason, file);
  }
  // Each setting checked as --set checks it; the effect then loads them from a stream of its own
  // holding each checked setting once, in the form it writes itself.
  std::vector<std::pair<std::string, std::string>> settings;  // element name, text
  std::unordered_map<std::string, std::size_t> byName;        // folded name: place in `settings`
  auto keep = [&](std::string name, std::string text) {
    const auto [at, added] = byName.emplace(FoldedName(name), settings.size());
    if (added)
      settings.emplace_back(std::move(name), std::move(text));
    else
      settings[at->second].second = std::move(text);  // the last one counts, as for --set
  };
  // The properties read once: a file may name them thousands of times.
  const std::vector<Property> properties = Properties();
  std::unordered_map<std::string, const Property*> byFoldedName;
  for (const Property& property : properties)
    if (!property.name.empty()) byFoldedName.emplace(FoldedName(property.name), &property);
  for (const SettingsFileItem& item : std::get<std::vector<SettingsFileItem>>(read)) {
    auto inFile = [&](SettingsError error) {
      error.file = file;
      error.message += " (in " + shown + ")";
      return error;
    };
    if (!properties_) {
      // An effect that saves settings it does not describe: they are its own to check.
      keep(item.name, item.text);
      continue;
    }
    const auto found = byFoldedName.find(FoldedName(item.name));
    if (found == byFoldedName.end()) return inFile(Find(item.name).Error());
    const Property* property = found->second;
    const std::string text = Trimmed(item.text);
    if (item.holdsElements)
      return inFile(ValueError(SettingsErrorKind::kWrongType, *property, "<" + item.name + ">",
                               "it holds elements, not a value"));
    auto value = Parse(*property, text);
    if (!value) return inFile(value.Error());
    std::string name = property->name.empty() ? item.name : property->name;
    for (char& c : name)
      if (c == ' ') c = '_';
    keep(std::move(name), StoredText(*value));
  }
  std::string content;
  for (const auto& [name, text] : settings) {
    content += "<" + name + ">";
    AppendEscaped(text, &content);
    content += "</" + name + ">";
  }
  auto stream = host_->Create<IDataStream>(L"XMLStream");
  auto text = stream.As<IString>();
  if (!stream || !text)
    return FileError(SettingsErrorKind::kHostMissing, "the host has no XML streams", file);
  const std::wstring wide = WideFromUtf8(content);
  if (Failed(text->SetText(static_cast<int>(wide.size()), wide.c_str())) ||
      Failed(persist->Load(stream.Get(), 0)))
    return FileError(SettingsErrorKind::kRefused,
                     name_ + " could not load its settings from " + shown, file);
  return std::nullopt;
}

std::optional<SettingsError> TransitionSettings::Save(const std::filesystem::path& file) const {
  auto persist = effect_.As<IDataPersist>();
  if (!persist)
    return FileError(SettingsErrorKind::kNoSettings, name_ + " has no settings to save", file);
  const std::string cannot = "cannot write the settings file '" + file.string() + "'";
  if (auto problem = SettingsFileUnwritable(file))
    return FileError(SettingsErrorKind::kFileUnwritable, cannot + ": " + *problem, file);
  auto stream = host_->Create<IDataStream>(L"XMLStream");
  if (!stream)
    return FileError(SettingsErrorKind::kHostMissing, "the host has no XML streams", file);
  if (Failed(persist->Save(stream.Get(), 0)))
    return FileError(SettingsErrorKind::kRefused, name_ + " could not save its settings", file);
  // The stream writes a temporary file beside the target and renames it when complete.
  if (Failed(stream->Commit(RefView(WideFromUtf8(file.string())))))
    return FileError(SettingsErrorKind::kFileUnwritable, cannot, file);
  return std::nullopt;
}

}  // namespace kelo
