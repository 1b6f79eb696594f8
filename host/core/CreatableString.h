// "CreatableString": a growable wide string. The buffer handed out by GetBuffer is always
// NUL-terminated and stays valid until the next change.
#pragma once

#include <string>
#include <string_view>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"

namespace host::core {

class CreatableString final : public HostObject<CreatableString, ICreatableString> {
 public:
  CreatableString() = default;
  explicit CreatableString(std::wstring_view text) : text_(text) {}

  // A new string holding `text` (one reference for the caller), or null when out of memory.
  static IString* Make(std::wstring_view text);

  HRESULT GetBuffer(const wchar_t** text, int* length) override;
  HRESULT SetText(int length, const wchar_t* text) override;
  HRESULT Append(int length, const wchar_t* text) override;

 private:
  // True when [text, text + length) lies inside our own characters.
  bool IsOwnText(const wchar_t* text) const;
  // False when a piece of our own characters would run past their end.
  bool OwnTextFits(int length, const wchar_t* text) const;

  std::wstring text_;
};

}  // namespace host::core
