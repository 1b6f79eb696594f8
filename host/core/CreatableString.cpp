#include "host/core/CreatableString.h"

#include <functional>
#include <limits>
#include <new>

#include "host/core/Text.h"

namespace host::core {

IString* CreatableString::Make(std::wstring_view text) {
  try {
    return new CreatableString(text);
  } catch (...) {
    return nullptr;
  }
}

HRESULT CreatableString::GetBuffer(const wchar_t** text, int* length) {
  if (text == nullptr || length == nullptr) return E_INVALIDARG;
  *text = text_.c_str();
  *length = static_cast<int>(text_.size());
  return S_OK;
}

bool CreatableString::IsOwnText(const wchar_t* text) const {
  if (text == nullptr) return false;
  // std::less gives a total order even for pointers into unrelated objects.
  const wchar_t* begin = text_.data();
  const wchar_t* end = begin + text_.size();
  return !std::less<const wchar_t*>()(text, begin) && std::less<const wchar_t*>()(text, end);
}

bool CreatableString::OwnTextFits(int length, const wchar_t* text) const {
  if (!IsOwnText(text)) return true;
  return static_cast<std::size_t>(text - text_.data()) + static_cast<std::size_t>(length) <=
         text_.size();
}

HRESULT CreatableString::SetText(int length, const wchar_t* text) {
  if (!ValidView({length, text})) return E_INVALIDARG;
  if (!OwnTextFits(length, text)) return E_INVALIDARG;
  try {
    if (length > 0 && IsOwnText(text)) {
      // A piece of ourselves: copy it out before the buffer is rewritten.
      std::wstring piece(text, static_cast<std::size_t>(length));
      text_.swap(piece);
    } else {
      text_.assign(text == nullptr ? L"" : text, static_cast<std::size_t>(length));
    }
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT CreatableString::Append(int length, const wchar_t* text) {
  if (!ValidView({length, text})) return E_INVALIDARG;
  if (!OwnTextFits(length, text)) return E_INVALIDARG;
  if (length == 0) return S_OK;
  if (text_.size() + static_cast<std::size_t>(length) >
      static_cast<std::size_t>(std::numeric_limits<int>::max()))
    return E_INVALIDARG;
  try {
    if (IsOwnText(text)) {
      // Growing may move the buffer the text points into: copy the piece first.
      const std::wstring piece(text, static_cast<std::size_t>(length));
      text_.append(piece);
    } else {
      text_.append(text, static_cast<std::size_t>(length));
    }
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

}  // namespace host::core
