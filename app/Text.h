// Name matching and number helpers of the program. UTF-8 conversion is sdk/Text.h's.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sdk/Text.h"

namespace kelo {

// Case-insensitive edit distance (insertions, deletions, substitutions and swaps of neighbours).
std::size_t EditDistance(std::string_view a, std::string_view b);
// The candidates nearest to `wanted`, best first, at most `limit` and only reasonably close ones.
std::vector<std::string> NearestNames(std::string_view wanted,
                                      const std::vector<std::string>& candidates,
                                      std::size_t limit = 3);
// A number as people write it ("1.5", "30", "0.25"; six significant digits).
std::string Number(double value);
// A number given on the command line, in full: the shortest text that reads back as the same
// double ("1.0000001", "1e-300"), so a refusal never shows a value that would be accepted.
std::string ExactNumber(double value);
// "a, b or c" for a message.
std::string JoinAlternatives(const std::vector<std::string>& names);

bool EqualsIgnoreCase(std::string_view a, std::string_view b);
// A name as it is compared with others: lower case, with '_' read as ' '.
std::string FoldedName(std::string_view name);

// The whole text as a decimal integer (strtol: leading blanks and a sign allowed).
bool ParseInteger(std::string_view text, long& value);
// The whole text as a finite number (strtod).
bool ParseNumber(std::string_view text, double& value);

}  // namespace kelo
