#include "support/REFString.h"

#include <cwctype>
#include <initializer_list>

#include "frame/Loader.h"

namespace {

constexpr wchar_t kCR = 13;
constexpr wchar_t kLF = 10;

bool InSet(wchar_t c, tagREFString set) {
  for (int i = 0; i < set.length; ++i)
    if (set.text[i] == c) return true;
  return false;
}

bool IsDigit(wchar_t c) {
  return std::iswdigit(static_cast<wint_t>(c)) != 0;
}
bool IsPunct(wchar_t c) {
  return std::iswpunct(static_cast<wint_t>(c)) != 0;
}
bool IsSpace(wchar_t c) {
  return std::iswspace(static_cast<wint_t>(c)) != 0;
}

void Advance(tagREFString& view, int count) {
  view.text += count;
  view.length -= count;
}

int LastIndexOf(const tagREFString& view, wchar_t c) {
  for (int k = view.length - 1; k >= 0; --k)
    if (view.text[k] == c) return k;
  return -1;
}

// A search pattern made of up to three pieces, so the XML patterns need no buffer.
struct Pattern {
  tagREFString piece[3];
  int Length() const { return piece[0].length + piece[1].length + piece[2].length; }
  wchar_t At(int k) const {
    for (const tagREFString& p : piece) {
      if (k < p.length) return p.text[k];
      k -= p.length;
    }
    return 0;
  }
};

// Forward scan with a match counter; after a partial match fails, matching restarts at the
// failing character. Returns the index just past the match, or -1.
int FindEnd(const tagREFString& view, const Pattern& pattern) {
  const int length = pattern.Length();
  if (length <= 0) return -1;
  int m = 0;
  for (int i = 0; i < view.length; ++i) {
    if (view.text[i] == pattern.At(m)) {
      if (++m == length) return i + 1;
    } else {
      m = view.text[i] == pattern.At(0) ? 1 : 0;
      if (m == length) return i + 1;
    }
  }
  return -1;
}

}  // namespace

CREFString::CREFString(IString* string) : tagREFString{0, nullptr} {
  if (string != nullptr) string->GetBuffer(&text, &length);
}

HRESULT CREFString::GetLine(CREFString* out, bool advance, wchar_t separator, bool dropSeparator) {
  if (length <= 0) {
    if (out != nullptr) out->length = 0;
    return E_FAIL;
  }
  int end = length;
  for (int k = 0; k < length; ++k) {
    if (text[k] == separator) {
      end = k + 1;  // the separator belongs to the line
      break;
    }
  }
  if (out != nullptr) {
    const wchar_t* start = text;
    out->text = start;
    out->length = dropSeparator && start[end - 1] == separator ? end - 1 : end;
  }
  if (!advance) return length > end ? S_OK : E_FAIL;  // peeking: E_FAIL marks the last line
  Advance(*this, end);
  if (length < 1) {
    length = 0;
    return S_FALSE;
  }
  return S_OK;
}

HRESULT CREFString::GetLineCRLF(CREFString* out, bool excludeTerminator, bool advance) {
  if (length <= 0) {
    if (out != nullptr) out->length = 0;
    return E_FAIL;
  }
  int k = 0;
  while (k < length && text[k] != kCR && text[k] != kLF) ++k;
  int end = k;
  if (k < length) {
    end = k + 1;
    // CR LF and LF CR are one terminator; CR CR and LF LF end two lines.
    if (k + 1 < length && text[k + 1] != text[k] && (text[k + 1] == kCR || text[k + 1] == kLF))
      end = k + 2;
  }
  if (out != nullptr) {
    out->text = text;
    out->length = excludeTerminator ? k : end;
  }
  if (!advance) return S_OK;
  Advance(*this, end);
  if (length < 1) {
    length = 0;
    return S_FALSE;
  }
  return S_OK;
}

HRESULT CREFString::GetReverseLine(CREFString* out, wchar_t separator, bool advance,
                                   bool skipSeparator) {
  const int k = length > 0 ? LastIndexOf(*this, separator) : -1;
  if (k < 0) {
    if (out != nullptr) *out = tagREFString{0, text};
    return E_FAIL;
  }
  if (out != nullptr) *out = tagREFString{k, text};
  if (advance) Advance(*this, skipSeparator ? k + 1 : k);
  return S_OK;
}

HRESULT CREFString::GetLineRight(CREFString* out, wchar_t separator, bool truncate,
                                 bool dropSeparator, bool wholeIfMissing) {
  if (length <= 0) return E_FAIL;  // out untouched
  const int k = LastIndexOf(*this, separator);
  if (k >= 0) {
    const int from = dropSeparator ? k + 1 : k;
    if (out != nullptr) *out = tagREFString{length - from, text + from};
    if (truncate) length = dropSeparator ? k : k + 1;
    return S_OK;
  }
  if (!wholeIfMissing) {
    if (out != nullptr) out->length = 0;
    return E_FAIL;
  }
  if (out != nullptr) *out = tagREFString{length, text};
  if (truncate) length = 0;
  return S_OK;
}

HRESULT CREFString::Crop(CREFString* out, wchar_t separator, bool truncate, bool dropSeparator) {
  return GetLineRight(out, separator, truncate, dropSeparator, false);
}

HRESULT CREFString::Split(CREFString* left, CREFString* right, CREFString separators,
                          int stopAtControl) {
  if (length <= 0) {
    if (left != nullptr) *left = tagREFString{0, text};
    if (right != nullptr) right->length = 0;
    return E_FAIL;
  }
  // With no separators the view is never split, control characters included.
  int at = -1;
  if (separators.length > 0) {
    for (int i = 0; i < length && at < 0; ++i) {
      const wchar_t c = text[i];
      if ((stopAtControl != 0 && c < 32) || InSet(c, separators)) at = i;
    }
  }
  if (at < 0) {
    if (left != nullptr) *left = tagREFString{length, text};
    if (right != nullptr) right->length = 0;
    return E_FAIL;
  }
  if (left != nullptr) *left = tagREFString{at, text};
  if (right != nullptr) *right = tagREFString{length - at, text + at};
  return S_OK;
}

HRESULT CREFString::GetFirstWord(CREFString* out, bool advance) {
  if (length < 1) {
    if (out != nullptr) out->length = 0;
    return E_FAIL;
  }
  const wchar_t c = text[0];
  int n = 0;
  if (c == L'"') {
    if (length == 1 || text[1] == L'"') {
      n = 1;
    } else {
      n = 2;
      while (n < length && text[n] != L'"') ++n;
    }
  } else if (IsDigit(c) || (c == L'-' && length >= 2 && IsDigit(text[1]))) {
    n = c == L'-' ? 1 : 0;
    while (n < length && IsDigit(text[n])) ++n;
    if (n + 1 < length && text[n] == L'.' && IsDigit(text[n + 1])) {
      n += 1;
      while (n < length && IsDigit(text[n])) ++n;
      // An exponent only after a fraction, and only with an explicit sign: "1.5e+3".
      if (n + 2 < length && (text[n] == L'E' || text[n] == L'e') &&
          (text[n + 1] == L'+' || text[n + 1] == L'-') && IsDigit(text[n + 2])) {
        n += 2;
        while (n < length && IsDigit(text[n])) ++n;
      }
    }
  } else if (!IsPunct(c) || c == L'-') {
    // A word runs to white space or punctuation other than '_'. A leading '-' is punctuation
    // itself, so "-x" (and a leading space) gives an empty token.
    while (n < length && !IsSpace(text[n]) && (!IsPunct(text[n]) || text[n] == L'_')) ++n;
  } else {
    n = 1;
  }
  if (n == 0) return E_FAIL;
  if (out != nullptr) {
    *out = tagREFString{n, text};
    // Any token directly followed by a double quote loses its first character and consumes the
    // quote: this strips a quoted token's quotes, and is applied to every token on purpose.
    if (n < length && text[n] == L'"') {
      *out = tagREFString{n - 1, text + 1};
      ++n;
    }
  }
  if (advance) Advance(*this, n);
  return S_OK;
}

int CREFString::GetWord(CREFString* out, bool advance, tagREFString separators) {
  if (length < 1) {
    if (out != nullptr) out->length = 0;
    return E_FAIL;
  }
  int p = 0;
  while (p < length && !InSet(text[p], separators)) ++p;
  const bool found = p < length;
  if (out != nullptr) *out = tagREFString{p, text};
  if (advance) Advance(*this, p);  // the separator stays at the start of the view
  return found ? p + 1 : 0;
}

int CREFString::Contains(tagREFString pattern) {
  if (pattern.length <= 0 || length <= 0) return E_FAIL;
  // The start is remembered as "0 = not yet", so a match of two or more characters at index 0
  // reports index 1 while a one-character match there reports 0. A mismatching character is not
  // compared again with the start of the pattern.
  int m = 0;
  int s = 0;
  for (int i = 0; i < length; ++i) {
    if (m == pattern.length) return s;
    if (text[i] == pattern.text[m]) {
      if (s == 0) s = i;
      ++m;
    } else {
      m = 0;
      s = 0;
    }
  }
  return m == pattern.length ? s : E_FAIL;
}

int CREFString::ContainsChar(tagREFString set) {
  if (set.length <= 0 || length <= 0) return E_FAIL;
  for (int i = 0; i < length; ++i)
    if (InSet(text[i], set)) return i;
  return E_FAIL;
}

IString* CREFString::CreateString() {
  static CachedComponent gStringComponent;
  return static_cast<IString*>(CreateFromCollectionsComponent(
      gStringComponent, RefLiteral(L"CreatableString"), IID_ICreatableString));
}

IVariant* CREFString::CreateVariant() {
  static CachedComponent gVariantComponent;
  return static_cast<IVariant*>(
      CreateFromCollectionsComponent(gVariantComponent, RefLiteral(L"Variant"), IID_IVariant));
}

ISuperCollection* CREFString::CreateCollection() {
  static CachedComponent gCollectionComponent;
  return static_cast<ISuperCollection*>(CreateFromCollectionsComponent(
      gCollectionComponent, RefLiteral(L"SuperCollection"), IID_ISuperCollection));
}

bool __REFStringEqual(tagREFString a, tagREFString b) {
  if (a.length != b.length) return false;
  for (int i = 0; i < a.length; ++i)
    if (a.text[i] != b.text[i]) return false;
  return true;
}

HRESULT CheckSeparator(tagREFString path) {
  if (path.length <= 0) return E_FAIL;
  auto* characters = const_cast<wchar_t*>(path.text);  // the caller owns writable characters
  for (int i = 0; i < path.length; ++i)
    if (characters[i] == L'\\') characters[i] = L'/';
  return S_OK;
}

HRESULT XMLGetTAGGED(CREFString& text, CREFString& tag, CREFString& attributes, CREFString& value,
                     short advance) {
  const tagREFString source = text;
  tagREFString name{0, tag.text};
  while (name.length < tag.length && tag.text[name.length] != kCR &&
         tag.text[name.length] != L' ' && tag.text[name.length] != L'>')
    ++name.length;
  static constexpr wchar_t kOpen[] = L"<";
  static constexpr wchar_t kCloseStart[] = L"</";
  static constexpr wchar_t kCloseEnd[] = L">";
  const Pattern open{{RefLiteral(kOpen), name, {0, nullptr}}};
  const Pattern close{{RefLiteral(kCloseStart), name, RefLiteral(kCloseEnd)}};

  value = source;
  if (source.length <= 0) return E_FAIL;
  // No check that the name ends after the pattern: a search for "a" also stops at "<ab".
  const int afterOpen = FindEnd(source, open);
  if (afterOpen < 0) return E_FAIL;

  tagREFString rest{source.length - afterOpen, source.text + afterOpen};
  value = rest;
  attributes = rest;
  const int afterBracket =
      FindEnd(rest, Pattern{{RefLiteral(kCloseEnd), {0, nullptr}, {0, nullptr}}});
  if (afterBracket >= 0) {
    value = tagREFString{rest.length - afterBracket, rest.text + afterBracket};
    // Attributes keep their leading white space; one trailing '>', '?' and '/' go, in this order.
    tagREFString a{afterBracket - 1, rest.text};
    for (wchar_t trailing : {L'>', L'?', L'/'})
      if (a.length > 0 && a.text[a.length - 1] == trailing) --a.length;
    attributes = a;
  }

  const tagREFString content = value;
  const int afterClose = FindEnd(content, close);
  const wchar_t* resume = content.text;
  if (afterClose >= 0) {
    value.length = afterClose - close.Length();
    resume = content.text + afterClose;
  } else {
    value.length = 0;  // resume at the start of the content
  }
  if (advance != 0) {
    text.text = resume;
    text.length = static_cast<int>(source.text + source.length - resume);
  }
  return S_OK;
}

ISuperCollection* CollectionCreate(CREFString text, wchar_t separator, int* ids) {
  ISuperCollection* collection = CREFString::CreateCollection();
  if (collection == nullptr) return nullptr;
  for (int i = 0; text.length > 0; ++i) {
    CREFString piece;
    text.GetLine(&piece, true, separator, true);
    IString* name = CREFString::CreateString();
    IVariant* number = CREFString::CreateVariant();
    if (name == nullptr || number == nullptr) {
      if (name != nullptr) name->Release();
      if (number != nullptr) number->Release();
      collection->Release();
      return nullptr;
    }
    name->SetText(piece.length, piece.text);
    number->SetInteger(ids != nullptr ? ids[i] : i);
    collection->Add(name, number, nullptr, 0);
    name->Release();
    number->Release();
  }
  return collection;
}
