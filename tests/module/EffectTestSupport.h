// What the effect tests share: pictures whose pixels name their origin, making an effect with its
// settings and reading them back, one frame, Randomize's draws and the XML round trip.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "frame/Object.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"

namespace effecttest {

// Bytes (x * scale, y * scale, the picture's mark).
constexpr unsigned char kFromMark = 50, kToMark = 200;
template <unsigned char mark, unsigned scale>
unsigned char Marked(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * scale : c == 1 ? y * scale : mark);
}
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
  for (const auto& [id, value] : settings) effect.As<IUIPropInterrogate>()->Control(id, value);
  return effect;
}

inline int Setting(IUnknown* effect, int id) {
  int value = -99;
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
  if (properties) properties->Inquire(id, &value);
  return value;
}

inline ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double p) {
  ICIF* raw = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &raw, p), S_OK);
  return ComPtr<ICIF>::Adopt(raw);
}

// The values each property of `ids` takes over 400 calls of Randomize, which must return S_OK.
inline std::map<int, std::set<int>> RandomizedValues(IKeloTransition* effect,
                                                     std::initializer_list<int> ids) {
  std::map<int, std::set<int>> seen;
  ComPtr<IRandomizableObject> random;
  effect->QueryInterface(IID_IRandomizableObject, random.PutVoid());
  for (int i = 0; i < 400; ++i) {
    EXPECT_EQ(random->Randomize(), S_OK);
    for (int id : ids) seen[id].insert(Setting(effect, id));
  }
  return seen;
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
  for (const auto& [id, name, value] : settings)
    EXPECT_NE(xml.find(std::wstring(L"<") + name + L">" + std::to_wstring(value) + L"</" + name),
              std::wstring::npos)
        << xml;
  ASSERT_EQ(load->Load(stream.Get(), 0), S_OK);
  for (const auto& [id, name, value] : settings) EXPECT_EQ(Setting(loaded, id), value);
}

}  // namespace effecttest
