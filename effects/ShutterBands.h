// "ShutterBandsTransition": a venetian blind. The picture is cut into equal bands, stacked
// (horizontal slats) or side by side (vertical slats); inside every band the incoming picture
// opens line by line. Each frame paints an 8-bit mask that CTransitionHelper::ApplyMask composes.
// The settings are also offered through IShutter.
#pragma once

#include "properties/AdjustableEffect.h"

// One line of a mask: `length` bytes of `value` in row `line` (PaintHorizonal, a name kept as it
// is spelled) or in column `line` (PaintVertical) of the mask at `bits` whose rows are `stride`
// bytes apart. Each returns the address just past the last byte written, or bits + line when
// `length` is below 1 and nothing is written.
unsigned char* PaintHorizonal(int line, int length, unsigned char value, unsigned char* bits,
                              int stride);
unsigned char* PaintVertical(int line, int length, unsigned char value, unsigned char* bits,
                             int stride);

class CShutterBands : public CAdjustableEffect<CShutterBands, IShutter> {
 public:
  enum Property { kDirection = 1, kBands = 2, kStyle = 4 };
  // Where the incoming picture opens in each band.
  enum Style { kAtEnd = 0, kAtStart = 1, kAtBorders = 2, kAtMiddle = 3 };

  static constexpr tagREFString kName = RefLiteral(L"ShutterBandsTransition");
  static const EffectDeclaration<CShutterBands> kDeclaration;

  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  // A new CShutterBands handed out as its IShutter, with this object's settings copied through
  // the copy's IShutter setters (as shorts; put_Bands makes 0 or less 1).
  HRESULT Replicate(IUnknown** copy) override;

  // IShutter. The getters write the low 16 bits (and ignore a null pointer); the setters store
  // the value unchecked, but for put_Bands, which stores 0 or less as 1. All return S_OK.
  HRESULT get_Style(short* value) override { return LowBits(style_, value); }
  HRESULT put_Style(short value) override { return Store(style_, value); }
  HRESULT get_Bands(short* value) override { return LowBits(bands_, value); }
  HRESULT put_Bands(short value) override { return Store(bands_, value < 1 ? short{1} : value); }
  HRESULT get_Direction(short* value) override { return LowBits(direction_, value); }
  HRESULT put_Direction(short value) override { return Store(direction_, value); }

 protected:
  ~CShutterBands() = default;

 private:
  std::int32_t style_ = kAtEnd;
  std::int32_t bands_ = 3;      // at least 1 through IShutter; unchecked through Control and Load
  std::int32_t direction_ = 0;  // 0 horizontal slats (rows); anything else vertical (columns)

  static HRESULT LowBits(std::int32_t member, short* value) {
    if (value != nullptr) *value = static_cast<short>(member);
    return S_OK;
  }
  static HRESULT Store(std::int32_t& member, short value) {
    member = value;
    return S_OK;
  }
};
