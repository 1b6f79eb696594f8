// Host strings and variants made from plain values, and texts parsed back into values.
// Every created object carries one reference for the caller; null when the host has none.
#pragma once

#include "support/REFString.h"

// The value in decimal.
IString* ISCreate(int value);
// A copy of the NUL-terminated text; a null pointer gives an empty string.
IString* ISCreate(const wchar_t* text);
// A copy of the view.
IString* ISCreate(const tagREFString& text);
// Decoded from `count` bytes of UTF-8.
IString* ISCreate(char const* bytes, int count);
// Fixed-point text with `decimals` decimals; a negative count takes as many as the value
// needs, up to 9.
IString* ISCreate(double value, short decimals);
// The text of a variant: its string, the name of its object, or its number. Null for null.
IString* ISCreate(IVariant* value);
// A variant's number in a presentation: >= -1 decimals as above (integers without any),
// -16 a colour "#RRGGBB", other negative values one byte in binary. Null for null.
IString* ISCreate(IVariant* value, short presentation);

IVariant* IVCreate(int value);
IVariant* IVCreate(double value);

// An integer in `radix` after an optional '-', '+' or '#' (hexadecimal); stops at the first
// non-digit; never fails (unparsable text gives 0).
int _IS2Integer(CREFString text, int radix);
// As _IS2Integer, with red and blue swapped: "#RRGGBB" gives 0x00BBGGRR.
int _IS2Color(CREFString text, int radix);
// A decimal number with optional fraction and signed exponent, or '#' and hexadecimal digits.
double _IS2Double(CREFString text);

// vswprintf into `buffer` of `capacity` characters, terminated; returns the characters
// written, or -1 (and an empty buffer) when the text does not fit.
int _swprintf(wchar_t* buffer, unsigned long capacity, wchar_t const* format, ...);
