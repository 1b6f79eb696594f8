// The XML and folder streams of the "Storage" module: what they write, what they read back,
// and that a failed write never replaces a good file.
#include <expat.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstring>

#include "host/core/Variant.h"
#include "host/storage/FolderStream.h"
#include "host/storage/XMLStream.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"
#include "sdk/Transitions.h"
#include "tests/common/TestHost.h"
#include "tests/host/StorageTestSupport.h"

namespace {

using coretest::CoreTest;
using coretest::Str;
using coretest::Text;
using storagetest::ReadFile;
using storagetest::ScratchFolder;
using storagetest::WriteFile;

// Elements of a document as a real XML parser sees them: "a/b/c" paths and their texts.
struct Parsed {
  bool wellFormed = false;
  std::vector<std::pair<std::string, std::string>> elements;
};

Parsed ParseWithExpat(const std::string& xml) {
  struct State {
    std::vector<std::string> stack;
    std::vector<std::size_t> open;
    Parsed result;
  } state;
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &state);
  XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char**) {
        auto* s = static_cast<State*>(data);
        s->stack.emplace_back(name);
        std::string path;
        for (const std::string& part : s->stack) path += (path.empty() ? "" : "/") + part;
        s->open.push_back(s->result.elements.size());
        s->result.elements.emplace_back(path, "");
      },
      [](void* data, const XML_Char*) {
        auto* s = static_cast<State*>(data);
        s->stack.pop_back();
        s->open.pop_back();
      });
  XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char* text, int length) {
    auto* s = static_cast<State*>(data);
    s->result.elements[s->open.back()].second.append(text, static_cast<std::size_t>(length));
  });
  state.result.wellFormed =
      XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return state.result;
}

std::string TextAt(const Parsed& parsed, const std::string& path) {
  for (const auto& [where, text] : parsed.elements)
    if (where == path) return text;
  return "<missing>";
}

// Runs `action` while no file may grow past `limit` bytes: the writer meets a full disk.
template <class Action>
HRESULT WithFileSizeLimit(rlim_t limit, Action action) {
  struct sigaction ignore {};
  struct sigaction old {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, &old);
  rlimit saved{};
  getrlimit(RLIMIT_FSIZE, &saved);
  rlimit small = saved;
  small.rlim_cur = limit;
  setrlimit(RLIMIT_FSIZE, &small);
  const HRESULT hr = action();
  setrlimit(RLIMIT_FSIZE, &saved);
  sigaction(SIGXFSZ, &old, nullptr);
  return hr;
}

ComPtr<host::storage::XMLStream> NewXml() {
  return ComPtr<host::storage::XMLStream>::Adopt(new host::storage::XMLStream());
}

ComPtr<host::storage::FolderStream> NewFolder() {
  return ComPtr<host::storage::FolderStream>::Adopt(new host::storage::FolderStream());
}

std::wstring Buffer(IString* string) {
  return Text(string);
}

TEST_F(CoreTest, XmlStreamWritesWellFormedIndentedXml) {
  ScratchFolder folder;
  auto xml = NewXml();
  IXMLStream* writer = xml.Get();
  ASSERT_EQ(writer->BeginElement(RefView(L"DATETIME"), 0, 0), S_OK);
  ASSERT_EQ(writer->SetItem(RefView(L"Day"), 0, Str(L"5").Get(), 0), S_OK);
  ASSERT_EQ(writer->SetItem(RefView(L"Name"), 0, Str(L"a<b & \"c\" >d\r\ne").Get(), 0), S_OK);
  ASSERT_EQ(writer->EndElement(), S_OK);
  ASSERT_EQ(writer->SetItem(RefView(L"Band_count"), 0, Str(L"3").Get(), 0), S_OK);
  ASSERT_EQ(writer->SetItem(RefView(L"Empty"), 0, nullptr, 0), S_OK);
  ASSERT_EQ(writer->SetItem(RefView(L"Wide"), 0, Str(L"\u00e9\u4e2d\U0001F600").Get(), 0), S_OK);
  EXPECT_EQ(writer->EndElement(), E_FAIL);  // nothing open

  // What no XML document can hold is refused.
  EXPECT_EQ(writer->SetItem(RefView(L"11"), 0, Str(L"x").Get(), 0), E_INVALIDARG);
  EXPECT_EQ(writer->SetItem(RefView(L"Band count"), 0, Str(L"x").Get(), 0), E_INVALIDARG);
  EXPECT_EQ(writer->BeginElement(RefView(L""), 0, 0), E_INVALIDARG);
  EXPECT_EQ(writer->SetItem(RefView(L"Bad"), 0, Str(std::wstring(1, L'\x01')).Get(), 0),
            E_INVALIDARG);

  const std::wstring path = folder.WideFile("doc.xml");
  ASSERT_EQ(xml->Commit(RefView(path)), S_OK);
  const std::string file = ReadFile(folder.File("doc.xml"));
  const Parsed parsed = ParseWithExpat(file);
  ASSERT_TRUE(parsed.wellFormed) << file;
  ASSERT_EQ(parsed.elements.size(), 7u);
  EXPECT_EQ(parsed.elements[0].first, "KeloData");
  EXPECT_EQ(TextAt(parsed, "KeloData/DATETIME/Day"), "5");
  EXPECT_EQ(TextAt(parsed, "KeloData/DATETIME/Name"), "a<b & \"c\" >d\r\ne");
  EXPECT_EQ(TextAt(parsed, "KeloData/Band_count"), "3");
  EXPECT_EQ(TextAt(parsed, "KeloData/Empty"), "");
  EXPECT_EQ(TextAt(parsed, "KeloData/Wide"), "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80");
  // Two spaces per level.
  EXPECT_NE(file.find("\n  <DATETIME>\n    <Day>5</Day>\n"), std::string::npos) << file;
  EXPECT_NE(file.find("\n  </DATETIME>\n  <Band_count>3</Band_count>\n"), std::string::npos);
  EXPECT_EQ(folder.Entries(), std::vector<std::string>{"doc.xml"});

  // The text view is the root's content, the part property loading parses.
  const std::wstring text = Buffer(xml.Get());
  EXPECT_EQ(text.find(L"KeloData"), std::wstring::npos);
  EXPECT_NE(text.find(L"<Band_count>3</Band_count>"), std::wstring::npos);
}

TEST_F(CoreTest, XmlStreamSetItemReplacesAndOldTextsStayReadable) {
  auto xml = NewXml();
  xml->SetItem(RefView(L"Direction"), 0, Str(L"1").Get(), 0);
  xml->SetItem(RefView(L"Style"), 0, Str(L"0").Get(), 0);
  const wchar_t* before = nullptr;
  int beforeLength = 0;
  ASSERT_EQ(xml->GetBuffer(&before, &beforeLength), S_OK);
  const std::wstring copy(before, static_cast<std::size_t>(beforeLength));

  // Writing while a reader still holds the text: the reader's text does not move or change.
  ASSERT_EQ(xml->SetItem(RefView(L"Direction"), 0, Str(L"3").Get(), 0), S_OK);
  for (int i = 0; i < 200; ++i) xml->SetItem(RefView(L"Filler"), 0, Str(L"grow").Get(), 0);
  EXPECT_EQ(std::wstring(before, static_cast<std::size_t>(beforeLength)), copy);

  const std::wstring now = Buffer(xml.Get());
  EXPECT_NE(now.find(L"<Direction>3</Direction>"), std::wstring::npos);
  EXPECT_EQ(now.find(L"<Direction>1</Direction>"), std::wstring::npos);
  EXPECT_EQ(now.find(L"<Direction>"), now.rfind(L"<Direction>"));  // replaced, not added
  EXPECT_EQ(now.find(L"<Filler>"), now.rfind(L"<Filler>"));
}

TEST_F(CoreTest, XmlStreamRoundTripsThroughFilesAndText) {
  ScratchFolder folder;
  auto xml = NewXml();
  xml->BeginElement(RefView(L"Effect"), 0, 0);
  xml->SetItem(RefView(L"Revolutions"), 0, Str(L"1.5").Get(), 0);
  xml->BeginElement(RefView(L"Inner"), 0, 0);
  xml->SetItem(RefView(L"Text"), 0, Str(L"  spaced  & <odd>  ").Get(), 0);
  const std::wstring path = folder.WideFile("round.xml");
  ASSERT_EQ(xml->Commit(RefView(path)), S_OK);

  auto back = NewXml();
  ASSERT_EQ(back->Open(RefView(path), 0), S_OK);
  EXPECT_EQ(Buffer(back.Get()), Buffer(xml.Get()));
  const std::wstring again = folder.WideFile("again.xml");
  ASSERT_EQ(back->Commit(RefView(again)), S_OK);
  EXPECT_EQ(ReadFile(folder.File("again.xml")), ReadFile(folder.File("round.xml")));

  // A document from elsewhere keeps its root element and attributes.
  WriteFile(folder.File("other.xml"),
            "<?xml version=\"1.0\"?>\n<!-- note -->\n<Settings version=\"2\"><A>1</A>"
            "<B x='&quot;q&quot;'>two &amp; three</B></Settings>");
  ASSERT_EQ(back->Open(RefView(folder.WideFile("other.xml")), 0), S_OK);
  back->SetItem(RefView(L"C"), 0, Str(L"3").Get(), 0);
  ASSERT_EQ(back->Commit(RefView(again)), S_OK);
  const Parsed parsed = ParseWithExpat(ReadFile(folder.File("again.xml")));
  ASSERT_TRUE(parsed.wellFormed);
  EXPECT_EQ(TextAt(parsed, "Settings/B"), "two & three");
  EXPECT_EQ(TextAt(parsed, "Settings/C"), "3");
  EXPECT_NE(ReadFile(folder.File("again.xml")).find("<Settings version=\"2\">"), std::string::npos);
  EXPECT_NE(ReadFile(folder.File("again.xml")).find("<B x=\"&quot;q&quot;\">"), std::string::npos);

  // The text view can be set as XML content; what is not XML is refused and changes nothing.
  const std::wstring content = L"<A>1</A><B>2</B>";
  ASSERT_EQ(back->SetText(static_cast<int>(content.size()), content.data()), S_OK);
  EXPECT_EQ(Buffer(back.Get()), L"  <A>1</A>\n  <B>2</B>\n");
  const std::wstring broken = L"<A>1</B>";
  EXPECT_EQ(back->SetText(static_cast<int>(broken.size()), broken.data()), E_INVALIDARG);
  const std::wstring more = L"<C>3</C>";
  ASSERT_EQ(back->Append(static_cast<int>(more.size()), more.data()), S_OK);
  EXPECT_EQ(Buffer(back.Get()), L"  <A>1</A>\n  <B>2</B>\n  <C>3</C>\n");
}

TEST_F(CoreTest, XmlStreamRefusesBadFilesAndKeepsItsDocument) {
  ScratchFolder folder;
  auto xml = NewXml();
  xml->SetItem(RefView(L"Keep"), 0, Str(L"me").Get(), 0);
  const std::wstring kept = Buffer(xml.Get());
  EXPECT_EQ(xml->Open(RefView(folder.WideFile("missing.xml")), 0), E_FAIL);
  for (const char* bad : {"", "<a>", "<a></b>", "<a/><b/>", "text only", "<a>&undefined;</a>"}) {
    WriteFile(folder.File("bad.xml"), bad);
    EXPECT_EQ(xml->Open(RefView(folder.WideFile("bad.xml")), 0), E_INVALIDARG) << bad;
  }
  // Nesting far deeper than any document of ours.
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<d>";
  for (int i = 0; i < 5000; ++i) deep += "</d>";
  WriteFile(folder.File("deep.xml"), deep);
  EXPECT_EQ(xml->Open(RefView(folder.WideFile("deep.xml")), 0), E_INVALIDARG);
  EXPECT_EQ(Buffer(xml.Get()), kept);
  EXPECT_EQ(xml->Open(tagREFString{0, nullptr}, 0), E_INVALIDARG);
  EXPECT_EQ(xml->Commit(RefView(folder.WideFile("no/such/folder.xml"))), E_FAIL);
}

TEST_F(CoreTest, FolderStreamRoundTripsItsTree) {
  ScratchFolder folder;
  auto root = NewFolder();
  const std::int32_t id = 5;
  const std::uint32_t flags = 0x40043;
  const double revolutions = 1.25;
  {
    ComPtr<IFolderStream> property;
    ASSERT_EQ(root->CreateFolder(RefView(L"Style"), property.Put()), S_OK);
    ASSERT_EQ(property->WriteBinary(RefView(L"ID"), &id, 4, 0), S_OK);
    ASSERT_EQ(property->WriteBinary(RefView(L"Flags"), &flags, 4, 0), S_OK);
    ASSERT_EQ(property->WriteBinary(RefView(L"Value"), &revolutions, 8, 0), S_OK);
    ComPtr<IFolderStream> nested;
    ASSERT_EQ(property->CreateFolder(RefView(L"Nested"), nested.Put()), S_OK);
    ASSERT_EQ(nested->WriteString(RefView(L"File"),
                                  Str(L"[InstallPath]pictures/\u00e9t\u00e9.png").Get()),
              S_OK);
    ASSERT_EQ(root->CreateFolder(RefView(L"Empty"), nullptr), S_OK);
    ASSERT_EQ(root->WriteBinary(RefView(L"Zero"), nullptr, 0, 0), S_OK);
  }
  const std::wstring path = folder.WideFile("tree.bin");
  ASSERT_EQ(root->Commit(RefView(path)), S_OK);

  auto back = NewFolder();
  ASSERT_EQ(back->Open(RefView(path), 0), S_OK);
  int count = 0;
  back->GetFolderCount(&count);
  EXPECT_EQ(count, 2);
  // By position (a variant holding an integer) and by name (one holding a string).
  auto position = ComPtr<IVariant>::Adopt(new host::core::Variant());
  position->SetInteger(0);
  ComPtr<IFolderStream> byPosition, byName;
  ASSERT_EQ(back->OpenFolder(position.Get(), byPosition.Put()), S_OK);
  auto name = ComPtr<IVariant>::Adopt(new host::core::Variant());
  name->SetString(Str(L"Style").Get());
  ASSERT_EQ(back->OpenFolder(name.Get(), byName.Put()), S_OK);
  ComPtr<IString> folderName;
  byName->GetName(folderName.Put());
  EXPECT_EQ(Text(folderName.Get()), L"Style");

  std::int32_t readId = 0;
  std::uint32_t readFlags = 0;
  double readValue = 0;
  ASSERT_EQ(byPosition->ReadBinary(RefView(L"ID"), &readId, 4, 0), S_OK);
  ASSERT_EQ(byPosition->ReadBinary(RefView(L"Flags"), &readFlags, 4, 0), S_OK);
  ASSERT_EQ(byPosition->ReadBinary(RefView(L"Value"), &readValue, 8, 0), S_OK);
  EXPECT_EQ(readId, id);
  EXPECT_EQ(readFlags, flags);
  EXPECT_EQ(readValue, revolutions);
  // A size that differs, a missing item, a string read as binary: nothing is copied.
  std::int32_t untouched = 77;
  EXPECT_EQ(byPosition->ReadBinary(RefView(L"Value"), &untouched, 4, 0), E_FAIL);
  EXPECT_EQ(byPosition->ReadBinary(RefView(L"Missing"), &untouched, 4, 0), E_FAIL);
  EXPECT_EQ(untouched, 77);
  ComPtr<IFolderStream> nested;
  auto nestedName = ComPtr<IVariant>::Adopt(new host::core::Variant());
  nestedName->SetString(Str(L"Nested").Get());
  ASSERT_EQ(byName->OpenFolder(nestedName.Get(), nested.Put()), S_OK);
  ComPtr<IString> file;
  ASSERT_EQ(nested->ReadString(RefView(L"File"), file.Put()), S_OK);
  EXPECT_EQ(Text(file.Get()), L"[InstallPath]pictures/\u00e9t\u00e9.png");
  EXPECT_EQ(nested->ReadBinary(RefView(L"File"), &untouched, 4, 0), E_FAIL);
  EXPECT_EQ(back->ReadBinary(RefView(L"Zero"), nullptr, 0, 0), S_OK);

  // Past the end, an unknown name, a variant holding neither.
  position->SetInteger(2);
  ComPtr<IFolderStream> none;
  EXPECT_EQ(back->OpenFolder(position.Get(), none.Put()), E_FAIL);
  name->SetString(Str(L"style").Get());
  EXPECT_EQ(back->OpenFolder(name.Get(), none.Put()), E_FAIL);
  position->SetDouble(0.0);
  EXPECT_EQ(back->OpenFolder(position.Get(), none.Put()), E_INVALIDARG);
  EXPECT_FALSE(none);

  // Creating an existing folder again empties it instead of adding a second one.
  ComPtr<IFolderStream> again;
  ASSERT_EQ(back->CreateFolder(RefView(L"Style"), again.Put()), S_OK);
  back->GetFolderCount(&count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(byName->ReadBinary(RefView(L"ID"), &readId, 4, 0), E_FAIL);
}

// An object that saves one value of its own and names a registered component.
class Saver final : public host::HostObject<Saver, IObjectInfo, IDataPersist> {
 public:
  HRESULT GetName(int, tagREFString* name) override {
    *name = RefLiteral(L"UIPropInterrogatePropPage");
    return S_OK;
  }
  HRESULT Save(IDataStream* stream, int) override {
    ComPtr<IFolderStream> folder;
    stream->QueryInterface(IFolderStream::kIID, folder.PutVoid());
    if (!folder) return E_FAIL;
    const int marker = 4242;
    return folder->WriteBinary(RefView(L"Marker"), &marker, 4, 0);
  }
  HRESULT Load(IDataStream*, int) override { return S_OK; }
};

TEST_F(CoreTest, FolderStreamObjectValues) {
  ScratchFolder folder;
  auto root = NewFolder();
  auto saver = ComPtr<IUnknown>::Adopt(static_cast<IObjectInfo*>(new Saver()));
  ASSERT_EQ(root->WriteObject(RefView(L"Page"), saver.Get()), S_OK);
  EXPECT_EQ(root->WriteObject(RefView(L"Nameless"), Str(L"no info").Get()), E_INVALIDARG);
  EXPECT_EQ(root->WriteObject(RefView(L"Null"), nullptr), E_INVALIDARG);
  const std::wstring path = folder.WideFile("objects.bin");
  ASSERT_EQ(root->Commit(RefView(path)), S_OK);

  // The object's own data went into the value's folder.
  host::storage::FolderNode decoded;
  ASSERT_EQ(host::storage::DecodeFolder(ReadFile(folder.File("objects.bin")), &decoded), S_OK);
  ASSERT_EQ(decoded.values.size(), 1u);
  EXPECT_EQ(decoded.values[0].text, L"UIPropInterrogatePropPage");
  ASSERT_TRUE(decoded.values[0].data);
  ASSERT_NE(decoded.values[0].data->FindValue(L"Marker"), nullptr);
  int marker = 0;
  std::memcpy(&marker, decoded.values[0].data->FindValue(L"Marker")->bytes.data(), 4);
  EXPECT_EQ(marker, 4242);

  // Reading makes a new object of that component through the global collection.
  auto back = NewFolder();
  ASSERT_EQ(back->Open(RefView(path), 0), S_OK);
  ComPtr<IUnknown> object;
  ASSERT_EQ(back->ReadObject(RefView(L"Page"), object.Put()), S_OK);
  auto info = object.As<IObjectInfo>();
  ASSERT_TRUE(info);
  tagREFString name{};
  info->GetName(0, &name);
  EXPECT_EQ(host::ViewOf(name), L"UIPropInterrogatePropPage");
  EXPECT_NE(object.Get(), saver.Get());
  EXPECT_EQ(back->ReadObject(RefView(L"Missing"), object.Put()), E_FAIL);
}

TEST_F(CoreTest, FolderStreamRefusesCorruptFiles) {
  ScratchFolder folder;
  auto root = NewFolder();
  ComPtr<IFolderStream> child;
  root->CreateFolder(RefView(L"Child"), child.Put());
  child->WriteString(RefView(L"Text"), Str(L"value").Get());
  const std::wstring path = folder.WideFile("good.bin");
  ASSERT_EQ(root->Commit(RefView(path)), S_OK);
  const std::string good = ReadFile(folder.File("good.bin"));

  auto target = NewFolder();
  target->CreateFolder(RefView(L"Mine"), nullptr);
  // Every shorter prefix, a trailing byte, a wrong magic, a count larger than the file.
  std::vector<std::string> bad;
  for (std::size_t size = 0; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  bad.push_back(good + "x");
  bad.push_back("KELOFOLX" + good.substr(8));
  std::string huge = good;
  huge[19] = '\x7F';  // the high byte of the root's value count (after magic, version, name "")
  bad.push_back(huge);
  for (const std::string& bytes : bad) {
    WriteFile(folder.File("bad.bin"), bytes);
    EXPECT_EQ(target->Open(RefView(folder.WideFile("bad.bin")), 0), E_INVALIDARG) << bytes.size();
  }
  int count = 0;
  target->GetFolderCount(&count);
  EXPECT_EQ(count, 1);
  ComPtr<IString> name;
  ComPtr<IFolderStream> mine;
  auto first = ComPtr<IVariant>::Adopt(new host::core::Variant());
  first->SetInteger(0);
  ASSERT_EQ(target->OpenFolder(first.Get(), mine.Put()), S_OK);
  mine->GetName(name.Put());
  EXPECT_EQ(Text(name.Get()), L"Mine");
}

TEST_F(CoreTest, FailedWritesLeaveTheOldFileInPlace) {
  ScratchFolder folder;
  // A good file of each kind first.
  auto xml = NewXml();
  xml->SetItem(RefView(L"Version"), 0, Str(L"1").Get(), 0);
  auto tree = NewFolder();
  tree->WriteBinary(RefView(L"Version"), "1", 1, 0);
  const std::wstring xmlPath = folder.WideFile("doc.xml");
  const std::wstring treePath = folder.WideFile("tree.bin");
  ASSERT_EQ(xml->Commit(RefView(xmlPath)), S_OK);
  ASSERT_EQ(tree->Commit(RefView(treePath)), S_OK);
  const std::string oldXml = ReadFile(folder.File("doc.xml"));
  const std::string oldTree = ReadFile(folder.File("tree.bin"));

  // Then far more than fits before the "disk" is full.
  const std::wstring big(100000, L'x');
  xml->SetItem(RefView(L"Version"), 0, Str(L"2").Get(), 0);
  xml->SetItem(RefView(L"Big"), 0, Str(big).Get(), 0);
  tree->WriteBinary(RefView(L"Big"), std::string(100000, 'x').data(), 100000, 0);
  EXPECT_EQ(WithFileSizeLimit(4096, [&] { return xml->Commit(RefView(xmlPath)); }), E_FAIL);
  EXPECT_EQ(WithFileSizeLimit(4096, [&] { return tree->Commit(RefView(treePath)); }), E_FAIL);
  EXPECT_EQ(ReadFile(folder.File("doc.xml")), oldXml);
  EXPECT_EQ(ReadFile(folder.File("tree.bin")), oldTree);
  // No half-written temporary file is left behind.
  EXPECT_EQ(folder.Entries(), (std::vector<std::string>{"doc.xml", "tree.bin"}));

  // With room again, the same commits succeed.
  ASSERT_EQ(xml->Commit(RefView(xmlPath)), S_OK);
  EXPECT_GT(ReadFile(folder.File("doc.xml")).size(), 100000u);
}

}  // namespace

namespace {

// An effect's settings go through both streams and come back, with the names from the tables.
TEST(StoragePersistence, EffectSettingsRoundTripThroughBothStreams) {
  ScratchFolder folder;
  auto cover = testhost::Create<IDataPersist>(L"CoverTransition");
  if (!cover) GTEST_SKIP() << "no CoverTransition in this build";
  auto properties = cover.As<IUIPropInterrogate>();
  ASSERT_TRUE(properties);
  ASSERT_GE(properties->Control(1, 3), 0);
  ASSERT_GE(properties->Control(2, 2), 0);

  auto xml = testhost::Create<IDataStream>(L"XMLStream");
  ASSERT_EQ(cover->Save(xml.Get(), 0), S_OK);
  const std::wstring text = Text(xml.As<IString>().Get());
  EXPECT_NE(text.find(L"<Direction>3</Direction>"), std::wstring::npos)
      << std::string(text.begin(), text.end());
  EXPECT_NE(text.find(L"<Style>2</Style>"), std::wstring::npos);
  const std::wstring xmlPath = folder.WideFile("cover.xml");
  ASSERT_EQ(xml->Commit(RefView(xmlPath)), S_OK);
  ASSERT_TRUE(ParseWithExpat(ReadFile(folder.File("cover.xml"))).wellFormed);

  auto tree = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_EQ(cover->Save(tree.Get(), 0), S_OK);
  const std::wstring treePath = folder.WideFile("cover.bin");
  ASSERT_EQ(tree->Commit(RefView(treePath)), S_OK);

  for (const std::wstring& path : {xmlPath, treePath}) {
    auto stream = testhost::Create<IDataStream>(path == xmlPath ? L"XMLStream" : L"FolderStream");
    ASSERT_EQ(stream->Open(RefView(path), 0), S_OK);
    auto copy = testhost::Create<IDataPersist>(L"CoverTransition");
    ASSERT_EQ(copy->Load(stream.Get(), 0), S_OK);
    int direction = -1, style = -1;
    auto copyProperties = copy.As<IUIPropInterrogate>();
    ASSERT_GE(copyProperties->Inquire(1, &direction), 0);
    ASSERT_GE(copyProperties->Inquire(2, &style), 0);
    EXPECT_EQ(direction, 3) << std::string(path.begin(), path.end());
    EXPECT_EQ(style, 2);
  }
}

}  // namespace
