// The effects of the open pages: one session per page (each browser tab its own), holding its
// effect, its pair of pictures and its settings. Every operation runs on the module thread; the
// JSON they answer is what the page builds its property page from.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>

#include "app/Settings.h"
#include "studio/ModuleThread.h"
#include "studio/Pictures.h"

namespace kelo::studio {

using Json = nlohmann::json;

// How many pages may be open at once: opening one more closes the one used least recently.
inline constexpr std::size_t kMaxSessions = 32;

// An effect of its own with a session's settings and pictures, for rendering a clip.
struct EffectCopy {
  ComPtr<IKeloTransition> effect;
  std::string name;
  ComPtr<ICIF> from, to;
};

class Sessions {
 public:
  Sessions(const Host& host, const Pictures& pictures, ModuleThread& module);
  // Releases every effect on the module thread.
  ~Sessions();

  // Every transition the host lists, with whether it has settings.
  Json Transitions();
  // A new session with a new effect of `transition` and the first two pictures.
  Json Open(const std::string& transition);
  void Close(const std::string& session);

  // What the page shows: the transition, the pictures and every property with its value.
  Json State(const std::string& session);
  Json SetTransition(const std::string& session, const std::string& transition);
  Json SetPictures(const std::string& session, int from, int to);
  Json SetProperty(const std::string& session, const std::string& property,
                   const std::string& value);
  Json Randomize(const std::string& session);
  Json Save(const std::string& session, const std::filesystem::path& file);
  Json Load(const std::string& session, const std::filesystem::path& file);

  // A number for a frame request of the session; a request whose number is no longer the latest
  // when its turn comes is not rendered (scrubbing asks faster than frames come).
  std::uint64_t FrameTicket(const std::string& session);
  // The frame at `progress`, or empty when a later request superseded this one.
  ComPtr<ICIF> Frame(const std::string& session, double progress, std::uint64_t ticket);
  // A thumbnail-sized frame of `transition` at its default settings.
  ComPtr<ICIF> Thumbnail(const std::string& transition, int from, int to, double progress);

  EffectCopy Copy(const std::string& session);
  // Renders one frame of a copy on the module thread.
  ComPtr<ICIF> Render(const EffectCopy& copy, double progress);
  // Releases a copy on the module thread.
  void Release(EffectCopy& copy);

 private:
  struct Session;
  Session& Find(const std::string& session);  // on the module thread
  Json StateOf(const std::string& id, const Session& session) const;
  std::wstring Resolve(const std::string& transition) const;

  const Host& host_;
  const Pictures& pictures_;
  ModuleThread& module_;
  // Owned by the module thread.
  std::map<std::string, std::unique_ptr<Session>> sessions_;
  std::map<std::wstring, ComPtr<IKeloTransition>> thumbnailEffects_;
  std::uint64_t clock_ = 0;
  // Frame tickets are handed out on the server's threads.
  std::mutex ticketsMutex_;
  std::unordered_map<std::string, std::uint64_t> tickets_;
};

// The error a settings operation returned, as an HTTP error with its status.
[[noreturn]] void ThrowSettingsError(const SettingsError& error);

}  // namespace kelo::studio
