// Host strings, variants, component strings and collections.
#pragma once

#include "sdk/Com.h"

// A host-owned wide string.
struct IString : IUnknown {
  static constexpr IID kIID = IIDFromName("IString");
  virtual HRESULT GetBuffer(const wchar_t** text, int* length) = 0;  // 3
  virtual HRESULT SetText(int length, const wchar_t* text) = 0;      // 4
  virtual HRESULT Append(int length, const wchar_t* text) = 0;       // 5

 protected:
  ~IString() = default;
};

// The "CreatableString" component's interface: a string made on demand.
struct ICreatableString : IString {
  using Base = IString;
  static constexpr IID kIID = IIDFromName("ICreatableString");

 protected:
  ~ICreatableString() = default;
};

// Type codes reported by IVariant::GetType.
enum VariantType : int {
  kVariantEmptyOrObject = 0,
  kVariantInteger = 1,
  kVariantDouble = 2,
  kVariantString = 8,
};

struct IVariant : IUnknown {
  static constexpr IID kIID = IIDFromName("IVariant");
  virtual HRESULT GetType(int* type) = 0;            // 3
  virtual HRESULT GetDouble(double* value) = 0;      // 4
  virtual HRESULT GetInteger(int* value) = 0;        // 5
  virtual HRESULT SetInteger(int value) = 0;         // 6
  virtual HRESULT SetDouble(double value) = 0;       // 7
  virtual HRESULT SetObject(IUnknown* object) = 0;   // 8
  virtual HRESULT GetObject(IUnknown** object) = 0;  // 9
  virtual HRESULT SetString(IString* text) = 0;      // 10
  virtual HRESULT IsString(int* isString) = 0;       // 11: 1 when it holds a string
  virtual HRESULT GetString(IString** text) = 0;     // 12

 protected:
  ~IVariant() = default;
};

struct IObjectInfo : IUnknown {
  static constexpr IID kIID = IIDFromName("IObjectInfo");
  virtual HRESULT GetName(int reserved, tagREFString* name) = 0;  // 3

 protected:
  ~IObjectInfo() = default;
};

// Texts a component string carries (SetText/GetText kinds).
enum ComponentStringText : int {
  kComponentName = 1,    // the component's name
  kComponentKind = 2,    // the kind it is registered under, e.g. "KeloSlideTransition"
  kComponentModule = 4,  // the module that implements it
};

// A factory object for one named host component.
struct IComponentString : IUnknown {
  static constexpr IID kIID = IIDFromName("IComponentString");
  // Describes the component of an existing object: afterwards GetText(kComponentName) gives its
  // name.
  virtual HRESULT Attach(IUnknown* object) = 0;                    // 3
  virtual HRESULT GetText(int kind, IString** text) = 0;           // 4
  virtual HRESULT CreateInstance(const IID& iid, void** out) = 0;  // 5
  virtual HRESULT SetText(int kind, tagREFString text) = 0;        // 6

 protected:
  ~IComponentString() = default;
};

// A collection of component strings: the global one knows every component of every module.
struct IComponentCollection : IUnknown {
  static constexpr IID kIID = IIDFromName("IComponentCollection");
  virtual HRESULT GetCount(int* count) = 0;                 // 3
  virtual HRESULT GetItem(int index, IUnknown** item) = 0;  // 4
  virtual HRESULT Find(IString* name, int* index) = 0;      // 5
  virtual HRESULT Remove(int index) = 0;                    // 6
  virtual HRESULT RemoveAll() = 0;                          // 7
  virtual HRESULT Reserved8() = 0;                          // 8
  virtual HRESULT Reserved9() = 0;                          // 9
  virtual HRESULT Reserved10() = 0;                         // 10
  virtual HRESULT Reserved11() = 0;                         // 11
  virtual HRESULT Add(IUnknown* item) = 0;                  // 12
  virtual HRESULT Reserved13() = 0;                         // 13
  virtual HRESULT Reserved14() = 0;                         // 14
  // Replaces the content with the components registered under a kind.
  virtual HRESULT SelectKind(IString* kind) = 0;  // 15
  // A null identity hands out the component string itself, otherwise a new instance.
  virtual HRESULT CreateByName(tagREFString name, const IID* iid, void** out) = 0;  // 16

 protected:
  ~IComponentCollection() = default;
};

// An ordered collection of entries (name, value, extra item, option); read side.
struct INamedCollection : IUnknown {
  static constexpr IID kIID = IIDFromName("INamedCollection");
  virtual HRESULT GetCount(int* count) = 0;                   // 3
  virtual HRESULT GetName(int index, IString** name) = 0;     // 4
  virtual HRESULT GetValue(int index, IUnknown** value) = 0;  // 5
  virtual HRESULT GetExtra(int index, IUnknown** extra) = 0;  // 6
  virtual HRESULT GetOption(int index, int* option) = 0;      // 7
  virtual HRESULT Find(IString* name, int* index) = 0;        // 8
  virtual HRESULT Remove(int index) = 0;                      // 9
  virtual HRESULT RemoveAll() = 0;                            // 10

 protected:
  ~INamedCollection() = default;
};

// The "SuperCollection" component: a named collection that can be added to.
struct ISuperCollection : INamedCollection {
  using Base = INamedCollection;
  static constexpr IID kIID = IIDFromName("ISuperCollection");
  virtual HRESULT Reserved11() = 0;                                                       // 11
  virtual HRESULT Reserved12() = 0;                                                       // 12
  virtual HRESULT Reserved13() = 0;                                                       // 13
  virtual HRESULT Reserved14() = 0;                                                       // 14
  virtual HRESULT Reserved15() = 0;                                                       // 15
  virtual HRESULT Add(IUnknown* name, IUnknown* value, IUnknown* extra, int option) = 0;  // 16

 protected:
  ~ISuperCollection() = default;
};
