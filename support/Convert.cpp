#include "support/Convert.h"

#include <ctype.h>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cwchar>

namespace {

constexpr unsigned long kFormatCapacity = 256;

IString* MakeString(int length, const wchar_t* text) {
  IString* string = CREFString::CreateString();
  if (string != nullptr) string->SetText(length, text);
  return string;
}

// Upper-cases through the runtime's character table, which covers -128..255; other
// characters pass as they are.
int UpperCase(wchar_t c) {
  if (c < -128 || c > 255) return c;
  return (*__ctype_toupper_loc())[c];
}

// 0..15 for a digit of a number in `radix`, or -1. Letters count only for radixes 11 to 16;
// a digit is never checked against the radix ("9" passes in octal).
int DigitValue(wchar_t c, int radix) {
  const int u = UpperCase(c);
  if (u >= '0' && u <= '9') return u - '0';
  if (radix >= 11 && radix <= 16 && u >= 'A' && u <= 'F') return u - 'A' + 10;
  return -1;
}

bool IsAsciiDigit(wchar_t c) {
  return c >= L'0' && c <= L'9';
}

// The automatic decimal count of a value: the fewest (up to 9) after which nothing is left.
int AutomaticDecimals(double value) {
  int decimals = 0;
  double scale = 1.0;
  while (decimals != 9) {
    double whole = 0;
    const double fraction = std::modf(std::fabs(value) * scale, &whole);
    if (fraction < 1e-8 || fraction > 0.9999999) break;
    ++decimals;
    scale *= 10;
  }
  return decimals;
}

// A string holding digits with an optional leading '-' and at most one '.' counts as a number.
bool IsNumericText(const CREFString& text, bool* hasDot) {
  *hasDot = false;
  for (int i = 0; i < text.length; ++i) {
    const wchar_t c = text.text[i];
    if (i == 0 && c == L'-') continue;
    if (c == L'.' && !*hasDot) {
      *hasDot = true;
      continue;
    }
    if (!IsAsciiDigit(c)) return false;
  }
  return true;
}

}  // namespace

int _swprintf(wchar_t* buffer, unsigned long capacity, wchar_t const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int count = std::vswprintf(buffer, capacity, format, arguments);
  va_end(arguments);
  if (count < 0) {
    if (capacity > 0) buffer[0] = 0;
    return -1;
  }
  buffer[count] = 0;
  return count;
}

IString* ISCreate(int value) {
  wchar_t buffer[kFormatCapacity];
  const int count = _swprintf(buffer, kFormatCapacity, L"%i", value);
  return MakeString(count < 0 ? 0 : count, buffer);
}

IString* ISCreate(const wchar_t* text) {
  if (text == nullptr) return MakeString(0, L"");
  return MakeString(static_cast<int>(std::wcslen(text)), text);
}

IString* ISCreate(const tagREFString& text) {
  return MakeString(text.length, text.text);
}

IString* ISCreate(char const* bytes, int count) {
  IString* string = CREFString::CreateString();
  if (string == nullptr) return nullptr;
  const auto* in = reinterpret_cast<const unsigned char*>(bytes);
  for (int i = 0; i < count;) {
    const unsigned char lead = in[i++];
    wchar_t character;
    if (lead <= 127) {
      character = lead;
    } else if ((lead & 0xC0) == 0xC0 && i < count) {
      // A lead byte: one continuation byte per further top bit, each adding its low six bits.
      // Continuation bytes are taken as they come, without checking their 10xxxxxx pattern.
      unsigned shifted = lead;
      unsigned mask = 0x3F;
      unsigned bits = 0;
      int continuations = 0;
      while ((shifted & 0xC0) == 0xC0 && i < count) {
        bits = (bits << 6) | (in[i++] & 0x3Fu);
        shifted = (shifted << 1) & 0xFF;
        mask >>= 1;
        ++continuations;
      }
      character = static_cast<wchar_t>(((lead & mask) << (6 * continuations)) | bits);
    } else {
      character = lead & 0x3F;  // a stray continuation byte, or a lead byte at the very end
    }
    string->Append(1, &character);
  }
  return string;
}

IString* ISCreate(double value, short decimals) {
  const int places = decimals < 0 ? AutomaticDecimals(value) : decimals;
  wchar_t format[kFormatCapacity];
  _swprintf(format, kFormatCapacity, L"%%.%df", places);
  // Wider than the usual 256 characters: the largest doubles print 309 digits before the point.
  constexpr unsigned long kCapacity = 400;
  wchar_t buffer[kCapacity];
  const int count = _swprintf(buffer, kCapacity, format, value);
  return MakeString(count < 0 ? 0 : count, buffer);
}

IString* ISCreate(IVariant* value) {
  if (value == nullptr) return nullptr;
  int isString = 0;
  value->IsString(&isString);
  if (isString != 0) {
    IString* text = nullptr;
    value->GetString(&text);
    return text;
  }
  int type = 0;
  value->GetType(&type);
  if (type != kVariantEmptyOrObject) return ISCreate(value, -1);
  // An object variant shows its object's name; without a named object the text is empty.
  IUnknown* object = nullptr;
  value->GetObject(&object);
  IString* result = nullptr;
  if (object != nullptr) {
    IObjectInfo* info = nullptr;
    object->QueryInterface(IID_IObjectInfo, reinterpret_cast<void**>(&info));
    if (info != nullptr) {
      tagREFString name{0, nullptr};
      info->GetName(0, &name);
      result = ISCreate(name);
      info->Release();
    }
    object->Release();
  }
  return result != nullptr ? result : MakeString(0, L"");
}

IString* ISCreate(IVariant* value, short presentation) {
  if (value == nullptr) return nullptr;
  if (presentation >= -1) {
    int type = 0;
    int isString = 0;
    value->IsString(&isString);
    if (isString != 0) {
      IString* text = nullptr;
      value->GetString(&text);
      const CREFString view(text);
      bool hasDot = false;
      // Texts that are not numbers, and integers too long for 32 bits, are shown as they are.
      if (!IsNumericText(view, &hasDot) || (!hasDot && view.length > 9)) return text;
      if (text != nullptr) text->Release();
      type = hasDot ? kVariantDouble : kVariantInteger;
    } else {
      value->GetType(&type);
    }
    if (presentation > 0 || type != kVariantInteger) {
      double number = 0;
      value->GetDouble(&number);
      return ISCreate(number, presentation);
    }
    int number = 0;
    value->GetInteger(&number);
    wchar_t buffer[kFormatCapacity];
    const int count = _swprintf(buffer, kFormatCapacity, L"%d", number);
    return MakeString(count < 0 ? 0 : count, buffer);
  }

  int number = 0;
  value->GetInteger(&number);
  const auto bits = static_cast<std::uint32_t>(number);
  if (presentation == -16) {
    wchar_t buffer[kFormatCapacity];
    const int count =
        _swprintf(buffer, kFormatCapacity, bits > 0xFFFFFFu ? L"#%X" : L"#%06X", bits);
    return MakeString(count < 0 ? 0 : count, buffer);
  }
  // One byte in binary, most significant bit first.
  int shift = 0;
  switch (presentation) {
    case -42:
    case -24:
      shift = 24;
      break;
    case -32:
    case -23:
      shift = 16;
      break;
    case -22:
      shift = 8;
      break;
    default:
      shift = 0;
  }
  const unsigned byte = (bits >> shift) & 0xFFu;
  IString* string = CREFString::CreateString();
  if (string == nullptr) return nullptr;
  for (unsigned mask = 128; mask != 0; mask >>= 1) string->Append(1, (byte & mask) ? L"1" : L"0");
  return string;
}

IVariant* IVCreate(int value) {
  IVariant* variant = CREFString::CreateVariant();
  if (variant != nullptr) variant->SetInteger(value);
  return variant;
}

IVariant* IVCreate(double value) {
  IVariant* variant = CREFString::CreateVariant();
  if (variant != nullptr) variant->SetDouble(value);
  return variant;
}

int _IS2Integer(CREFString text, int radix) {
  if (text.length <= 0) return 0;
  int i = 0;
  std::uint32_t sign = 1;
  const wchar_t first = text.text[0];
  if (first == L'-' || first == L'+' || first == L'#') {
    if (first == L'-') sign = static_cast<std::uint32_t>(-1);
    if (first == L'#') radix = 16;
    if (text.length == 1) return 0;
    i = 1;
  }
  std::uint32_t value = 0;  // wraps like the 32-bit arithmetic it stands for
  for (; i < text.length; ++i) {
    const int digit = DigitValue(text.text[i], radix);
    if (digit < 0) break;
    value = value * static_cast<std::uint32_t>(radix) + static_cast<std::uint32_t>(digit);
  }
  return static_cast<int>(value * sign);
}

int _IS2Color(CREFString text, int radix) {
  const auto v = static_cast<std::uint32_t>(_IS2Integer(text, radix));
  return static_cast<int>(((v & 0xFFu) << 16) | ((v >> 16) & 0xFFu) | (v & 0xFF00u));
}

double _IS2Double(CREFString text) {
  if (text.length <= 0) return 0.0;
  if (text.text[0] == L'#') {
    std::uint32_t value = 0;
    for (int i = 1; i < text.length; ++i) {
      const int digit = DigitValue(text.text[i], 16);
      if (digit < 0) break;
      value = value * 16 + static_cast<std::uint32_t>(digit);
    }
    return static_cast<double>(static_cast<std::int32_t>(value));
  }
  double sign = 1.0;
  int i = 0;
  if (text.text[0] == L'-' || text.text[0] == L'+') {
    if (text.text[0] == L'-') sign = -1.0;
    i = 1;
    if (text.length == 1) return sign * 0.0;  // "-" gives negative zero
  }
  // Unsigned accumulators: they wrap where signed 64-bit ones would overflow.
  std::uint64_t whole = 0;
  std::uint64_t numerator = 0;
  std::uint64_t scale = 1;
  bool fraction = false;
  bool hasExponent = false;
  int exponent = 0;
  for (; i < text.length; ++i) {
    const wchar_t c = text.text[i];
    if (IsAsciiDigit(c)) {
      const auto digit = static_cast<std::uint64_t>(c - L'0');
      if (!fraction) {
        whole = whole * 10 + digit;
      } else {
        numerator = numerator * 10 + digit;
        scale *= 10;
        if (scale > 999999999999999999ull) break;  // that last digit still counts
      }
    } else if (c == L'.') {
      if (fraction) break;
      fraction = true;
    } else {
      // An exponent needs a non-zero fraction and an explicit sign: "1.5E+2", not "1E+2".
      if ((c == L'E' || c == L'e') && numerator != 0 && i + 1 < text.length &&
          (text.text[i + 1] == L'+' || text.text[i + 1] == L'-')) {
        hasExponent = true;
        exponent = _IS2Integer(CREFString(text.text + i + 1, text.length - i - 1), 10);
      }
      break;
    }
  }
  double result = static_cast<double>(static_cast<std::int64_t>(whole));
  if (fraction)
    result += static_cast<double>(static_cast<std::int64_t>(numerator)) /
              static_cast<double>(static_cast<std::int64_t>(scale));
  result *= sign;
  if (hasExponent) {
    if (exponent > 0) result *= std::pow(10.0, exponent);
    if (exponent < 0) result /= std::pow(10.0, -static_cast<double>(exponent));
  }
  return result;
}
