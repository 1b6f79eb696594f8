// Counted views: the cursor-style parsing operations, their result codes and cursor moves, the
// XML tag extractor and the split into a host collection.
#include <gtest/gtest.h>

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

TEST(REFString, GetLineWithAndWithoutAdvance) {
  const std::wstring text = L"a,b";
  CREFString view = View(text);
  CREFString out;
  EXPECT_EQ(view.GetLine(&out, true, L',', true), S_OK);
  EXPECT_EQ(Text(out), L"a");
  EXPECT_EQ(view.GetLine(&out, true, L',', true), S_FALSE);
  EXPECT_EQ(Text(out), L"b");
  EXPECT_EQ(view.length, 0);
  out.length = 7;
  EXPECT_EQ(view.GetLine(&out, true, L',', true), E_FAIL);
  EXPECT_EQ(out.length, 0);

  // Peeking: the separator stays in the line unless dropped, and E_FAIL marks the last line.
  const std::wstring two = L"ab;cd";
  view = View(two);
  EXPECT_EQ(view.GetLine(&out, false, L';', false), S_OK);
  EXPECT_EQ(Text(out), L"ab;");
  EXPECT_EQ(Text(view), L"ab;cd");
  const std::wstring last = L"abc";
  view = View(last);
  EXPECT_EQ(view.GetLine(&out, false, L',', true), E_FAIL);
  EXPECT_EQ(Text(out), L"abc");
  // A line that ends in its separator leaves nothing: S_FALSE.
  const std::wstring ending = L"x;";
  view = View(ending);
  EXPECT_EQ(view.GetLine(nullptr, true, L';', true), S_FALSE);
  EXPECT_EQ(view.length, 0);
}

TEST(REFString, GetLineCRLFTerminators) {
  CREFString out;
  const std::wstring crlf = L"x\r\ny";
  CREFString view = View(crlf);
  EXPECT_EQ(view.GetLineCRLF(&out, true, true), S_OK);
  EXPECT_EQ(Text(out), L"x");
  EXPECT_EQ(Text(view), L"y");
  const std::wstring crcr = L"x\r\ry";
  view = View(crcr);
  EXPECT_EQ(view.GetLineCRLF(&out, false, true), S_OK);
  EXPECT_EQ(Text(out), L"x\r");
  EXPECT_EQ(Text(view), L"\ry");
  const std::wstring lfcr = L"x\n\r";
  view = View(lfcr);
  EXPECT_EQ(view.GetLineCRLF(&out, false, true), S_FALSE);
  EXPECT_EQ(Text(out), L"x\n\r");
  EXPECT_EQ(view.length, 0);
  const std::wstring plain = L"xyz";
  view = View(plain);
  EXPECT_EQ(view.GetLineCRLF(&out, true, false), S_OK);
  EXPECT_EQ(Text(out), L"xyz");
  EXPECT_EQ(Text(view), L"xyz");
  view = CREFString();
  EXPECT_EQ(view.GetLineCRLF(&out, true, true), E_FAIL);
}

TEST(REFString, ReverseAndRightLines) {
  CREFString out;
  const std::wstring path = L"dir/sub/file";
  CREFString view = View(path);
  EXPECT_EQ(view.GetReverseLine(&out, L'/', true, true), S_OK);
  EXPECT_EQ(Text(out), L"dir/sub");
  EXPECT_EQ(Text(view), L"file");
  view = View(path);
  EXPECT_EQ(view.GetReverseLine(&out, L'/', true, false), S_OK);
  EXPECT_EQ(Text(view), L"/file");
  EXPECT_EQ(view.GetReverseLine(&out, L'-', true, false), E_FAIL);
  EXPECT_EQ(out.length, 0);
  EXPECT_EQ(out.text, view.text);

  view = View(path);
  EXPECT_EQ(view.GetLineRight(&out, L'/', true, true, false), S_OK);
  EXPECT_EQ(Text(out), L"file");
  EXPECT_EQ(Text(view), L"dir/sub");
  view = View(path);
  EXPECT_EQ(view.GetLineRight(&out, L'/', true, false, false), S_OK);
  EXPECT_EQ(Text(out), L"/file");
  EXPECT_EQ(Text(view), L"dir/sub/");

  const std::wstring name = L"name";
  view = View(name);
  EXPECT_EQ(view.GetLineRight(&out, L'/', true, true, true), S_OK);
  EXPECT_EQ(Text(out), L"name");
  EXPECT_EQ(view.length, 0);
  view = View(name);
  EXPECT_EQ(view.GetLineRight(&out, L'/', true, true, false), E_FAIL);
  EXPECT_EQ(out.length, 0);
  EXPECT_EQ(view.Crop(&out, L'/', true, true), E_FAIL);
  out = View(path);
  CREFString empty;
  EXPECT_EQ(empty.Crop(&out, L'/', true, true), E_FAIL);
  EXPECT_EQ(Text(out), path) << "an empty view leaves out untouched";
  const std::wstring dotted = L"a.b.c";
  view = View(dotted);
  EXPECT_EQ(view.Crop(&out, L'.', false, true), S_OK);
  EXPECT_EQ(Text(out), L"c");
  EXPECT_EQ(Text(view), L"a.b.c");
}

TEST(REFString, SplitAtSeparatorsAndControls) {
  CREFString left, right;
  const std::wstring pair = L"key=value";
  CREFString view = View(pair);
  EXPECT_EQ(view.Split(&left, &right, CREFString(L"=", 1), 0), S_OK);
  EXPECT_EQ(Text(left), L"key");
  EXPECT_EQ(Text(right), L"=value");
  EXPECT_EQ(Text(view), pair);

  const std::wstring tabbed = L"ab\tc=d";
  view = View(tabbed);
  EXPECT_EQ(view.Split(&left, &right, CREFString(L"=", 1), 1), S_OK);
  EXPECT_EQ(Text(left), L"ab");
  EXPECT_EQ(view.Split(&left, &right, CREFString(L"=", 1), 0), S_OK);
  EXPECT_EQ(Text(left), L"ab\tc");
  // With no separators nothing splits, control characters included.
  EXPECT_EQ(view.Split(&left, &right, CREFString(), 1), E_FAIL);
  EXPECT_EQ(Text(left), tabbed);
  EXPECT_EQ(right.length, 0);
}

TEST(REFString, GetFirstWordTokens) {
  struct Case {
    std::wstring text;
    HRESULT result;
    std::wstring token;
    std::wstring rest;
  };
  const Case cases[] = {
      {L"  x", E_FAIL, L"", L"  x"},
      {L"\"ab c\" d", S_OK, L"ab c", L" d"},
      {L"\"\" x", S_OK, L"", L" x"},
      {L"\"", S_OK, L"\"", L""},
      {L"\"open", S_OK, L"\"open", L""},
      {L"foo_bar+1", S_OK, L"foo_bar", L"+1"},
      {L"+1", S_OK, L"+", L"1"},
      {L"12 ", S_OK, L"12", L" "},
      {L"-3.25)", S_OK, L"-3.25", L")"},
      {L"1.5e+3*", S_OK, L"1.5e+3", L"*"},
      {L"1e+3", S_OK, L"1", L"e+3"},
      {L"1.5e3", S_OK, L"1.5", L"e3"},
      {L"1.5e+", S_OK, L"1.5", L"e+"},
      {L"7.", S_OK, L"7", L"."},
      {L"-x", E_FAIL, L"", L"-x"},
      {L"-", E_FAIL, L"", L"-"},
      {L"x2y,", S_OK, L"x2y", L","},
      {L"_a", S_OK, L"_", L"a"},
      {L"\x00e9t\x00e9 x", S_OK, L"\x00e9t\x00e9", L" x"},
      // Any token directly followed by a quote loses its first character and the quote.
      {L"abc\"x", S_OK, L"bc", L"x"},
  };
  for (const Case& c : cases) {
    CREFString view = View(c.text);
    CREFString out(L"unchanged", 9);
    EXPECT_EQ(view.GetFirstWord(&out, true), c.result) << testing::PrintToString(c.text);
    EXPECT_EQ(Text(out), c.result == S_OK ? c.token : L"unchanged")
        << testing::PrintToString(c.text);
    EXPECT_EQ(Text(view), c.rest) << testing::PrintToString(c.text);
  }
  const std::wstring word = L"abc def";
  CREFString view = View(word);
  CREFString out;
  EXPECT_EQ(view.GetFirstWord(&out, false), S_OK);
  EXPECT_EQ(Text(view), word);
  CREFString empty;
  out.length = 3;
  EXPECT_EQ(empty.GetFirstWord(&out, true), E_FAIL);
  EXPECT_EQ(out.length, 0);
}

TEST(REFString, GetWordReturnsPositions) {
  const std::wstring text = L"name: value";
  CREFString view = View(text);
  CREFString out;
  EXPECT_EQ(view.GetWord(&out, true, CREFString(L":;", 2)), 5);
  EXPECT_EQ(Text(out), L"name");
  EXPECT_EQ(Text(view), L": value") << "the separator is not consumed";
  const std::wstring plain = L"abc";
  view = View(plain);
  EXPECT_EQ(view.GetWord(&out, false, CREFString(L":", 1)), 0);
  EXPECT_EQ(Text(out), L"abc");
  CREFString empty;
  EXPECT_EQ(empty.GetWord(&out, true, CREFString(L":", 1)), E_FAIL);
}

TEST(REFString, ContainsPositionsKeepTheStartAtZeroQuirk) {
  const std::wstring text = L"abc";
  CREFString view = View(text);
  EXPECT_EQ(view.Contains(CREFString(L"bc", 2)), 1);
  EXPECT_EQ(view.Contains(CREFString(L"ab", 2)), 1) << "a match at 0 reads as 1";
  EXPECT_EQ(view.Contains(CREFString(L"a", 1)), 0);
  EXPECT_EQ(view.Contains(CREFString(L"c", 1)), 2);
  EXPECT_EQ(view.Contains(CREFString(L"abc", 3)), 1);
  EXPECT_EQ(view.Contains(CREFString(L"abcd", 4)), E_FAIL);
  EXPECT_EQ(view.Contains(CREFString(L"x", 1)), E_FAIL);
  EXPECT_EQ(view.Contains(CREFString()), E_FAIL);
  EXPECT_EQ(CREFString().Contains(CREFString(L"a", 1)), E_FAIL);
  // The mismatching character is not compared again with the start of the pattern.
  const std::wstring repeated = L"aaab";
  view = View(repeated);
  EXPECT_EQ(view.Contains(CREFString(L"aab", 3)), E_FAIL);
  const std::wstring later = L"xxabyab";
  view = View(later);
  EXPECT_EQ(view.Contains(CREFString(L"ab", 2)), 2);

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
