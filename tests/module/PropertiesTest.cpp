// The property frame: interrogation status codes, table growth, and persistence through the
// host's XML and folder streams.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/Object.h"
#include "properties/AdjustableEffect.h"
#include "properties/PropInterrogate.h"
#include "support/Convert.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using testhost::Text;

// An adjustable probe effect. It names itself "ShutterBandsTransition" so that its property names
// come from that string table: 1 "Direction", 2 "Bands", 4 "Style"; the others have no name.
class CProbeEffect : public CObjectRoot,
                     public IObjectInfoImpl<CProbeEffect>,
                     public IUIPropInterrogateImpl<CProbeEffect, IUIPropInterrogateEx, 10>,
                     public CDataPersistImpl<CProbeEffect> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"ShutterBandsTransition");
  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<CProbeEffect, IObjectInfo>(&IID_IObjectInfo),
        Entry<CProbeEffect, IDataPersist>(&IID_IDataPersist),
        Entry<CProbeEffect, IUIPropInterrogateEx>(&IID_IUIPropInterrogate)};
    return table;
  }
  HRESULT FinalConstruct() override {
    AddProperty(1, &outgoing, kPropInt32, 0, 4);
    AddProperty(2, &hidden, kPropInt32 | kPropNotSavedXML, 0, 0);
    AddProperty(3, &incoming, 0x43, 0, 4);
    AddProperty(4, &colour, 0x23, 0, 0);
    AddProperty(7, &revolutions, kPropDouble, 0, 0);
    AddProperty(8, &small, kPropUInt8, 0, 255);
    AddProperty(9, &shortValue, kPropInt16, 0, 0);
    AddProperty(10, &ratio, kPropFloat, 0, 0);
    AddProperty(11, &label, kPropString, 0, 0);
    AddProperty(12, &object, kPropObject, 0, 0);
    return S_OK;
  }
  void Lock() override { ++locks; }
  void Unlock() override { ++unlocks; }

  std::int32_t outgoing = 2, incoming = 2, colour = 0, hidden = 0;
  double revolutions = 1.0;
  std::uint8_t small = 0;
  std::int16_t shortValue = 0;
  float ratio = 0;
  IString* label = nullptr;
  IUnknown* object = nullptr;
  int locks = 0, unlocks = 0;

 protected:
  ~CProbeEffect() {
    if (label != nullptr) label->Release();
    if (object != nullptr) object->Release();
  }
};

ComPtr<IUIPropInterrogateEx> MakeProbe(CProbeEffect** raw) {
  auto properties = moduletest::New<CProbeEffect, IUIPropInterrogateEx>(IID_IUIPropInterrogate);
  *raw = moduletest::Raw<CProbeEffect>(properties);
  return properties;
}

// Catches: a status other than the flags word, a value read or written in the wrong width (no
// clamping, narrow kinds keep their low bits, a double takes a float's bit pattern), a variant
// not handed out or taken back, strings and objects changed outside the lock, wrong ranges.
TEST(PropertyInterrogation, StatusCodesAndValueKinds) {
  CProbeEffect* probe = nullptr;
  auto p = MakeProbe(&probe);
  int value = -1;
  EXPECT_EQ(p->Inquire(UIPROP_ALL, &value), S_OK);
  EXPECT_EQ(value, 10);
  EXPECT_EQ(p->Inquire(3, &value), 0x43);  // the flags word, not 0
  EXPECT_EQ(value, 2);
  EXPECT_EQ(p->Inquire(6, &value), E_INVALIDARG);
  value = 77;
  EXPECT_EQ(p->Inquire(7, &value), E_FAIL);  // a double has no 32-bit reading
  EXPECT_EQ(value, 77);

  const auto read = [&](int id) {
    int v = -1;
    p->Inquire(id, &v);
    return v;
  };
  EXPECT_EQ(p->Control(1, 99), S_OK);
  EXPECT_EQ(probe->outgoing, 99);
  for (auto [id, written, readBack] :
       {std::tuple{8, 0x1FF, 255}, {9, 0xFFFF, -1}, {10, FloatBits(0.25f), FloatBits(0.25f)}}) {
    EXPECT_EQ(p->Control(id, written), S_OK) << id;
    EXPECT_EQ(read(id), readBack) << id;
  }
  EXPECT_EQ(p->Control(7, 0x40400000), S_OK);
  EXPECT_EQ(probe->revolutions, 3.0);
  EXPECT_EQ(p->Control(6, 1), E_INVALIDARG);

  // InquireEx hands a double out as a variant; ControlEx takes one back.
  ComPtr<IUnknown> held;
  EXPECT_EQ(p->InquireEx(7, held.Put()), kPropDouble);
  double d = 0;
  held.As<IVariant>()->GetDouble(&d);
  EXPECT_EQ(d, 3.0);
  ComPtr<IVariant> variant = ComPtr<IVariant>::Adopt(IVCreate(1.1));
  EXPECT_EQ(p->ControlEx(7, variant.Get()), S_OK);
  EXPECT_EQ(probe->revolutions, 1.1);
  EXPECT_EQ(p->ControlEx(7, nullptr), E_FAIL);
  EXPECT_EQ(p->ControlEx(1, variant.Get()), E_FAIL);
  EXPECT_EQ(p->InquireEx(1, held.Put()), E_FAIL);

  // Strings and objects change under the object's lock.
  ComPtr<IString> text = ComPtr<IString>::Adopt(ISCreate(L"abc"));
  EXPECT_EQ(p->ControlEx(11, text.Get()), S_OK);
  EXPECT_EQ(probe->label, text.Get());
  EXPECT_EQ(p->ControlEx(12, text.Get()), S_OK);
  EXPECT_EQ(p->ControlEx(12, nullptr), S_OK);
  EXPECT_EQ(probe->object, nullptr);
  EXPECT_EQ(std::pair(probe->locks, probe->unlocks), std::pair(3, 3));

  // Ranges: the table as a whole gives its lowest and highest id.
  int low = -1, high = -1;
  EXPECT_EQ(p->ParameterRange(UIPROP_ALL, &low, &high), S_OK);
  EXPECT_EQ(std::pair(low, high), std::pair(1, 12));
  EXPECT_EQ(p->ParameterRange(3, &low, &high), S_OK);
  EXPECT_EQ(high, 4);
  ComPtr<IUnknown> choices;
  EXPECT_EQ(p->ParameterEnumeration(3, choices.Put()), E_INVALIDARG);
  EXPECT_EQ(p->ParameterRange(6, &low, &high), E_INVALIDARG);
  EXPECT_EQ(std::pair(low, high), std::pair(0, 0));
}

// Catches: choices not read from the string table, a missing table or text accepted, kind 0 not
// made an integer, the table not grown (or reordered) past its first ten slots, clearing leaving
// entries.
TEST(PropertyInterrogation, ChoicesFromStringTablesAndTableGrowth) {
  CProbeEffect* probe = nullptr;
  auto p = MakeProbe(&probe);
  std::int32_t direction = 0;
  ComPtr<IString> texts = ComPtr<IString>::Adopt(ISCreate(L"KeloTransitionTexts"));
  ASSERT_EQ(probe->PropE(20, &direction, 0x40, texts.Get(), 12, nullptr), S_OK);
  EXPECT_EQ(probe->PropE(21, &direction, 0x43, texts.Get(), 999, nullptr), E_FAIL);  // no such text
  ComPtr<IString> missing = ComPtr<IString>::Adopt(ISCreate(L"NoSuchTable"));
  EXPECT_EQ(probe->PropE(22, &direction, 0x43, missing.Get(), 11, nullptr), E_FAIL);

  EXPECT_EQ(p->Inquire(20, nullptr), 0x43);  // kind 0 became an integer
  int low = -1, high = -1;
  EXPECT_EQ(p->ParameterRange(20, &low, &high), E_INVALIDARG);
  EXPECT_EQ(low, 0);
  ComPtr<IUnknown> choices;
  ASSERT_EQ(p->ParameterEnumeration(20, choices.Put()), S_OK);
  auto list = choices.As<INamedCollection>();
  ASSERT_TRUE(list);
  int count = 0;
  list->GetCount(&count);
  EXPECT_EQ(count, 3);  // Cover|Push|Crush

  // The eleventh entry grew the table from 10 to 20 slots; the order is kept.
  const auto& table = probe->Properties();
  EXPECT_EQ(std::tuple(table.Capacity(), table.Count(), table.At(9)->id, table.At(10)->id),
            std::tuple(20, 11, 12, 20));
  probe->ClearProperties();
  int all = -1;
  EXPECT_EQ(p->Inquire(UIPROP_ALL, &all), S_OK);
  EXPECT_EQ(all, 0);
  EXPECT_EQ(p->ParameterRange(UIPROP_ALL, &low, &high), E_FAIL);
}

// Catches: names not from the string table, spaces kept in element names, colours not written
// as #RRGGBB, entries marked not-saved written or read back, loading that minds case or stops at
// an unknown element, a stream of another kind written to.
TEST(PropertyPersistence, XMLNamesColoursSkippedAndUnknownElements) {
  CProbeEffect* probe = nullptr;
  auto p = MakeProbe(&probe);
  probe->outgoing = 3;
  probe->colour = 0x00FF8000;
  probe->hidden = 42;
  auto stream = testhost::Create<IDataStream>(L"XMLStream");
  ASSERT_TRUE(stream);
  ASSERT_EQ(p.As<IDataPersist>()->Save(stream.Get(), 0), S_OK);
  const std::wstring xml = Text(stream.Get());
  EXPECT_NE(xml.find(L"<Direction>3</Direction>"), std::wstring::npos) << xml;
  EXPECT_NE(xml.find(L"<Style>#0080FF</Style>"), std::wstring::npos) << xml;
  EXPECT_EQ(xml.find(L"Bands"), std::wstring::npos) << "bit 26 is not saved: " << xml;

  // Spaces in names become '_' (the table named by the `names` argument: "Outgoing style").
  auto named = testhost::Create<IDataStream>(L"XMLStream");
  auto tableName = ComPtr<IString>::Adopt(ISCreate(L"DeformTransition"));
  p->UIPropInterrogate_SaveXML(reinterpret_cast<INamedCollection*>(tableName.Get()), named.Get(),
                               0);
  EXPECT_NE(Text(named.Get()).find(L"<Outgoing_style>3</Outgoing_style>"), std::wstring::npos)
      << Text(named.Get());

  // Loading matches names without regard to case and skips what it does not know.
  CProbeEffect* other = nullptr;
  auto q = MakeProbe(&other);
  auto input = testhost::Create<IDataStream>(L"XMLStream");
  const std::wstring content =
      L"<Unknown>5</Unknown><DIRECTION>4</DIRECTION><style>#0000FF</style><Bands>9</Bands>";
  input.As<IString>()->SetText(static_cast<int>(content.size()), content.c_str());
  ASSERT_EQ(q.As<IDataPersist>()->Load(input.Get(), 0), S_OK);
  // No element for `incoming`: unchanged; #RRGGBB is stored as 0x00BBGGRR; bit 26: not restored.
  EXPECT_EQ(std::tuple(other->outgoing, other->incoming, other->colour, other->hidden),
            std::tuple(4, 2, 0x00FF0000, 0));

  // A stream that is neither XML nor a folder is left alone.
  auto text = ComPtr<IString>::Adopt(ISCreate(L"x"));
  EXPECT_EQ(q.As<IDataPersist>()->Save(reinterpret_cast<IDataStream*>(text.Get()), 0), S_OK);
}

// Catches: a double saved as a float, an entry matched by id alone.
TEST(PropertyPersistence, FolderStreamKeepsDoublesAndMatchesByIdAndKind) {
  CProbeEffect* probe = nullptr;
  auto p = MakeProbe(&probe);
  probe->revolutions = 1.1;
  probe->incoming = 4;
  auto folder = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_TRUE(folder);
  ASSERT_EQ(p.As<IDataPersist>()->Save(folder.Get(), 0), S_OK);

  // An extra sub-folder claiming id 1 with the kind of a double does not fit property 1.
  auto tree = folder.As<IFolderStream>();
  ComPtr<IFolderStream> odd;
  tree->CreateFolder(RefView(L"Odd"), odd.Put());
  const int id = 1, flags = kPropDouble;
  const double value = 123.0;
  odd->WriteBinary(RefView(L"ID"), &id, 4, 0);
  odd->WriteBinary(RefView(L"Flags"), &flags, 4, 0);
  odd->WriteBinary(RefView(L"Value"), &value, 8, 0);

  CProbeEffect* other = nullptr;
  auto q = MakeProbe(&other);
  ASSERT_EQ(q.As<IDataPersist>()->Load(folder.Get(), 0), S_OK);
  // The double itself, not a float's worth of it; the odd sub-folder was ignored.
  EXPECT_EQ(other->revolutions, 1.1);
  EXPECT_EQ(std::tuple(other->incoming, other->outgoing, other->hidden), std::tuple(4, 2, 0));
}

}  // namespace
