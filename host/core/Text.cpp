#include "host/core/Text.h"

namespace host {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

// Length of the sequence a lead byte starts (0 for a byte that cannot lead), and its low bits.
int SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if ((lead & 0xE0) == 0xC0) return 2;
  if ((lead & 0xF0) == 0xE0) return 3;
  if ((lead & 0xF8) == 0xF0) return 4;
  return 0;
}

}  // namespace

std::wstring WideFromUtf8(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size());
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const int length = SequenceLength(lead);
    if (length == 1) {
      out.push_back(static_cast<wchar_t>(lead));
      ++i;
      continue;
    }
    if (length == 0 || i + static_cast<std::size_t>(length) > bytes.size()) {
      out.push_back(kReplacement);
      ++i;
      continue;
    }
    std::uint32_t value = lead & (0x7Fu >> length);
    bool valid = true;
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + static_cast<std::size_t>(k)]);
      if ((next & 0xC0) != 0x80) {
        valid = false;
        break;
      }
      value = (value << 6) | (next & 0x3Fu);
    }
    // Overlong forms, surrogates and values past U+10FFFF are refused.
    static constexpr std::uint32_t kMinimum[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (!valid || value < kMinimum[length] || value > 0x10FFFF ||
        (value >= 0xD800 && value <= 0xDFFF)) {
      out.push_back(kReplacement);
      ++i;
      continue;
    }
    out.push_back(static_cast<wchar_t>(value));
    i += static_cast<std::size_t>(length);
  }
  return out;
}

std::string Utf8FromWide(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t c : text) {
    auto value = static_cast<std::uint32_t>(c);
    if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) value = kReplacement;
    if (value < 0x80) {
      out.push_back(static_cast<char>(value));
    } else if (value < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (value >> 6)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    } else if (value < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (value >> 12)));
      out.push_back(static_cast<char>(0x80 | ((value >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (value >> 18)));
      out.push_back(static_cast<char>(0x80 | ((value >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((value >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
    }
  }
  return out;
}

}  // namespace host
