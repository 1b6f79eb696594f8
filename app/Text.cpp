#include "app/Text.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numeric>

namespace kelo {

static char Lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string FoldedName(std::string_view name) {
  std::string out;
  for (char c : name) out += c == '_' ? ' ' : Lower(c);
  return out;
}

namespace {

// A C conversion over the whole text: true when it took every character without overflow.
template <class T, class Convert>
bool ConvertWhole(std::string_view text, T& value, Convert convert) {
  if (text.empty()) return false;
  const std::string copy(text);
  errno = 0;
  char* end = nullptr;
  value = convert(copy.c_str(), &end);
  return errno == 0 && *end == '\0';
}

}  // namespace

bool ParseInteger(std::string_view text, long& value) {
  return ConvertWhole(text, value,
                      [](const char* start, char** end) { return std::strtol(start, end, 10); });
}

bool ParseNumber(std::string_view text, double& value) {
  return ConvertWhole(text, value,
                      [](const char* start, char** end) { return std::strtod(start, end); }) &&
         std::isfinite(value);
}

std::size_t EditDistance(std::string_view a, std::string_view b) {
  // Optimal string alignment distance over three rolling rows.
  std::vector<std::size_t> before(b.size() + 1), previous(b.size() + 1), current(b.size() + 1);
  std::iota(previous.begin(), previous.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
      current[j] =
          std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) &&
          Lower(a[i - 2]) == Lower(b[j - 1]))
        current[j] = std::min(current[j], before[j - 2] + 1);
    }
    std::swap(before, previous);
    std::swap(previous, current);
  }
  return previous[b.size()];
}

std::vector<std::string> NearestNames(std::string_view wanted,
                                      const std::vector<std::string>& candidates,
                                      std::size_t limit) {
  std::vector<std::pair<std::size_t, std::string>> scored;
  for (const std::string& name : candidates) {
    std::size_t distance = EditDistance(wanted, name);
    // A name typed without the common suffix ("Dissolve" for "DissolveTransition") is close too.
    constexpr std::string_view kSuffix = "Transition";
    if (name.size() > kSuffix.size() && name.ends_with(kSuffix))
      distance = std::min(distance, EditDistance(wanted, std::string_view(name).substr(
                                                             0, name.size() - kSuffix.size())));
    if (distance <= std::max<std::size_t>(2, wanted.size() / 3))
      scored.emplace_back(distance, name);
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  std::vector<std::string> out;
  for (const auto& [distance, name] : scored) {
    if (out.size() == limit) break;
    out.push_back(name);
  }
  return out;
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::string ExactNumber(double value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

std::string JoinAlternatives(const std::vector<std::string>& names) {
  std::string out;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) out += i + 1 == names.size() ? " or " : ", ";
    out += names[i];
  }
  return out;
}

}  // namespace kelo
