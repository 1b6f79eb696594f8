#include "support/Convert.h"

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
      while ((shifted & 0xC0) == 0xC0 && i < count) {
        bits = (bits << 6) | (in[i++] & 0x3Fu);
        shifted = (shifted << 1) & 0xFF;
        mask >>= 1;
      }
      int continuations = 0;
      for (unsigned m = 0x3F; m != mask; m >>= 1) ++continuations;
      character = static_cast<wchar_t>(((lead & mask) << (6 * continuations)) | bits);
    } else {
      character = lead & 0x3F;  // a stray continuation byte, or a lead byte at the very end
    }
    string->Append(1, &character);
  }
  return string;
}

IString* ISCreate(const tagREFString& text) {
  IString* string = CREFString::CreateString();
  if (string != nullptr) string->SetText(text.length, text.text);
  return string;
}
