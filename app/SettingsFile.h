// Settings files as files: read within their limits and parsed into the settings they hold, or
// the reason they cannot be read or written. Knows nothing of effects (app/Settings.cpp checks
// the settings against the effect's properties).
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kelo {

// A settings file is at most this large...
inline constexpr std::uintmax_t kMaxSettingsFileBytes = std::uintmax_t{4} << 20;
// ...and its elements nest at most this deep, the root element counting as one.
inline constexpr int kMaxSettingsDepth = 8;
// The root element of every settings file.
inline constexpr char kSettingsRoot[] = "KeloData";

// One child of the root element: a setting's name and its text.
struct SettingsFileItem {
  std::string name;
  std::string text;
  bool holdsElements = false;  // it has elements of its own instead of a plain text
};

// Why a settings file was not read: `unreadable` for a file that could not be had at all (missing,
// a folder, too large), else it was read and is no settings file.
struct SettingsFileFault {
  bool unreadable = false;
  std::string reason;
};

// The settings a file holds, in file order. XML that declares a document type (and so entities)
// is refused: no entity is ever expanded and no external file is ever read.
std::variant<std::vector<SettingsFileItem>, SettingsFileFault> ReadSettingsFile(
    const std::filesystem::path& file);

// Why a settings file cannot be written at `file` (its folder is missing, it is a folder), or
// nothing when it looks writable.
std::optional<std::string> SettingsFileUnwritable(const std::filesystem::path& file);

}  // namespace kelo
