// An adjustable effect is declared once: its properties (id, member, flags, text entry, range,
// starting value, how Randomize draws it), its text table, its property page and how Replicate
// and Randomize differ from the common shape. CAdjustableEffect<T> builds FinalConstruct,
// Interfaces, Randomize, Replicate, GetPages, Save and Load from T::kDeclaration, so an effect
// file holds only its declaration and its DoTransition. The same operations are pieces of their
// own (DeclaredOperations<T>, PersistProperties) for a class whose layout is not the common one.
//
//   class CExample : public CAdjustableEffect<CExample> {
//    public:
//     static constexpr tagREFString kName = RefLiteral(L"ExampleTransition");
//     static const EffectDeclaration<CExample> kDeclaration;   // defined in the effect's file
//     HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
//    private:
//     std::int32_t direction_ = 0;
//   };
#pragma once

#include <array>
#include <cstdint>

#include "frame/Object.h"
#include "properties/PropInterrogate.h"
#include "support/Convert.h"
#include "support/Random.h"

// How Randomize draws a property: an integer among `count` values from `base` (count 0: the
// property is not drawn).
struct RandomRange {
  int count = 0;
  int base = 0;
};

// One property, pointing at the effect's member that holds it (an integer or a double).
template <class T>
struct PropertyDeclaration {
  int id = 0;
  std::int32_t T::*integer = nullptr;
  double T::*real = nullptr;
  unsigned flags = kPropInt32;
  // The entry of the effect's text table that names the property and lists its choices (added
  // through PropE); 0 appends the entry directly, without text, with the range below.
  int textId = 0;
  int minimum = 0;
  int maximum = 0;
  double initial = 0;  // the value FinalConstruct sets
  RandomRange random{};
};

// The setting every directional effect has: id 1, a choice named (with its list) by entry 11 of
// the effect's text table, starting at 0, drawn by Randomize among `directions` values (0: not
// drawn).
template <class T>
constexpr PropertyDeclaration<T> DirectionProperty(std::int32_t T::*member, int directions) {
  return {.id = 1,
          .integer = member,
          .flags = kPropChoice | kPropInt32,
          .textId = 11,
          .random = {.count = directions}};
}

// A further component name that makes the effect with one property set right after creation.
struct EffectPreset {
  tagREFString name;
  int id;
  int value;
};

template <class T>
struct EffectDeclaration {
  static constexpr int kMaxProperties = 4;
  // In the order FinalConstruct adds them (the order of the table, of Randomize's draws and,
  // unless replicateOrder says otherwise, of Replicate's copies).
  std::array<PropertyDeclaration<T>, kMaxProperties> properties{};
  // The string table of the entries with text (passed to PropE as a host string).
  const wchar_t* texts = nullptr;
  // GetPages' one entry: "UIPropInterrogatePropPage" with this string table and option.
  const wchar_t* pageTexts = nullptr;
  int pageOption = 0;
  // Property ids in the order Replicate copies them; all zero: the table's order.
  std::array<int, kMaxProperties> replicateOrder{};
  HRESULT randomizeResult = S_OK;  // what Randomize returns

  int Count() const {
    int count = 0;
    while (count < kMaxProperties && properties[count].id != 0) ++count;
    return count;
  }
};

// A host collection with one entry: key "", value "UIPropInterrogatePropPage" (the host's generic
// property page) and, when given, `texts` as the entry's third item with `option`.
HRESULT MakePropertyPages(INamedCollection** pages, const wchar_t* texts, int option);

// Save/Load of the property table: as XML when the stream offers IXMLStream, else into a folder
// stream; any other stream (or none) is left alone. Always S_OK.
HRESULT PersistProperties(IUIPropInterrogateEx* properties, IDataStream* stream, int option,
                          bool save);

template <class T>
class CDataPersistImpl : public IDataPersist {
 public:
  HRESULT Save(IDataStream* stream, int option) override {
    return PersistProperties(static_cast<T*>(this), stream, option, /*save=*/true);
  }
  HRESULT Load(IDataStream* stream, int option) override {
    return PersistProperties(static_cast<T*>(this), stream, option, /*save=*/false);
  }

 protected:
  ~CDataPersistImpl() = default;
};

// The operations built from T::kDeclaration, as pieces: CAdjustableEffect is made of them, and a
// class of another layout (its own base order and primary table) calls the ones it shares.
// T derives from IUIPropInterrogateImpl<T, IUIPropInterrogateEx, 10>.
template <class T>
struct DeclaredOperations {
  // Sets every declared property to its starting value.
  static void SetStartingValues(T& self) {
    const EffectDeclaration<T>& declaration = T::kDeclaration;
    for (int i = 0; i < declaration.Count(); ++i) {
      const PropertyDeclaration<T>& property = declaration.properties[i];
      if (property.integer != nullptr)
        self.*property.integer = static_cast<std::int32_t>(property.initial);
      else
        self.*property.real = property.initial;
    }
  }

  // Adds the entries in the declared order: through PropE when the property has text, else
  // directly with its range.
  static void AddProperties(T& self) {
    const EffectDeclaration<T>& declaration = T::kDeclaration;
    IString* texts = declaration.texts != nullptr ? ISCreate(declaration.texts) : nullptr;
    for (int i = 0; i < declaration.Count(); ++i) {
      const PropertyDeclaration<T>& property = declaration.properties[i];
      void* value = property.integer != nullptr ? static_cast<void*>(&(self.*property.integer))
                                                : static_cast<void*>(&(self.*property.real));
      if (property.textId != 0)
        self.PropE(property.id, value, static_cast<int>(property.flags), texts, property.textId,
                   nullptr);
      else
        self.AddProperty(property.id, value, property.flags, property.minimum, property.maximum);
    }
    if (texts != nullptr) texts->Release();
  }

  // Draws each property that has a random range from gRandom, in the declared order, and sets it
  // through Control.
  static HRESULT Randomize(T& self) {
    const EffectDeclaration<T>& declaration = T::kDeclaration;
    for (int i = 0; i < declaration.Count(); ++i) {
      const RandomRange range = declaration.properties[i].random;
      if (range.count > 0)
        self.Control(declaration.properties[i].id,
                     RandomChoice(gRandom.Random(), range.count, range.base));
    }
    return declaration.randomizeResult;
  }

  // A new T, made as the factory makes it and handed out as its IKeloTransition, with every
  // property copied through its Control (a double travels as a float, so it is narrowed).
  static HRESULT Replicate(const T& self, IUnknown** copy) {
    IID iid = IID_IKeloTransition;
    const HRESULT hr = CObject<T>::_CreateInstance(nullptr, &iid, reinterpret_cast<void**>(copy));
    if (hr < 0) return hr;
    IUIPropInterrogate* properties = nullptr;
    (*copy)->QueryInterface(IID_IUIPropInterrogate, reinterpret_cast<void**>(&properties));
    if (properties == nullptr) return S_OK;
    const EffectDeclaration<T>& declaration = T::kDeclaration;
    const bool declaredOrder = declaration.replicateOrder[0] != 0;
    for (int i = 0; i < declaration.Count(); ++i) {
      const int id = declaredOrder ? declaration.replicateOrder[i] : declaration.properties[i].id;
      if (id != 0) properties->Control(id, SettingOf(self, id));
    }
    properties->Release();
    return S_OK;
  }

  static HRESULT GetPages(INamedCollection** pages) {
    return MakePropertyPages(pages, T::kDeclaration.pageTexts, T::kDeclaration.pageOption);
  }

 private:
  // A property's value as Control takes it: the integer, or a double's float bit pattern.
  static int SettingOf(const T& self, int id) {
    for (const PropertyDeclaration<T>& property : T::kDeclaration.properties) {
      if (property.id != id) continue;
      if (property.integer != nullptr) return self.*property.integer;
      return FloatBits(static_cast<float>(self.*property.real));
    }
    return 0;
  }
};

// The common shape of an adjustable effect. `Extra` are further interfaces of the effect's own
// (answered right after IKeloTransition). An effect whose contract differs overrides the operation
// in its own file, with a comment saying why.
template <class T, class... Extra>
class CAdjustableEffect : public CObjectRoot,
                          public IObjectInfoImpl<T>,
                          public IUIPropInterrogateImpl<T, IUIPropInterrogateEx, 10>,
                          public IUIPropertyPageSpecify,
                          public IRandomizableObject,
                          public CDataPersistImpl<T>,
                          public IKeloTransition,
                          public IReplicableObject,
                          public Extra... {
 public:
  static const auto& Interfaces() {
    static constexpr std::array table{
        Entry<T, IObjectInfo>(&IID_IObjectInfo), Entry<T, IKeloTransition>(&IID_IKeloTransition),
        Entry<T, Extra>(&Extra::kIID)..., Entry<T, IRandomizableObject>(&IID_IRandomizableObject),
        Entry<T, IReplicableObject>(&IID_IReplicableObject),
        Entry<T, IDataPersist>(&IID_IDataPersist),
        // Asked for IUIPropInterrogate, the object answers with its extended interface.
        Entry<T, IUIPropInterrogateEx>(&IID_IUIPropInterrogate),
        Entry<T, IUIPropertyPageSpecify>(&IID_IUIPropertyPageSpecify)};
    return table;
  }

  // Sets every property to its starting value, then adds the entries. Always S_OK.
  HRESULT FinalConstruct() override {
    T& self = *static_cast<T*>(this);
    DeclaredOperations<T>::SetStartingValues(self);
    DeclaredOperations<T>::AddProperties(self);
    return S_OK;
  }

  HRESULT Uninitialize() override { return S_OK; }

  HRESULT Randomize() override { return DeclaredOperations<T>::Randomize(*static_cast<T*>(this)); }

  HRESULT Replicate(IUnknown** copy) override {
    return DeclaredOperations<T>::Replicate(*static_cast<const T*>(this), copy);
  }

  HRESULT GetPages(int /*reserved*/, INamedCollection** pages, IUnknown** /*reserved2*/) override {
    return DeclaredOperations<T>::GetPages(pages);
  }

 protected:
  ~CAdjustableEffect() = default;

  // One setting drawn from gRandom: an integer among `count` values from `base`.
  static int RandomSetting(int count, int base = 0) {
    return RandomChoice(gRandom.Random(), count, base);
  }
};
