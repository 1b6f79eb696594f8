#include "app/Text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <numeric>

namespace kelo {

std::string ToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    auto c = static_cast<std::uint32_t>(wc);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::wstring FromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    int extra = lead < 0x80         ? 0
                : (lead >> 5) == 6  ? 1
                : (lead >> 4) == 14 ? 2
                : (lead >> 3) == 30 ? 3
                                    : -1;
    if (extra < 0 || i + static_cast<std::size_t>(extra) >= text.size()) {
      out += L'\xFFFD';
      ++i;
      continue;
    }
    std::uint32_t c = extra == 0 ? lead : lead & (0x3F >> extra);
    bool valid = true;
    for (int k = 1; k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) valid = false;
      c = c << 6 | (next & 0x3F);
    }
    out += valid ? static_cast<wchar_t>(c) : L'\xFFFD';
    i += valid ? static_cast<std::size_t>(extra) + 1 : 1;
  }
  return out;
}

std::wstring HostText(IString* text) {
  if (text == nullptr) return {};
  const wchar_t* buffer = nullptr;
  int length = 0;
  if (Failed(text->GetBuffer(&buffer, &length)) || buffer == nullptr || length <= 0) return {};
  return std::wstring(buffer, static_cast<std::size_t>(length));
}

static char Lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return Lower(x) == Lower(y); });
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

std::string JoinAlternatives(const std::vector<std::string>& names) {
  std::string out;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) out += i + 1 == names.size() ? " or " : ", ";
    out += names[i];
  }
  return out;
}

}  // namespace kelo
