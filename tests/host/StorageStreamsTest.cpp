// The XML and folder streams of the "Storage" module: what they write, what they read back,
// and that a failed write never replaces a good file.
#include <expat.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstring>
#include <map>
#include <type_traits>

#include "host/core/Variant.h"
#include "host/storage/FolderStream.h"
#include "host/storage/XMLStream.h"
#include "sdk/Transitions.h"
#include "tests/host/StorageTestSupport.h"

namespace storagetest {
namespace {

using host::storage::FolderStream;
using host::storage::XMLStream;

// A document as a real XML parser sees it: whether it is well formed, and the text of every
// element by its "a/b/c" path.
struct Parsed {
  bool wellFormed = false;
  int elements = 0;
  std::string path;  // of the element being read
  std::map<std::string, std::string> texts;
};

Parsed ParseWithExpat(const std::string& xml) {
  Parsed parsed;
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &parsed);
  XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char**) {
        auto* p = static_cast<Parsed*>(data);
        p->path.append(p->path.empty() ? "" : "/").append(name);
        p->texts[p->path];
        ++p->elements;
      },
      [](void* data, const XML_Char*) {
        auto* p = static_cast<Parsed*>(data);
        p->path.resize(p->path.find('/') == std::string::npos ? 0 : p->path.rfind('/'));
      });
  XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char* text, int length) {
    auto* p = static_cast<Parsed*>(data);
    p->texts[p->path].append(text, static_cast<std::size_t>(length));
  });
  parsed.wellFormed =
      XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return parsed;
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
  const rlimit small{limit, saved.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const HRESULT hr = action();
  setrlimit(RLIMIT_FSIZE, &saved);
  sigaction(SIGXFSZ, &old, nullptr);
  return hr;
}

template <class T>
ComPtr<T> New() {
  return ComPtr<T>::Adopt(new T());
}

HRESULT Set(XMLStream* xml, std::wstring_view name, std::wstring_view text) {
  return xml->SetItem(RefView(name), 0, Str(text).Get(), 0);
}

HRESULT SetText(IString* string, std::wstring_view text, bool append = false) {
  const int length = static_cast<int>(text.size());
  return append ? string->Append(length, text.data()) : string->SetText(length, text.data());
}

// The sub-folder `which` (a position, a name, or a double that is neither) of `parent`; opening
// it must return `expected`.
template <class Which>
ComPtr<IFolderStream> Sub(IFolderStream* parent, Which which, HRESULT expected = S_OK) {
  auto variant = New<host::core::Variant>();
  if constexpr (std::is_same_v<Which, int>) variant->SetInteger(which);
  if constexpr (std::is_same_v<Which, double>) variant->SetDouble(which);
  if constexpr (std::is_same_v<Which, const wchar_t*>) variant->SetString(Str(which).Get());
  ComPtr<IFolderStream> folder;
  EXPECT_EQ(parent->OpenFolder(variant.Get(), folder.Put()), expected) << "opening a sub-folder";
  return folder;
}

std::wstring NameOf(IFolderStream* folder) {
  ComPtr<IString> name;
  folder->GetName(name.Put());
  return Text(name.Get());
}

int FolderCount(IFolderStream* folder) {
  int count = -1;
  folder->GetFolderCount(&count);
  return count;
}

// Catches: a document that is not well formed, texts not escaped (markup, quotes, line breaks,
// characters past 16 bits), elements misplaced or misindented, names no XML can hold accepted,
// an unbalanced EndElement accepted, the text view showing the root, one stream answering as
// the other.
TEST_F(StorageTest, XmlStreamWritesWellFormedIndentedXml) {
  ScratchFolder folder;
  auto xml = New<XMLStream>();
  ASSERT_EQ(xml->BeginElement(RefView(L"DATETIME"), 0, 0), S_OK);
  ASSERT_EQ(Set(xml.Get(), L"Day", L"5"), S_OK);
  ASSERT_EQ(Set(xml.Get(), L"Name", L"a<b & \"c\" >d\r\ne"), S_OK);
  ASSERT_EQ(xml->EndElement(), S_OK);
  ASSERT_EQ(Set(xml.Get(), L"Band_count", L"3"), S_OK);
  ASSERT_EQ(xml->SetItem(RefView(L"Empty"), 0, nullptr, 0), S_OK);
  ASSERT_EQ(Set(xml.Get(), L"Wide", L"\u00e9\u4e2d\U0001F600"), S_OK);
  EXPECT_EQ(xml->EndElement(), E_FAIL);  // nothing open
  for (auto [name, text] : {std::pair{L"11", L"x"}, {L"Band count", L"x"}, {L"Bad", L"\x01"}})
    EXPECT_EQ(Set(xml.Get(), name, text), E_INVALIDARG) << name;
  EXPECT_EQ(xml->BeginElement(RefView(L""), 0, 0), E_INVALIDARG);
  EXPECT_FALSE(xml.As<IFolderStream>() || New<FolderStream>().As<IXMLStream>());

  ASSERT_EQ(xml->Commit(RefView(folder.WideFile("doc.xml"))), S_OK);
  const std::string file = ReadFile(folder.File("doc.xml"));
  const Parsed parsed = ParseWithExpat(file);
  ASSERT_TRUE(parsed.wellFormed) << file;
  // Seven elements under the root "KeloData" (the first path in order).
  ASSERT_EQ(std::make_pair(parsed.elements, parsed.texts.size()),
            std::make_pair(7, std::size_t{7}));
  EXPECT_EQ(parsed.texts.begin()->first, "KeloData");
  EXPECT_EQ(parsed.texts.at("KeloData/DATETIME/Day"), "5");
  EXPECT_EQ(parsed.texts.at("KeloData/DATETIME/Name"), "a<b & \"c\" >d\r\ne");
  EXPECT_EQ(parsed.texts.at("KeloData/Band_count"), "3");
  EXPECT_EQ(parsed.texts.at("KeloData/Empty"), "");
  EXPECT_EQ(parsed.texts.at("KeloData/Wide"), "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80");
  // Two spaces per level.
  EXPECT_NE(file.find("\n  <DATETIME>\n    <Day>5</Day>\n"), std::string::npos) << file;
  EXPECT_NE(file.find("\n  </DATETIME>\n  <Band_count>3</Band_count>\n"), std::string::npos);
  EXPECT_EQ(folder.Entries(), std::vector<std::string>{"doc.xml"});
  // The text view is the root's content, the part property loading parses.
  const std::wstring text = Text(xml.Get());
  EXPECT_EQ(text.find(L"KeloData"), std::wstring::npos);
  EXPECT_NE(text.find(L"<Band_count>3</Band_count>"), std::wstring::npos);
}

// Catches: a held text moved or changed by a later write, SetItem adding instead of replacing.
TEST_F(StorageTest, XmlStreamSetItemReplacesAndOldTextsStayReadable) {
  auto xml = New<XMLStream>();
  Set(xml.Get(), L"Direction", L"1");
  Set(xml.Get(), L"Style", L"0");
  const wchar_t* before = nullptr;
  int length = 0;
  ASSERT_EQ(xml->GetBuffer(&before, &length), S_OK);
  const std::wstring copy(before, static_cast<std::size_t>(length));
  // Writing while a reader still holds the text: the reader's text does not move or change.
  ASSERT_EQ(Set(xml.Get(), L"Direction", L"3"), S_OK);
  for (int i = 0; i < 200; ++i) Set(xml.Get(), L"Filler", L"grow");
  EXPECT_EQ(std::wstring(before, static_cast<std::size_t>(length)), copy);

  const std::wstring now = Text(xml.Get());
  EXPECT_NE(now.find(L"<Direction>3</Direction>"), std::wstring::npos);
  EXPECT_EQ(now.find(L"<Direction>1</Direction>"), std::wstring::npos);
  EXPECT_EQ(now.find(L"<Direction>"), now.rfind(L"<Direction>"));  // replaced, not added
  EXPECT_EQ(now.find(L"<Filler>"), now.rfind(L"<Filler>"));
}

// Catches: a file that does not read back to the same text and bytes, a foreign document's root,
// attributes or entities lost, text set as content not parsed, broken content accepted.
TEST_F(StorageTest, XmlStreamRoundTripsThroughFilesAndText) {
  ScratchFolder folder;
  auto xml = New<XMLStream>();
  xml->BeginElement(RefView(L"Effect"), 0, 0);
  Set(xml.Get(), L"Revolutions", L"1.5");
  xml->BeginElement(RefView(L"Inner"), 0, 0);
  Set(xml.Get(), L"Text", L"  spaced  & <odd>  ");
  const std::wstring path = folder.WideFile("round.xml"), again = folder.WideFile("again.xml");
  ASSERT_EQ(xml->Commit(RefView(path)), S_OK);
  auto back = New<XMLStream>();
  ASSERT_EQ(back->Open(RefView(path), 0), S_OK);
  EXPECT_EQ(Text(back.Get()), Text(xml.Get()));
  ASSERT_EQ(back->Commit(RefView(again)), S_OK);
  EXPECT_EQ(ReadFile(folder.File("again.xml")), ReadFile(folder.File("round.xml")));

  // A document from elsewhere keeps its root element and attributes.
  WriteFile(folder.File("other.xml"),
            "<?xml version=\"1.0\"?>\n<!-- note -->\n<Settings version=\"2\"><A>1</A>"
            "<B x='&quot;q&quot;'>two &amp; three</B></Settings>");
  ASSERT_EQ(back->Open(RefView(folder.WideFile("other.xml")), 0), S_OK);
  Set(back.Get(), L"C", L"3");
  ASSERT_EQ(back->Commit(RefView(again)), S_OK);
  const std::string file = ReadFile(folder.File("again.xml"));
  const Parsed parsed = ParseWithExpat(file);
  ASSERT_TRUE(parsed.wellFormed);
  EXPECT_EQ(parsed.texts.at("Settings/B"), "two & three");
  EXPECT_EQ(parsed.texts.at("Settings/C"), "3");
  EXPECT_NE(file.find("<Settings version=\"2\">"), std::string::npos);
  EXPECT_NE(file.find("<B x=\"&quot;q&quot;\">"), std::string::npos);

  // The text view can be set as XML content; what is not XML is refused and changes nothing.
  ASSERT_EQ(SetText(back.Get(), L"<A>1</A><B>2</B>"), S_OK);
  EXPECT_EQ(Text(back.Get()), L"  <A>1</A>\n  <B>2</B>\n");
  EXPECT_EQ(SetText(back.Get(), L"<A>1</B>"), E_INVALIDARG);
  ASSERT_EQ(SetText(back.Get(), L"<C>3</C>", true), S_OK);
  EXPECT_EQ(Text(back.Get()), L"  <A>1</A>\n  <B>2</B>\n  <C>3</C>\n");
}

// Catches: a missing, empty, unbalanced, rootless, text-only, undefined-entity or far too deeply
// nested file accepted, or changing the document; a missing folder not refused on commit.
TEST_F(StorageTest, XmlStreamRefusesBadFilesAndKeepsItsDocument) {
  ScratchFolder folder;
  auto xml = New<XMLStream>();
  Set(xml.Get(), L"Keep", L"me");
  const std::wstring kept = Text(xml.Get());
  EXPECT_EQ(xml->Open(RefView(folder.WideFile("missing.xml")), 0), E_FAIL);
  std::string deep;  // nesting far deeper than any document of ours
  for (int i = 0; i < 5000; ++i) deep.insert(0, "<d>").append("</d>");
  for (const std::string& bad : std::vector<std::string>{"", "<a>", "<a></b>", "<a/><b/>",
                                                         "text only", "<a>&undefined;</a>", deep}) {
    WriteFile(folder.File("bad.xml"), bad);
    EXPECT_EQ(xml->Open(RefView(folder.WideFile("bad.xml")), 0), E_INVALIDARG) << bad.size();
  }
  EXPECT_EQ(Text(xml.Get()), kept);
  EXPECT_EQ(xml->Open(tagREFString{0, nullptr}, 0), E_INVALIDARG);
  EXPECT_EQ(xml->Commit(RefView(folder.WideFile("no/such/folder.xml"))), E_FAIL);
}

// Catches: an XML file whose entities expand a billionfold accepted (or expanded at all), an
// external entity followed to the file it names.
TEST_F(StorageTest, XmlStreamFollowsNoEntities) {
  ScratchFolder folder;
  auto xml = New<XMLStream>();
  std::string laughs = "<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e0 \"lol\">";
  for (int i = 1; i < 10; ++i) {
    laughs += "<!ENTITY e" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) laughs += "&e" + std::to_string(i - 1) + ";";
    laughs += "\">";
  }
  WriteFile(folder.File("laughs.xml"), laughs + "]><a>&e9;</a>");
  EXPECT_EQ(xml->Open(RefView(folder.WideFile("laughs.xml")), 0), E_INVALIDARG);
  WriteFile(folder.File("secret.txt"), "secret");
  WriteFile(folder.File("external.xml"),
            "<!DOCTYPE a [<!ENTITY x SYSTEM \"" + folder.File("secret.txt") + "\">]><a>&x;</a>");
  if (xml->Open(RefView(folder.WideFile("external.xml")), 0) == S_OK) {
    EXPECT_EQ(Text(xml.Get()).find(L"secret"), std::wstring::npos);
  }
}

// Catches: values or folders lost or changed in a round trip, a sub-folder not found by position
// or by name, a read of the wrong size or kind copying anything, a second folder of one name.
TEST_F(StorageTest, FolderStreamRoundTripsItsTree) {
  ScratchFolder folder;
  auto root = New<FolderStream>();
  const std::int32_t id = 5;
  const std::uint32_t flags = 0x40043;
  const double revolutions = 1.25;
  struct Binary {
    const wchar_t* name;
    const void* data;
    int size;
  };
  const Binary binaries[] = {{L"ID", &id, 4}, {L"Flags", &flags, 4}, {L"Value", &revolutions, 8}};
  const std::wstring file = L"[InstallPath]pictures/\u00e9t\u00e9.png";
  {
    ComPtr<IFolderStream> property, nested;
    ASSERT_EQ(root->CreateFolder(RefView(L"Style"), property.Put()), S_OK);
    for (const Binary& b : binaries)
      ASSERT_EQ(property->WriteBinary(RefView(b.name), b.data, b.size, 0), S_OK);
    ASSERT_EQ(property->CreateFolder(RefView(L"Nested"), nested.Put()), S_OK);
    ASSERT_EQ(nested->WriteString(RefView(L"File"), Str(file).Get()), S_OK);
    ASSERT_EQ(root->CreateFolder(RefView(L"Empty"), nullptr), S_OK);
    ASSERT_EQ(root->WriteBinary(RefView(L"Zero"), nullptr, 0, 0), S_OK);
  }
  const std::wstring path = folder.WideFile("tree.bin");
  ASSERT_EQ(root->Commit(RefView(path)), S_OK);

  auto back = New<FolderStream>();
  ASSERT_EQ(back->Open(RefView(path), 0), S_OK);
  EXPECT_EQ(FolderCount(back.Get()), 2);
  auto byPosition = Sub(back.Get(), 0), byName = Sub(back.Get(), L"Style");
  ASSERT_TRUE(byPosition && byName);
  EXPECT_EQ(NameOf(byName.Get()), L"Style");
  for (const Binary& b : binaries) {
    char read[8] = {};
    ASSERT_EQ(byPosition->ReadBinary(RefView(b.name), read, b.size, 0), S_OK);
    EXPECT_EQ(std::memcmp(read, b.data, b.size), 0) << b.name;
  }
  // A size that differs, a missing item, a string read as binary: nothing is copied.
  std::int32_t untouched = 77;
  EXPECT_EQ(byPosition->ReadBinary(RefView(L"Value"), &untouched, 4, 0), E_FAIL);
  EXPECT_EQ(byPosition->ReadBinary(RefView(L"Missing"), &untouched, 4, 0), E_FAIL);
  auto nested = Sub(byName.Get(), L"Nested");
  ASSERT_TRUE(nested);
  ComPtr<IString> fileRead;
  ASSERT_EQ(nested->ReadString(RefView(L"File"), fileRead.Put()), S_OK);
  EXPECT_EQ(Text(fileRead.Get()), file);
  EXPECT_EQ(nested->ReadBinary(RefView(L"File"), &untouched, 4, 0), E_FAIL);
  EXPECT_EQ(untouched, 77);
  EXPECT_EQ(back->ReadBinary(RefView(L"Zero"), nullptr, 0, 0), S_OK);
  // Past the end, an unknown name, a variant holding neither.
  EXPECT_FALSE(Sub(back.Get(), 2, E_FAIL));
  EXPECT_FALSE(Sub(back.Get(), L"style", E_FAIL));
  EXPECT_FALSE(Sub(back.Get(), 0.0, E_INVALIDARG));
  // Creating an existing folder again empties it instead of adding a second one.
  ASSERT_EQ(back->CreateFolder(RefView(L"Style"), ComPtr<IFolderStream>().Put()), S_OK);
  EXPECT_EQ(FolderCount(back.Get()), 2);
  EXPECT_EQ(byName->ReadBinary(RefView(L"ID"), &untouched, 4, 0), E_FAIL);
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
    const int marker = 4242;
    return folder ? folder->WriteBinary(RefView(L"Marker"), &marker, 4, 0) : E_FAIL;
  }
  HRESULT Load(IDataStream*, int) override { return S_OK; }
};

// Catches: an object's own data not saved into its value's folder, an object without a name
// accepted, reading not making a new object of the named component.
TEST_F(StorageTest, FolderStreamObjectValues) {
  ScratchFolder folder;
  auto root = New<FolderStream>();
  auto saver = ComPtr<IUnknown>::Adopt(static_cast<IObjectInfo*>(new Saver()));
  ASSERT_EQ(root->WriteObject(RefView(L"Page"), saver.Get()), S_OK);
  EXPECT_EQ(root->WriteObject(RefView(L"Nameless"), Str(L"no info").Get()), E_INVALIDARG);
  EXPECT_EQ(root->WriteObject(RefView(L"Null"), nullptr), E_INVALIDARG);
  const std::wstring path = folder.WideFile("objects.bin");
  ASSERT_EQ(root->Commit(RefView(path)), S_OK);
  host::storage::FolderNode decoded;
  ASSERT_EQ(host::storage::DecodeFolder(ReadFile(folder.File("objects.bin")), &decoded), S_OK);
  ASSERT_EQ(decoded.values.size(), 1u);
  EXPECT_EQ(decoded.values[0].text, L"UIPropInterrogatePropPage");
  ASSERT_TRUE(decoded.values[0].data);
  const auto* marker = decoded.values[0].data->FindValue(L"Marker");
  ASSERT_NE(marker, nullptr);
  const int expected = 4242;
  EXPECT_EQ(marker->bytes, std::string(reinterpret_cast<const char*>(&expected), 4));

  auto back = New<FolderStream>();
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

// Catches: a shortened, lengthened, wrongly marked or overcounted file accepted, or replacing
// the tree a stream had.
TEST_F(StorageTest, FolderStreamRefusesCorruptFiles) {
  ScratchFolder folder;
  auto root = New<FolderStream>();
  ComPtr<IFolderStream> child;
  root->CreateFolder(RefView(L"Child"), child.Put());
  child->WriteString(RefView(L"Text"), Str(L"value").Get());
  ASSERT_EQ(root->Commit(RefView(folder.WideFile("good.bin"))), S_OK);
  const std::string good = ReadFile(folder.File("good.bin"));

  auto target = New<FolderStream>();
  target->CreateFolder(RefView(L"Mine"), nullptr);
  // Every shorter prefix, a trailing byte, a wrong magic, a count larger than the file.
  std::vector<std::string> bad = {good + "x", "KELOFOLX" + good.substr(8), good};
  bad.back()[19] = '\x7F';  // the high byte of the root's value count (after magic, version, "")
  for (std::size_t size = 0; size < good.size(); ++size) bad.push_back(good.substr(0, size));
  for (const std::string& bytes : bad) {
    WriteFile(folder.File("bad.bin"), bytes);
    EXPECT_EQ(target->Open(RefView(folder.WideFile("bad.bin")), 0), E_INVALIDARG) << bytes.size();
  }
  EXPECT_EQ(FolderCount(target.Get()), 1);
  auto mine = Sub(target.Get(), 0);
  ASSERT_TRUE(mine);
  EXPECT_EQ(NameOf(mine.Get()), L"Mine");
}

// Catches: a commit that meets a full disk replacing the good file, leaving a temporary file,
// or reporting success; a later commit with room failing.
TEST_F(StorageTest, FailedWritesLeaveTheOldFileInPlace) {
  ScratchFolder folder;
  auto xml = New<XMLStream>();
  Set(xml.Get(), L"Version", L"1");
  auto tree = New<FolderStream>();
  tree->WriteBinary(RefView(L"Version"), "1", 1, 0);
  const std::wstring xmlPath = folder.WideFile("doc.xml"), treePath = folder.WideFile("tree.bin");
  ASSERT_EQ(xml->Commit(RefView(xmlPath)), S_OK);
  ASSERT_EQ(tree->Commit(RefView(treePath)), S_OK);
  const std::string oldXml = ReadFile(folder.File("doc.xml"));
  const std::string oldTree = ReadFile(folder.File("tree.bin"));
  // Then far more than fits before the "disk" is full.
  Set(xml.Get(), L"Version", L"2");
  Set(xml.Get(), L"Big", std::wstring(100000, L'x'));
  tree->WriteBinary(RefView(L"Big"), std::string(100000, 'x').data(), 100000, 0);
  EXPECT_EQ(WithFileSizeLimit(4096, [&] { return xml->Commit(RefView(xmlPath)); }), E_FAIL);
  EXPECT_EQ(WithFileSizeLimit(4096, [&] { return tree->Commit(RefView(treePath)); }), E_FAIL);
  EXPECT_EQ(ReadFile(folder.File("doc.xml")), oldXml);
  EXPECT_EQ(ReadFile(folder.File("tree.bin")), oldTree);
  EXPECT_EQ(folder.Entries(), (std::vector<std::string>{"doc.xml", "tree.bin"}));
  // With room again, the same commits succeed.
  ASSERT_EQ(xml->Commit(RefView(xmlPath)), S_OK);
  ASSERT_EQ(tree->Commit(RefView(treePath)), S_OK);
  EXPECT_GT(ReadFile(folder.File("doc.xml")).size(), 100000u);
  EXPECT_GT(ReadFile(folder.File("tree.bin")).size(), 100000u);
}

}  // namespace
}  // namespace storagetest
