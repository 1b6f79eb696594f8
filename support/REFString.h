// Counted views of wide text and the cached host factories for strings, variants and collections.
#pragma once

#include "frame/Com.h"

class CREFString : public tagREFString {
 public:
  CREFString() : tagREFString{0, nullptr} {}
  CREFString(const tagREFString& view) : tagREFString(view) {}
  CREFString(const wchar_t* text, int count) : tagREFString{count, text} {}
  // Views the string object's buffer; takes no reference, so the object must outlive the view.
  explicit CREFString(IString* string);

  // New, empty host objects (one reference for the caller), or null when the host has none.
  static IString* CreateString();
  static IVariant* CreateVariant();
  static ISuperCollection* CreateCollection();
};
