// Counted views: the cursor-style parsing operations, their result codes and cursor moves, the
// XML tag extractor and the split into a host collection.
#include <gtest/gtest.h>

#include <cwchar>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "sdk/ComPtr.h"
#include "support/Convert.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"

namespace {

std::wstring Text(const tagREFString& view) {
  return std::wstring(view.text, static_cast<std::size_t>(view.length > 0 ? view.length : 0));
}

CREFString View(std::wstring_view text) {
  return CREFString(text.data(), static_cast<int>(text.size()));
}

// operation(view, &written, arguments...) on a view of `text` (a literal, so it outlives the
// view): its result, the written view ("untouched" when not written) and what is left of the view.
template <class Operation, class... Arguments>
void Check(const wchar_t* text, HRESULT result, const wchar_t* out, const wchar_t* rest,
           Operation operation, Arguments... arguments) {
  CREFString view(text, static_cast<int>(std::wcslen(text))), written(L"untouched", 9);
  EXPECT_EQ(std::invoke(operation, view, &written, arguments...), result) << text;
  EXPECT_EQ(Text(written), out) << text;
  EXPECT_EQ(Text(view), rest) << text;
}

// Catches: a wrong result code, a separator kept or dropped, the cursor moved when it should
// stay (or the reverse), in each line operation.
TEST(REFString, LineOperations) {
  const auto line = &CREFString::GetLine;
  Check(L"a,b", S_OK, L"a", L"b", line, true, L',', true);
  Check(L"b", S_FALSE, L"b", L"", line, true, L',', true);
  Check(L"", E_FAIL, L"", L"", line, true, L',', true);
  Check(L"x,", S_FALSE, L"x", L"", line, true, L',', true);
  Check(L"ab,cd", S_OK, L"ab,", L"ab,cd", line, false, L',', false);
  Check(L"abc", E_FAIL, L"abc", L"abc", line, false, L',', true);  // peeking at the last line

  const auto crlf = &CREFString::GetLineCRLF;
  Check(L"x\r\ny", S_OK, L"x", L"y", crlf, true, true);
  Check(L"x\r\ry", S_OK, L"x\r", L"\ry", crlf, false, true);
  Check(L"x\n\r", S_FALSE, L"x\n\r", L"", crlf, false, true);
  Check(L"xyz", S_OK, L"xyz", L"xyz", crlf, true, false);

  const auto reverse = &CREFString::GetReverseLine;
  Check(L"dir/sub/file", S_OK, L"dir/sub", L"file", reverse, L'/', true, true);
  Check(L"dir/sub/file", S_OK, L"dir/sub", L"/file", reverse, L'/', true, false);
  Check(L"file", E_FAIL, L"", L"file", reverse, L'/', true, false);

  const auto right = &CREFString::GetLineRight;
  Check(L"dir/sub/file", S_OK, L"file", L"dir/sub", right, L'/', true, true, false);
  Check(L"dir/sub/file", S_OK, L"/file", L"dir/sub/", right, L'/', true, false, false);
  Check(L"name", S_OK, L"name", L"", right, L'/', true, true, true);
  Check(L"name", E_FAIL, L"", L"name", right, L'/', true, true, false);
  Check(L"", E_FAIL, L"untouched", L"", right, L'/', true, true, true);
  Check(L"a.b.c", S_OK, L"c", L"a.b.c", &CREFString::Crop, L'.', false, true);

  // Split: the right part starts with the separator; the view does not move. Without
  // separators there is no split.
  auto split = [](CREFString& v, CREFString* left, const wchar_t* separators, int stopAtControl) {
    CREFString rightPart;
    const HRESULT hr = v.Split(left, &rightPart, View(separators), stopAtControl);
    EXPECT_EQ(Text(*left) + Text(rightPart), Text(v));
    return hr;
  };
  Check(L"key=value", S_OK, L"key", L"key=value", split, L"=", 0);
  Check(L"ab\tc=d", S_OK, L"ab", L"ab\tc=d", split, L"=", 1);
  Check(L"ab\tc=d", S_OK, L"ab\tc", L"ab\tc=d", split, L"=", 0);
  Check(L"ab\tc=d", E_FAIL, L"ab\tc=d", L"ab\tc=d", split, L"", 1);
}

// Catches: a token of the wrong extent (quotes, numbers with and without exponents, signs,
// underscores), GetWord consuming its separator or returning the wrong index.
TEST(REFString, WordsAndTokens) {
  // Text, token ("untouched" on failure), rest. Any token directly followed by a quote loses
  // its first character and the quote.
  const wchar_t* cases[][3] = {{L"  x", L"untouched", L"  x"},    {L"\"ab c\" d", L"ab c", L" d"},
                               {L"\"\" x", L"", L" x"},           {L"\"open", L"\"open", L""},
                               {L"foo_bar+1", L"foo_bar", L"+1"}, {L"+1", L"+", L"1"},
                               {L"-3.25)", L"-3.25", L")"},       {L"1.5e+3*", L"1.5e+3", L"*"},
                               {L"1e+3", L"1", L"e+3"},           {L"1.5e3", L"1.5", L"e3"},
                               {L"1.5e+", L"1.5", L"e+"},         {L"7.", L"7", L"."},
                               {L"-x", L"untouched", L"-x"},      {L"_a", L"_", L"a"},
                               {L"abc\"x", L"bc", L"x"}};
  for (const auto& [text, token, rest] : cases) {
    const HRESULT result = std::wstring(token) == L"untouched" ? E_FAIL : S_OK;
    Check(text, result, token, rest, &CREFString::GetFirstWord, true);
  }
  Check(L"abc def", S_OK, L"abc", L"abc def", &CREFString::GetFirstWord, false);

  // GetWord returns the separator's index + 1 (0 when there is none) and does not consume it.
  const auto word = &CREFString::GetWord;
  Check(L"name: value", 5, L"name", L": value", word, true, CREFString(L":;", 2));
  Check(L"abc", 0, L"abc", L"", word, true, CREFString(L":;", 2));
  Check(L"", E_FAIL, L"", L"", word, true, CREFString(L":;", 2));
}

// Catches: the start-at-zero quirk of Contains fixed or changed, a match found after a restart.
TEST(REFString, ContainsPositionsKeepTheStartAtZeroQuirk) {
  // A match of two or more characters at 0 reads as 1; the mismatching character is not
  // compared again with the start of the pattern ("aab" is not found in "aaab").
  const std::tuple<const wchar_t*, const wchar_t*, int> cases[] = {
      {L"abc", L"bc", 1},        {L"abc", L"ab", 1},    {L"abc", L"abc", 1},
      {L"abc", L"a", 0},         {L"abc", L"c", 2},     {L"xxabyab", L"ab", 2},
      {L"abc", L"abcd", E_FAIL}, {L"abc", L"", E_FAIL}, {L"", L"a", E_FAIL},
      {L"aaab", L"aab", E_FAIL}};
  for (const auto& [text, pattern, index] : cases)
    EXPECT_EQ(View(text).Contains(View(pattern)), index) << text << " " << pattern;

  CREFString view(L"xxabyab", 7);
  EXPECT_EQ(view.ContainsChar(CREFString(L"yb", 2)), 3);
  EXPECT_EQ(view.ContainsChar(CREFString(L"q", 1)), E_FAIL);
  EXPECT_EQ(view.ContainsChar(CREFString()), E_FAIL);
}

// Catches: equality reading past the counted length or folding case, separators not turned.
TEST(REFString, EqualityAndSeparators) {
  EXPECT_TRUE(__REFStringEqual(CREFString(L"ab", 2), CREFString(L"abc", 2)));
  EXPECT_FALSE(__REFStringEqual(CREFString(L"ab", 2), CREFString(L"abc", 3)));
  EXPECT_FALSE(__REFStringEqual(CREFString(L"ab", 2), CREFString(L"aB", 2)));
  EXPECT_TRUE(__REFStringEqual(CREFString(nullptr, 0), CREFString(L"x", 0)));

  std::wstring path = L"C:\\dir\\file";
  EXPECT_EQ(CheckSeparator(View(path)), S_OK);
  EXPECT_EQ(path, L"C:/dir/file");
  EXPECT_EQ(CheckSeparator(CREFString()), E_FAIL);
}

// Catches: the tag extractor's attributes, value or cursor move wrong in any of its cases.
TEST(REFString, XMLGetTAGGEDElementsAttributesAndAdvance) {
  struct Case {
    const wchar_t *text, *tag;
    short advance;
    HRESULT result;
    const wchar_t *attributes, *value, *rest;  // a null rest: the cursor stays
  };
  const wchar_t* xml = L"<ID>5</ID><Flags>0</Flags>";
  const Case cases[] = {
      {xml, L"ID", 1, S_OK, L"", L"5", L"<Flags>0</Flags>"},
      // Attributes keep their leading space; the tag's name ends at a space or '>'.
      {L"<a><Item kind=\"x\">text</Item>", L"Item kind", 0, S_OK, L" kind=\"x\"", L"text", nullptr},
      // A trailing '/' comes off the attributes; a self-closing element's value runs to the next
      // closing tag of the same name.
      {L"<v a='1'/><v>2</v>rest", L"v", 1, S_OK, L" a='1'", L"<v>2", L"rest"},
      // Missing closing tag: empty value, and the cursor moves to the start of the content.
      {L"<Day>12<Month>3</Month>", L"Day", 1, S_OK, L"", L"", L"12<Month>3</Month>"},
      // No check that the name ends: "a" stops at "<ab".
      {L"<ab>1</ab><a>2</a>", L"a", 0, S_OK, L"b", L"1</ab><a>2", nullptr},
      // A failed partial match restarts at the failing character: "<<X" still finds "<X".
      {L"<<X>9</X>", L"X", 0, S_OK, L"", L"9", nullptr},
      // Not found: value is the whole text, attributes are untouched and the cursor stays.
      {xml, L"Missing", 1, E_FAIL, L"junk", xml, nullptr},
      {L"", L"Missing", 1, E_FAIL, L"junk", L"", nullptr}};
  for (const Case& c : cases) {
    CREFString cursor = View(c.text), tag = View(c.tag), attributes(L"junk", 4), value;
    EXPECT_EQ(XMLGetTAGGED(cursor, tag, attributes, value, c.advance), c.result) << c.text;
    EXPECT_EQ(Text(attributes), c.attributes) << c.text;
    EXPECT_EQ(Text(value), c.value) << c.text;
    EXPECT_EQ(Text(cursor), c.rest != nullptr ? c.rest : c.text) << c.text;
  }
}

using Pairs = std::vector<std::pair<std::wstring, int>>;

// Takes a collection made by CollectionCreate and reads back its (name, value) pairs.
Pairs ReadPairs(ISuperCollection* created) {
  const auto collection = ComPtr<ISuperCollection>::Adopt(created);
  Pairs pairs;
  int count = 0;
  EXPECT_TRUE(collection);
  if (collection) collection->GetCount(&count);
  for (int i = 0; i < count; ++i) {
    ComPtr<IString> name;
    ComPtr<IUnknown> value;
    collection->GetName(i, name.Put());
    collection->GetValue(i, value.Put());
    int number = -1;
    if (auto variant = value.As<IVariant>()) variant->GetInteger(&number);
    pairs.emplace_back(testhost::Text(name.Get()), number);
  }
  return pairs;
}

// Catches: pieces numbered wrongly, empty pieces dropped, a trailing separator adding a piece.
TEST(REFString, CollectionCreateNumbersThePieces) {
  int ids[] = {10, 20, 30};
  EXPECT_EQ(ReadPairs(CollectionCreate(View(L"a|b|c"), L'|', nullptr)),
            (Pairs{{L"a", 0}, {L"b", 1}, {L"c", 2}}));
  EXPECT_EQ(ReadPairs(CollectionCreate(View(L"x||y|"), L'|', ids)),
            (Pairs{{L"x", 10}, {L"", 20}, {L"y", 30}}));
  EXPECT_EQ(ReadPairs(CollectionCreate(CREFString(), L'|', nullptr)), Pairs{});
}

}  // namespace
