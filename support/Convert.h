// Host strings and variants made from plain values, and texts parsed back into values.
#pragma once

#include "support/REFString.h"

// A host string decoded from `count` bytes of UTF-8 (one reference for the caller).
IString* ISCreate(char const* bytes, int count);
// A host string with a copy of the view.
IString* ISCreate(const tagREFString& text);
