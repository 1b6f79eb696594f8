// Finding and making effects, finding their properties, and settings files. Reading, checking and
// applying values is in PropertyValues.cpp.
#include "app/Settings.h"

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

std::optional<SettingsError> TransitionSettings::Load(const std::filesystem::path& file) const {
  // Built in steps: GCC 12 warns falsely (-Wrestrict) about "'" + text + "'" here.
  std::string shown = file.string();
  shown.insert(shown.begin(), '\'');
  shown.push_back('\'');
  auto persist = effect_.As<IDataPersist>();
  if (!persist)
    return FileError(SettingsErrorKind::kNoSettings,
                     name_ + " has no settings to load from " + shown, file);
  auto stream = host_->Create<IDataStream>(L"XMLStream");
  if (!stream)
    return FileError(SettingsErrorKind::kHostMissing, "the host has no XML streams", file);
  const HRESULT opened = stream->Open(RefView(WideFromUtf8(file.string())), 0);
  if (opened == E_INVALIDARG)
    return FileError(SettingsErrorKind::kFileMalformed, shown + " is not well-formed XML", file);
  if (Failed(opened))
    return FileError(SettingsErrorKind::kFileUnreadable, "cannot read the settings file " + shown,
                     file);
  if (Failed(persist->Load(stream.Get(), 0)))
    return FileError(SettingsErrorKind::kRefused,
                     name_ + " could not load its settings from " + shown, file);
  return std::nullopt;
}

std::optional<SettingsError> TransitionSettings::Save(const std::filesystem::path& file) const {
  auto persist = effect_.As<IDataPersist>();
  if (!persist)
    return FileError(SettingsErrorKind::kNoSettings, name_ + " has no settings to save", file);
  auto stream = host_->Create<IDataStream>(L"XMLStream");
  if (!stream)
    return FileError(SettingsErrorKind::kHostMissing, "the host has no XML streams", file);
  if (Failed(persist->Save(stream.Get(), 0)))
    return FileError(SettingsErrorKind::kRefused, name_ + " could not save its settings", file);
  // The stream writes a temporary file beside the target and renames it when complete.
  if (Failed(stream->Commit(RefView(WideFromUtf8(file.string())))))
    return FileError(SettingsErrorKind::kFileUnwritable,
                     "cannot write the settings file '" + file.string() + "'", file);
  return std::nullopt;
}

}  // namespace kelo
