#include "studio/Sessions.h"

#include <random>

#include "app/Errors.h"
#include "app/Render.h"
#include "sdk/Text.h"
#include "studio/HttpError.h"

namespace kelo::studio {

struct Sessions::Session {
  std::unique_ptr<TransitionSettings> settings;
  Picture from, to;
  std::uint64_t used = 0;
};

namespace {

using kelo_text::Utf8FromWide;

const char* TypeName(PropertyType type) {
  switch (type) {
    case PropertyType::kInteger:
      return "integer";
    case PropertyType::kChoice:
      return "choice";
    case PropertyType::kBoolean:
      return "boolean";
    case PropertyType::kColour:
      return "colour";
    case PropertyType::kFloat:
      return "float";
    case PropertyType::kDouble:
      return "double";
    case PropertyType::kText:
      return "text";
    case PropertyType::kOther:
      break;
  }
  return "other";
}

Json PropertyJson(const Property& property) {
  Json json{{"id", property.id},
            {"name", property.Shown()},
            {"type", TypeName(property.type)},
            {"constraint", DescribeConstraint(property)}};
  if (property.hasRange) {
    json["min"] = property.minimum;
    json["max"] = property.maximum;
  }
  if (!property.choices.empty()) {
    Json choices = Json::array();
    for (const auto& choice : property.choices)
      choices.push_back({{"text", choice.text.empty() ? std::to_string(choice.value) : choice.text},
                         {"value", choice.value}});
    json["choices"] = std::move(choices);
  }
  json["value"] = nullptr;
  if (property.current) {
    std::visit([&](const auto& value) { json["value"] = value; }, *property.current);
    json["text"] = FormatValue(property, *property.current);
  }
  return json;
}

std::string NewSessionId() {
  static std::random_device device;
  std::string id;
  for (int k = 0; k < 4; ++k) {
    char part[9];
    std::snprintf(part, sizeof part, "%08x", static_cast<unsigned>(device()));
    id += part;
  }
  return id;
}

int StatusOf(SettingsErrorKind kind) {
  switch (kind) {
    case SettingsErrorKind::kUnknownTransition:
    case SettingsErrorKind::kUnknownProperty:
    case SettingsErrorKind::kFileUnreadable:
      return 404;
    case SettingsErrorKind::kNoSettings:
      return 409;
    case SettingsErrorKind::kWrongType:
    case SettingsErrorKind::kNotAChoice:
    case SettingsErrorKind::kOutOfRange:
    case SettingsErrorKind::kNotSettable:
    case SettingsErrorKind::kFileMalformed:
      return 400;
    case SettingsErrorKind::kRefused:
      return 422;
    case SettingsErrorKind::kNotCreated:
    case SettingsErrorKind::kHostMissing:
    case SettingsErrorKind::kFileUnwritable:
      break;
  }
  return 500;
}

}  // namespace

void ThrowSettingsError(const SettingsError& error) {
  throw HttpError(StatusOf(error.kind), error.message);
}

Sessions::Sessions(const Host& host, const Pictures& pictures, ModuleThread& module)
    : host_(host), pictures_(pictures), module_(module) {}

Sessions::~Sessions() {
  try {
    module_.Call([this] {
      sessions_.clear();
      thumbnailEffects_.clear();
    });
  } catch (const std::exception&) {
    // The module thread has stopped: the process is ending and the module goes with it.
  }
}

std::wstring Sessions::Resolve(const std::string& transition) const {
  auto resolved = ResolveTransition(host_, transition);
  if (!resolved) ThrowSettingsError(resolved.Error());
  return *resolved;
}

Sessions::Session& Sessions::Find(const std::string& session) {
  const auto found = sessions_.find(session);
  if (found == sessions_.end())
    throw HttpError(404, "no open page has the session '" + session + "' (reload the page)");
  found->second->used = ++clock_;
  return *found->second;
}

Json Sessions::Transitions() {
  return module_.Call([this] {
    Json list = Json::array();
    for (const auto& name : host_.TransitionNames()) {
      auto settings = TransitionSettings::Create(host_, Utf8FromWide(name));
      list.push_back({{"name", Utf8FromWide(name)},
                      {"settings", settings && !settings->Properties().empty()}});
    }
    return list;
  });
}

Json Sessions::StateOf(const std::string& id, const Session& session) const {
  Json properties = Json::array();
  for (const auto& property : session.settings->Properties())
    properties.push_back(PropertyJson(property));
  return {
      {"session", id},
      {"transition", session.settings->Name()},
      {"from", session.from.id},
      {"to", session.to.id},
      {"width", pictures_.FrameSize().width},
      {"height", pictures_.FrameSize().height},
      {"randomize",
       static_cast<bool>(
           session.settings->Effect() != nullptr &&
           ComPtr<IUnknown>::Share(session.settings->Effect()).As<IRandomizableObject>())},
      {"persist", session.settings->HasProperties() &&
                      static_cast<bool>(
                          ComPtr<IUnknown>::Share(session.settings->Effect()).As<IDataPersist>())},
      {"properties", std::move(properties)}};
}

Json Sessions::Open(const std::string& transition) {
  return module_.Call([&] {
    auto settings = TransitionSettings::Create(host_, transition);
    if (!settings) ThrowSettingsError(settings.Error());
    if (sessions_.size() >= kMaxSessions) {
      auto oldest = sessions_.begin();
      for (auto it = sessions_.begin(); it != sessions_.end(); ++it)
        if (it->second->used < oldest->second->used) oldest = it;
      sessions_.erase(oldest);
    }
    auto session = std::make_unique<Session>();
    session->settings = std::make_unique<TransitionSettings>(std::move(*settings));
    const auto all = pictures_.All();
    session->from = all.front();
    session->to = all.size() > 1 ? all[1] : all.front();
    session->used = ++clock_;
    std::string id = NewSessionId();
    Json state = StateOf(id, *session);
    sessions_.emplace(std::move(id), std::move(session));
    return state;
  });
}

void Sessions::Close(const std::string& session) {
  module_.Call([&] { sessions_.erase(session); });
  std::lock_guard lock(ticketsMutex_);
  tickets_.erase(session);
}

Json Sessions::State(const std::string& session) {
  return module_.Call([&] { return StateOf(session, Find(session)); });
}

Json Sessions::SetTransition(const std::string& session, const std::string& transition) {
  return module_.Call([&] {
    Session& found = Find(session);
    auto settings = TransitionSettings::Create(host_, transition);
    if (!settings) ThrowSettingsError(settings.Error());
    found.settings = std::make_unique<TransitionSettings>(std::move(*settings));
    return StateOf(session, found);
  });
}

Json Sessions::SetPictures(const std::string& session, int from, int to) {
  const Picture fromPicture = pictures_.Find(from), toPicture = pictures_.Find(to);
  if (fromPicture.id < 0 || toPicture.id < 0)
    throw HttpError(404, "no picture has the id " + std::to_string(fromPicture.id < 0 ? from : to));
  return module_.Call([&] {
    Session& found = Find(session);
    found.from = fromPicture;
    found.to = toPicture;
    return StateOf(session, found);
  });
}

Json Sessions::SetProperty(const std::string& session, const std::string& property,
                           const std::string& value) {
  return module_.Call([&] {
    Session& found = Find(session);
    if (auto error = found.settings->Set(property, value)) ThrowSettingsError(*error);
    return StateOf(session, found);
  });
}

Json Sessions::Randomize(const std::string& session) {
  return module_.Call([&] {
    Session& found = Find(session);
    auto randomizable = ComPtr<IUnknown>::Share(found.settings->Effect()).As<IRandomizableObject>();
    if (!randomizable) throw HttpError(409, found.settings->Name() + " cannot randomize itself");
    if (Failed(randomizable->Randomize()))
      throw HttpError(500, found.settings->Name() + " failed to randomize its settings");
    return StateOf(session, found);
  });
}

Json Sessions::Save(const std::string& session, const std::filesystem::path& file) {
  return module_.Call([&] {
    Session& found = Find(session);
    if (auto error = found.settings->Save(file)) ThrowSettingsError(*error);
    return StateOf(session, found);
  });
}

Json Sessions::Load(const std::string& session, const std::filesystem::path& file) {
  return module_.Call([&] {
    Session& found = Find(session);
    if (auto error = found.settings->Load(file)) ThrowSettingsError(*error);
    return StateOf(session, found);
  });
}

std::uint64_t Sessions::FrameTicket(const std::string& session) {
  std::lock_guard lock(ticketsMutex_);
  // Bounded by the sessions there can be: tickets of closed or forgotten sessions go.
  if (tickets_.size() > 4 * kMaxSessions && !tickets_.contains(session)) tickets_.clear();
  return ++tickets_[session];
}

ComPtr<ICIF> Sessions::Frame(const std::string& session, double progress, std::uint64_t ticket) {
  return module_.Call([&]() -> ComPtr<ICIF> {
    Session& found = Find(session);
    {
      std::lock_guard lock(ticketsMutex_);
      if (tickets_[session] != ticket) return {};
    }
    return RenderFrame(found.settings->Transition().Get(), found.settings->Name(),
                       found.from.frame.Get(), found.to.frame.Get(), progress);
  });
}

ComPtr<ICIF> Sessions::Thumbnail(const std::string& transition, int from, int to, double progress) {
  const Picture fromPicture = pictures_.Find(from), toPicture = pictures_.Find(to);
  if (fromPicture.id < 0 || toPicture.id < 0)
    throw HttpError(404, "no picture has the id " + std::to_string(fromPicture.id < 0 ? from : to));
  return module_.Call([&] {
    const std::wstring name = Resolve(transition);
    auto& effect = thumbnailEffects_[name];
    if (!effect) effect = host_.CreateTransition(name);
    if (!effect) throw HttpError(500, "the host could not create " + Utf8FromWide(name));
    return RenderFrame(effect.Get(), Utf8FromWide(name), fromPicture.thumb.Get(),
                       toPicture.thumb.Get(), progress);
  });
}

EffectCopy Sessions::Copy(const std::string& session) {
  return module_.Call([&] {
    Session& found = Find(session);
    EffectCopy copy;
    copy.name = found.settings->Name();
    copy.from = found.from.frame;
    copy.to = found.to.frame;
    if (auto replicable =
            ComPtr<IUnknown>::Share(found.settings->Effect()).As<IReplicableObject>()) {
      ComPtr<IUnknown> replica;
      if (Succeeded(replicable->Replicate(replica.Put())))
        copy.effect = replica.As<IKeloTransition>();
    } else {
      // Nothing to copy: an effect without settings is the same as a new one.
      copy.effect = host_.CreateTransition(found.settings->Component());
    }
    if (!copy.effect) throw HttpError(500, "could not copy " + copy.name + " for the export");
    return copy;
  });
}

ComPtr<ICIF> Sessions::Render(const EffectCopy& copy, double progress) {
  return module_.Call([&] {
    return RenderFrame(copy.effect.Get(), copy.name, copy.from.Get(), copy.to.Get(), progress);
  });
}

void Sessions::Release(EffectCopy& copy) {
  try {
    module_.Call([&] { copy.effect = {}; });
  } catch (const std::exception&) {
    // The module thread has stopped: the process is ending and the module goes with it.
    copy.effect.Detach();
  }
}

}  // namespace kelo::studio
