// Counted views: the cursor-style parsing operations, their result codes and cursor moves, the
// XML tag extractor and the split into a host collection.
#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "sdk/ComPtr.h"
#include "support/Convert.h"
#include "support/REFString.h"

namespace {

std::wstring Text(const tagREFString& view) {
  return std::wstring(view.text, static_cast<std::size_t>(view.length > 0 ? view.length : 0));
}

CREFString View(const std::wstring& text) {
  return CREFString(text.data(), static_cast<int>(text.size()));
}

// One operation on a view of `text` (a literal, so it outlives the view): its result, the out
// view ("untouched" when not written) and what is left of the view.
template <class Operation>
void Check(const wchar_t* text, Operation operation, HRESULT result, const wchar_t* out,
           const wchar_t* rest) {
  CREFString view(text, static_cast<int>(std::wcslen(text)));
  CREFString written(L"untouched", 9);
  EXPECT_EQ(operation(view, &written), result) << testing::PrintToString(std::wstring(text));
  EXPECT_EQ(Text(written), out) << testing::PrintToString(std::wstring(text));
  EXPECT_EQ(Text(view), rest) << testing::PrintToString(std::wstring(text));
}

TEST(REFString, LineOperations) {
  auto line = [](bool advance, bool drop) {
    return [=](CREFString& v, CREFString* o) { return v.GetLine(o, advance, L',', drop); };
  };
  Check(L"a,b", line(true, true), S_OK, L"a", L"b");
  Check(L"b", line(true, true), S_FALSE, L"b", L"");
  Check(L"", line(true, true), E_FAIL, L"", L"");
  Check(L"ab,cd", line(false, false), S_OK, L"ab,", L"ab,cd");
  Check(L"abc", line(false, true), E_FAIL, L"abc", L"abc");  // peeking at the last line
  Check(L"x,", line(true, true), S_FALSE, L"x", L"");

  auto crlf = [](bool exclude, bool advance) {
    return [=](CREFString& v, CREFString* o) { return v.GetLineCRLF(o, exclude, advance); };
  };
  Check(L"x\r\ny", crlf(true, true), S_OK, L"x", L"y");
  Check(L"x\r\ry", crlf(false, true), S_OK, L"x\r", L"\ry");
  Check(L"x\n\r", crlf(false, true), S_FALSE, L"x\n\r", L"");
  Check(L"xyz", crlf(true, false), S_OK, L"xyz", L"xyz");

  auto reverse = [](bool skip) {
    return [=](CREFString& v, CREFString* o) { return v.GetReverseLine(o, L'/', true, skip); };
  };
  Check(L"dir/sub/file", reverse(true), S_OK, L"dir/sub", L"file");
  Check(L"dir/sub/file", reverse(false), S_OK, L"dir/sub", L"/file");
  Check(L"file", reverse(false), E_FAIL, L"", L"file");

  auto right = [](bool truncate, bool drop, bool whole) {
    return [=](CREFString& v, CREFString* o) {
      return v.GetLineRight(o, L'/', truncate, drop, whole);
    };
  };
  Check(L"dir/sub/file", right(true, true, false), S_OK, L"file", L"dir/sub");
  Check(L"dir/sub/file", right(true, false, false), S_OK, L"/file", L"dir/sub/");
  Check(L"name", right(true, true, true), S_OK, L"name", L"");
  Check(L"name", right(true, true, false), E_FAIL, L"", L"name");
  Check(L"", right(true, true, true), E_FAIL, L"untouched", L"");
  auto crop = [](CREFString& v, CREFString* o) { return v.Crop(o, L'.', false, true); };
  Check(L"a.b.c", crop, S_OK, L"c", L"a.b.c");
  Check(L"abc", crop, E_FAIL, L"", L"abc");

  // Split: the right part starts with the separator; the view does not move.
  auto split = [](const wchar_t* separators, int stopAtControl) {
    return [=](CREFString& v, CREFString* left) {
      CREFString rightPart;
      const HRESULT hr =
          v.Split(left, &rightPart,
                  CREFString(separators, static_cast<int>(std::wcslen(separators))), stopAtControl);
      EXPECT_EQ(Text(*left) + Text(rightPart), Text(v));
      return hr;
    };
  };
  Check(L"key=value", split(L"=", 0), S_OK, L"key", L"key=value");
  Check(L"ab\tc=d", split(L"=", 1), S_OK, L"ab", L"ab\tc=d");
  Check(L"ab\tc=d", split(L"=", 0), S_OK, L"ab\tc", L"ab\tc=d");
  Check(L"ab\tc=d", split(L"", 1), E_FAIL, L"ab\tc=d", L"ab\tc=d");  // no separators: no split
}

TEST(REFString, WordsAndTokens) {
  auto first = [](CREFString& v, CREFString* o) { return v.GetFirstWord(o, true); };
  const wchar_t* cases[][3] = {
      // text, token ("untouched" on failure), rest
      {L"  x", L"untouched", L"  x"},
      {L"\"ab c\" d", L"ab c", L" d"},
      {L"\"\" x", L"", L" x"},
      {L"\"open", L"\"open", L""},
      {L"foo_bar+1", L"foo_bar", L"+1"},
      {L"+1", L"+", L"1"},
      {L"-3.25)", L"-3.25", L")"},
      {L"1.5e+3*", L"1.5e+3", L"*"},
      {L"1e+3", L"1", L"e+3"},
      {L"1.5e3", L"1.5", L"e3"},
      {L"1.5e+", L"1.5", L"e+"},
      {L"7.", L"7", L"."},
      {L"-x", L"untouched", L"-x"},
      {L"_a", L"_", L"a"},
      // Any token directly followed by a quote loses its first character and the quote.
      {L"abc\"x", L"bc", L"x"},
  };
  for (const auto& c : cases) {
    const bool fails = std::wstring(c[1]) == L"untouched";
    Check(c[0], first, fails ? E_FAIL : S_OK, c[1], c[2]);
  }
  Check(
      L"abc def", [](CREFString& v, CREFString* o) { return v.GetFirstWord(o, false); }, S_OK,
      L"abc", L"abc def");

  // GetWord returns the separator's index + 1 (0 when there is none) and does not consume it.
  auto word = [](CREFString& v, CREFString* o) {
    return static_cast<HRESULT>(v.GetWord(o, true, CREFString(L":;", 2)));
  };
  Check(L"name: value", word, 5, L"name", L": value");
  Check(L"abc", word, 0, L"abc", L"");
  Check(L"", word, E_FAIL, L"", L"");
}

int Find(const wchar_t* text, const wchar_t* pattern) {
  CREFString view(text, static_cast<int>(std::wcslen(text)));
  return view.Contains(CREFString(pattern, static_cast<int>(std::wcslen(pattern))));
}

TEST(REFString, ContainsPositionsKeepTheStartAtZeroQuirk) {
  EXPECT_EQ(Find(L"abc", L"bc"), 1);
  EXPECT_EQ(Find(L"abc", L"ab"), 1) << "a longer match at 0 reads as 1";
  EXPECT_EQ(Find(L"abc", L"abc"), 1);
  EXPECT_EQ(Find(L"abc", L"a"), 0);
  EXPECT_EQ(Find(L"abc", L"c"), 2);
  EXPECT_EQ(Find(L"xxabyab", L"ab"), 2);
  EXPECT_EQ(Find(L"abc", L"abcd"), E_FAIL);
  EXPECT_EQ(Find(L"abc", L""), E_FAIL);
  EXPECT_EQ(Find(L"", L"a"), E_FAIL);
  // The mismatching character is not compared again with the start of the pattern.
  EXPECT_EQ(Find(L"aaab", L"aab"), E_FAIL);

  CREFString view(L"xxabyab", 7);
  EXPECT_EQ(view.ContainsChar(CREFString(L"yb", 2)), 3);
  EXPECT_EQ(view.ContainsChar(CREFString(L"q", 1)), E_FAIL);
  EXPECT_EQ(view.ContainsChar(CREFString()), E_FAIL);
}

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

TEST(REFString, XMLGetTAGGEDElementsAttributesAndAdvance) {
  const std::wstring xml = L"<ID>5</ID><Flags>0</Flags>";
  CREFString text = View(xml);
  CREFString tag(L"ID", 2), attributes(L"junk", 4), value;
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 1), S_OK);
  EXPECT_EQ(Text(value), L"5");
  EXPECT_EQ(Text(attributes), L"");
  EXPECT_EQ(Text(text), L"<Flags>0</Flags>");

  // Attributes keep their leading space; the tag's name ends at a space or '>'.
  const std::wstring withAttributes = L"<a><Item kind=\"x\">text</Item>";
  text = View(withAttributes);
  tag = CREFString(L"Item kind", 9);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 0), S_OK);
  EXPECT_EQ(Text(attributes), L" kind=\"x\"");
  EXPECT_EQ(Text(value), L"text");
  EXPECT_EQ(Text(text), withAttributes) << "no advance";

  // One trailing '?' and '/' come off the attributes; a self-closing element's value runs to
  // the next closing tag of the same name.
  const std::wstring selfClosing = L"<v a='1'/><v>2</v>rest";
  text = View(selfClosing);
  tag = CREFString(L"v", 1);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 1), S_OK);
  EXPECT_EQ(Text(attributes), L" a='1'");
  EXPECT_EQ(Text(value), L"<v>2");
  EXPECT_EQ(Text(text), L"rest");

  // Missing closing tag: empty value, and the cursor moves to the start of the content.
  const std::wstring open = L"<Day>12<Month>3</Month>";
  text = View(open);
  tag = CREFString(L"Day", 3);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 1), S_OK);
  EXPECT_EQ(value.length, 0);
  EXPECT_EQ(Text(text), L"12<Month>3</Month>");

  // No check that the name ends: "a" stops at "<ab".
  const std::wstring prefix = L"<ab>1</ab><a>2</a>";
  text = View(prefix);
  tag = CREFString(L"a", 1);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 0), S_OK);
  EXPECT_EQ(Text(attributes), L"b");
  EXPECT_EQ(Text(value), L"1</ab><a>2");

  // A failed partial match restarts at the failing character: "<<X" still finds "<X".
  const std::wstring restart = L"<<X>9</X>";
  text = View(restart);
  tag = CREFString(L"X", 1);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 0), S_OK);
  EXPECT_EQ(Text(value), L"9");

  // Not found: E_FAIL, value is the whole text, the cursor stays.
  text = View(xml);
  tag = CREFString(L"Missing", 7);
  EXPECT_EQ(XMLGetTAGGED(text, tag, attributes, value, 1), E_FAIL);
  EXPECT_EQ(Text(value), xml);
  EXPECT_EQ(Text(text), xml);
  CREFString empty;
  EXPECT_EQ(XMLGetTAGGED(empty, tag, attributes, value, 1), E_FAIL);
}

// Reads back the (name, value) pairs of a collection made by CollectionCreate.
std::vector<std::pair<std::wstring, int>> Pairs(ISuperCollection* collection) {
  std::vector<std::pair<std::wstring, int>> pairs;
  int count = 0;
  collection->GetCount(&count);
  for (int i = 0; i < count; ++i) {
    ComPtr<IString> name;
    ComPtr<IUnknown> value;
    collection->GetName(i, name.Put());
    collection->GetValue(i, value.Put());
    int number = -1;
    if (auto variant = value.As<IVariant>()) variant->GetInteger(&number);
    pairs.emplace_back(Text(CREFString(name.Get())), number);
  }
  return pairs;
}

TEST(REFString, CollectionCreateNumbersThePieces) {
  const std::wstring text = L"a|b|c";
  auto collection = ComPtr<ISuperCollection>::Adopt(CollectionCreate(View(text), L'|', nullptr));
  ASSERT_TRUE(collection);
  using Pairs_ = std::vector<std::pair<std::wstring, int>>;
  EXPECT_EQ(Pairs(collection.Get()), (Pairs_{{L"a", 0}, {L"b", 1}, {L"c", 2}}));

  int ids[] = {10, 20, 30};
  const std::wstring trailing = L"x||y|";
  collection = ComPtr<ISuperCollection>::Adopt(CollectionCreate(View(trailing), L'|', ids));
  ASSERT_TRUE(collection);
  EXPECT_EQ(Pairs(collection.Get()), (Pairs_{{L"x", 10}, {L"", 20}, {L"y", 30}}));

  collection = ComPtr<ISuperCollection>::Adopt(CollectionCreate(CREFString(), L'|', nullptr));
  ASSERT_TRUE(collection);
  EXPECT_TRUE(Pairs(collection.Get()).empty());
}

}  // namespace
