// Shared by the tests that link the module's code: objects made straight from its classes or
// through its own entry point, and the class behind an interface pointer; pictures whose pixels
// name their origin; an effect's settings set, read, drawn by Randomize and saved as XML.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "effects/KeloTransitions.h"
#include "frame/Object.h"
#include "sdk/ComPtr.h"
#include "support/REFString.h"
#include "tests/common/TestHost.h"

namespace moduletest {

// A new object of the module's class T answering I (asked for by `iid`, I's own by default).
template <class T, class I = IKeloTransition>
ComPtr<I> New(IID iid = I::kIID) {
  ComPtr<I> object;
  EXPECT_EQ(CObject<T>::_CreateInstance(nullptr, &iid, object.PutVoid()), S_OK);
  return object;
}

// A new instance of the component the module's CreateFunction offers as `name`, answering I.
template <class I>
ComPtr<I> Create(std::wstring_view name) {
  ComponentFactory factory = nullptr;
  ComPtr<I> object;
  IID iid = I::kIID;
  EXPECT_EQ(CreateFunction(RefView(name), &factory), S_OK) << std::wstring(name);
  if (factory != nullptr) {
    EXPECT_EQ(factory(nullptr, &iid, object.PutVoid()), S_OK);
  }
  return object;
}

// One frame of `effect` from `from` to `to` at `progress`; the call must succeed.
inline ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double progress) {
  ICIF* out = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &out, progress), S_OK) << "progress " << progress;
  return ComPtr<ICIF>::Adopt(out);
}

// The object of class T behind any of its interfaces.
template <class T, class I>
T* Raw(const ComPtr<I>& object) {
  return static_cast<T*>(static_cast<CObjectRoot*>(object.template As<IUnknown>().Get()));
}

// Picture patterns whose bytes name the pixel's origin: (x * scale, y * scale, the picture's mark).
constexpr unsigned char kFromMark = 50, kToMark = 200;
template <unsigned char mark, unsigned scale>
unsigned char Marked(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(c == 0 ? x * scale : c == 1 ? y * scale : mark);
}
template <unsigned scale>
constexpr auto FromPixel = Marked<kFromMark, scale>;
template <unsigned scale>
constexpr auto ToPixel = Marked<kToMark, scale>;

// A new T with each (property id, value) set through Control in turn.
template <class T>
ComPtr<IKeloTransition> NewWith(std::initializer_list<std::pair<int, int>> settings) {
  auto effect = New<T>();
  for (const auto& [id, value] : settings)
    effect.template As<IUIPropInterrogate>()->Control(id, value);
  return effect;
}

// A property's value read through Inquire (-99 when it cannot be read).
inline int Setting(IUnknown* effect, int id) {
  int value = -99;
  ComPtr<IUIPropInterrogate> properties;
  effect->QueryInterface(IID_IUIPropInterrogate, properties.PutVoid());
  if (properties) properties->Inquire(id, &value);
  return value;
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

// Saves `saved`'s settings into the host's XML stream, expects each as an element named after the
// property (so the string table names it), loads them into `loaded` and expects the same values.
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

}  // namespace moduletest
