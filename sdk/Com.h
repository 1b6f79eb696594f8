// Component object basics shared by the transitions module, the host modules and the tools:
// result codes, interface identities, the counted string view and IUnknown.
#pragma once

#include <cstdint>

using HRESULT = std::int32_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);

// Success is "not negative": some operations return a flags word on success.
constexpr bool Succeeded(HRESULT hr) {
  return hr >= 0;
}
constexpr bool Failed(HRESULT hr) {
  return hr < 0;
}

// A 16-byte interface identity, compared as four 32-bit words.
struct IID {
  std::uint32_t words[4];
  friend constexpr bool operator==(const IID&, const IID&) = default;
};

// Identity of an interface derived from its name: 5-bit codes of the first 25 characters packed
// little-endian. Letters fold case, '0'..'4' code 28..32 (32 spills its sixth bit into the next
// field), everything else codes 27, so some distinct names share an identity on purpose.
constexpr IID IIDFromName(const char* name) {
  IID id{};
  for (int i = 0; i < 25 && name[i] != '\0'; ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    std::uint32_t code = 27;
    if (c >= 'A' && c <= 'Z')
      code = c - 64u;
    else if (c >= 'a' && c <= 'z')
      code = c - 96u;
    else if (c >= '0' && c <= '4')
      code = c - 20u;
    const int bit = 5 * i;
    id.words[bit / 32] |= code << (bit % 32);
    if (bit % 32 > 26 && bit / 32 < 3) id.words[bit / 32 + 1] |= code >> (32 - bit % 32);
  }
  return id;
}

// The standard IUnknown identity; the only one not derived from a name.
constexpr IID kIID_IUnknown{{0x00000000u, 0x00000000u, 0x000000C0u, 0x46000000u}};

// A counted view of wide (32-bit) characters owned elsewhere; never NUL-terminated by us.
struct tagREFString {
  std::int32_t length;
  const wchar_t* text;
};
static_assert(sizeof(wchar_t) == 4, "wide characters must be 32 bits");

template <std::size_t N>
constexpr tagREFString RefLiteral(const wchar_t (&text)[N]) {
  return {static_cast<std::int32_t>(N - 1), text};
}

// Interfaces are abstract classes whose operations stand in a fixed table order ("slots").
// Slots 0..2 are these three. Interfaces carry no virtual destructor: a destructor would
// take table slots. Objects are destroyed by their own Release.
struct IUnknown {
  static constexpr IID kIID = kIID_IUnknown;
  virtual HRESULT QueryInterface(const IID& iid, void** out) = 0;  // 0
  virtual std::uint32_t AddRef() = 0;                              // 1: count after the add
  virtual std::uint32_t Release() = 0;                             // 2: 0 when the object is gone

 protected:
  ~IUnknown() = default;
};

// The factory a module hands out for one component name.
using ComponentFactory = HRESULT (*)(void* outer, IID* iid, void** out);

struct IComponentCollection;
// Signatures of the two entry points every module exports.
using InitializeModuleFn = HRESULT (*)(void* reserved, IComponentCollection* collection);
using CreateFunctionFn = HRESULT (*)(tagREFString name, ComponentFactory* out);
