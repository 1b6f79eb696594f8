// The syntax of timeline files: JSON and TOML text turned into one tree of values, each with its
// line, so that one reader serves both formats (app/Timeline.cpp). Only app/TimelineSyntax.cpp
// knows the parsers.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kelo::timeline {

struct Member;

struct Node {
  enum class Kind { kNull, kBoolean, kInteger, kNumber, kString, kArray, kObject, kOther };
  Kind kind = Kind::kNull;
  int line = 0;
  bool boolean = false;
  double number = 0;
  std::string text;  // a string, or a number as written
  std::vector<Member> members;
  std::vector<Node> items;
};

struct Member {
  std::string key;
  int line = 0;  // the key's line
  Node value;
};

// The most values a file may hold (each slide takes a dozen or so): bounds the tree's memory.
inline constexpr std::size_t kMaxValues = 250000;

// Throws kelo's error for a refusal at `line` of `file` (and `field`, when not empty).
[[noreturn]] void Refuse(int code, const std::filesystem::path& file, int line,
                         const std::string& field, const std::string& message);

// The tree of a JSON or TOML text. Throws AppError with exit 3 for text that is not JSON or TOML,
// nested deeper than kMaxTimelineDepth or holding more than kMaxValues values.
Node ParseJson(std::string_view text, const std::filesystem::path& file);
Node ParseToml(std::string_view text, const std::filesystem::path& file);

}  // namespace kelo::timeline
