// Conversions between the host's wide text and the program's UTF-8, and name matching helpers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sdk/Collections.h"

namespace kelo {

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);
// The text of a host string (empty for null).
std::wstring HostText(IString* text);

// Case-insensitive edit distance (insertions, deletions, substitutions and swaps of neighbours).
std::size_t EditDistance(std::string_view a, std::string_view b);
// The candidates nearest to `wanted`, best first, at most `limit` and only reasonably close ones.
std::vector<std::string> NearestNames(std::string_view wanted,
                                      const std::vector<std::string>& candidates,
                                      std::size_t limit = 3);
// A number as people write it ("1.5", "30", "0.25").
std::string Number(double value);
// "a, b or c" for a message.
std::string JoinAlternatives(const std::vector<std::string>& names);

bool EqualsIgnoreCase(std::string_view a, std::string_view b);

}  // namespace kelo
