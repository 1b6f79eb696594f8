// What the effect tests share: pictures whose pixels name their origin, making an effect with its
// settings, reading them back, one frame, and the settings' round trip through the host's XML.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "frame/Object.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"

namespace effecttest {

// A picture pattern whose bytes name the pixel's origin: (x * scale, y * scale, mark), with
// the marks of the two pictures.
template <unsigned char mark, unsigned scale>
unsigned char Marked(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * scale : c == 1 ? y * scale : mark);
}
constexpr unsigned char kFromMark = 50, kToMark = 200;
template <unsigned scale>
constexpr auto FromPixel = Marked<kFromMark, scale>;
template <unsigned scale>
constexpr auto ToPixel = Marked<kToMark, scale>;

// A T made by its factory, with each (property id, value) set through Control in turn.
template <class T>
ComPtr<IKeloTransition> MakeEffect(std::initializer_list<std::pair<int, int>> settings) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  EXPECT_EQ(CObject<T>::_CreateInstance(nullptr, &iid, effect.PutVoid()), S_OK);
  auto properties = effect.As<IUIPropInterrogate>();
  for (const auto& [id, value] : settings) properties->Control(id, value);
  return effect;
}

// A property's value through the effect's IUIPropInterrogate (-99 when it cannot be read).
inline int Setting(IUnknown* effect, int id) {
  int value = -99;
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
  if (properties) properties->Inquire(id, &value);
  return value;
}

// One frame at progress p.
inline ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double p) {
  ICIF* raw = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &raw, p), S_OK);
  return ComPtr<ICIF>::Adopt(raw);
}

// The number of entries GetPages hands out.
inline int PageCount(IUnknown* effect) {
  ComPtr<IUIPropertyPageSpecify> specify;
  effect->QueryInterface(IID_IUIPropertyPageSpecify, specify.PutVoid());
  ComPtr<INamedCollection> pages;
  EXPECT_EQ(specify->GetPages(0, pages.Put(), nullptr), S_OK);
  int count = 0;
  if (pages) pages->GetCount(&count);
  return count;
}

// Saves `saved`'s settings into the host's XML stream, expects each as an element named after
// the property, loads them into `loaded` and expects the same values there.
struct NamedSetting {
  int id;
  const wchar_t* name;
  int value;
};
inline void ExpectXMLRoundTrip(IKeloTransition* saved, IKeloTransition* loaded,
                               std::initializer_list<NamedSetting> settings) {
  auto stream = testhost::Create<IDataStream>(L"XMLStream");
  ComPtr<IDataPersist> save, load;
  saved->QueryInterface(IID_IDataPersist, save.PutVoid());
  loaded->QueryInterface(IID_IDataPersist, load.PutVoid());
  ASSERT_EQ(save->Save(stream.Get(), 0), S_OK);
  const CREFString text(stream.As<IString>().Get());
  const std::wstring xml(text.text, text.length);
  for (const NamedSetting& setting : settings) {
    const std::wstring name = setting.name;
    const std::wstring element =
        L"<" + name + L">" + std::to_wstring(setting.value) + L"</" + name + L">";
    EXPECT_NE(xml.find(element), std::wstring::npos) << xml;
  }
  ASSERT_EQ(load->Load(stream.Get(), 0), S_OK);
  for (const NamedSetting& setting : settings)
    EXPECT_EQ(Setting(loaded, setting.id), setting.value);
}

}  // namespace effecttest
