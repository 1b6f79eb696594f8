// Counted views of wide text, their cursor-style parsing operations, and the cached host
// factories for strings, variants and collections.
//
// A view never owns or terminates its characters. "Advance" moves the view's start forward,
// "truncate" shortens it from the right; an output view is always a sub-view of the input.
#pragma once

#include "frame/Com.h"

class CREFString : public tagREFString {
 public:
  CREFString() : tagREFString{0, nullptr} {}
  CREFString(const tagREFString& view) : tagREFString(view) {}
  CREFString(const wchar_t* text, int count) : tagREFString{count, text} {}
  // Views the string object's buffer; takes no reference, so the object must outlive the view.
  explicit CREFString(IString* string);

  // The line up to and including the first `separator` (or the rest). Without `advance`:
  // S_OK while more text follows the line, else E_FAIL. With it: the view moves past the line;
  // S_FALSE when nothing is left. An empty view gives E_FAIL.
  virtual HRESULT GetLine(CREFString* out, bool advance, wchar_t separator, bool dropSeparator);
  // The line up to CR or LF; CR LF and LF CR count as one terminator.
  virtual HRESULT GetLineCRLF(CREFString* out, bool excludeTerminator, bool advance);
  // Everything before the last `separator`; with `advance` the view keeps the tail.
  virtual HRESULT GetReverseLine(CREFString* out, wchar_t separator, bool advance,
                                 bool skipSeparator);
  // Everything after the last `separator`; with `truncate` the view keeps the head.
  virtual HRESULT GetLineRight(CREFString* out, wchar_t separator, bool truncate,
                               bool dropSeparator, bool wholeIfMissing);
  // GetLineRight without the whole-if-missing choice.
  virtual HRESULT Crop(CREFString* out, wchar_t separator, bool truncate, bool dropSeparator);
  // Splits at the first separator (or control character): `right` starts with it.
  virtual HRESULT Split(CREFString* left, CREFString* right, CREFString separators,
                        int stopAtControl);
  // One token of a small expression lexer: a quoted text, a number, a word or one punctuation
  // character. `out` must be given.
  virtual HRESULT GetFirstWord(CREFString* out, bool advance);
  // The word before the first of `separators`; returns 0 when there is none, else its index + 1.
  virtual int GetWord(CREFString* out, bool advance, tagREFString separators);
  // Index of `pattern` in the view, or E_FAIL (see the .cpp for the index-0 quirk).
  virtual int Contains(tagREFString pattern);
  // Index of the first character that is in `set`, or E_FAIL.
  virtual int ContainsChar(tagREFString set);

  // New, empty host objects (one reference for the caller), or null when the host has none.
  static IString* CreateString();
  static IVariant* CreateVariant();
  static ISuperCollection* CreateCollection();
};

// Equal lengths and equal characters; two empty views are equal whatever their pointers.
bool __REFStringEqual(tagREFString a, tagREFString b);

// Replaces every backslash of the view by a slash, in place. E_FAIL for an empty view.
HRESULT CheckSeparator(tagREFString path);

// Finds the element <name ...>value</name> in `text`, where name is `tag` up to its first CR,
// space or '>'. `attributes` receives the text between the name and '>', `value` the content
// (empty when the closing tag is missing). A non-zero `advance` moves `text` past the element
// (or to the start of the content when there is no closing tag).
HRESULT XMLGetTAGGED(CREFString& text, CREFString& tag, CREFString& attributes, CREFString& value,
                     short advance);

// A new host collection of (piece, number) pairs: the text cut at `separator`, numbered by
// `ids` when given, else 0, 1, 2 ... Null when the host gives no collection.
ISuperCollection* CollectionCreate(CREFString text, wchar_t separator, int* ids);
