// Pictures and the picture operations of the host.
#pragma once

#include "sdk/Com.h"

struct ITransform;

// Four-character pixel format codes, in memory byte order.
constexpr int FourCC(char a, char b, char c, char d) {
  return static_cast<int>(static_cast<unsigned char>(a) | static_cast<unsigned char>(b) << 8 |
                          static_cast<unsigned char>(c) << 16 |
                          static_cast<unsigned>(static_cast<unsigned char>(d)) << 24);
}
constexpr int kFormatMono = FourCC('M', 'O', 'N', 'O');  // 8 bits, grey
constexpr int kFormatRGB = FourCC('R', 'G', 'B', ' ');   // 24 bits, bytes R, G, B
constexpr int kFormatRGBA = FourCC('R', 'G', 'B', 'A');  // 32 bits, bytes R, G, B, A
static_assert(kFormatMono == 0x4F4E4F4D);

// A picture: one or more planes of rows; row y of a plane starts at first + y * stride.
struct ICIF : IUnknown {
  static constexpr IID kIID = IIDFromName("ICIF");
  virtual HRESULT GetSize(unsigned* width, unsigned* height, unsigned* planes) = 0;  // 3
  virtual HRESULT GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) = 0;   // 4
  // planeInfo receives the number of meaningful bytes per row of the plane.
  virtual HRESULT GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first,
                                int* stride) = 0;  // 5

 protected:
  ~ICIF() = default;
};

struct ICIFImageCANVAS : ICIF {
  using Base = ICIF;
  static constexpr IID kIID = IIDFromName("ICIFImageCANVAS");
  virtual HRESULT Create(unsigned width, unsigned height, unsigned planes, int bitsPerPixel,
                         int format) = 0;  // 6

 protected:
  ~ICIFImageCANVAS() = default;
};

struct ICIFImage : ICIF {
  using Base = ICIF;
  static constexpr IID kIID = IIDFromName("ICIFImage");
  virtual HRESULT Create(unsigned width, unsigned height, unsigned planes, int bitsPerPixel,
                         int format) = 0;         // 6
  virtual HRESULT Reserved7() = 0;                // 7
  virtual HRESULT Reserved8() = 0;                // 8
  virtual HRESULT Fill(unsigned char value) = 0;  // 9: every byte of every row

 protected:
  ~ICIFImage() = default;
};

struct ICIFImageDIB : ICIF {
  using Base = ICIF;
  static constexpr IID kIID = IIDFromName("ICIFImageDIB");
  virtual HRESULT Create(unsigned width, unsigned height, unsigned planes, int bitsPerPixel,
                         int format) = 0;  // 6
  virtual HRESULT Reserved7() = 0;         // 7
  // Becomes a copy of the source: same size, format and pixels.
  virtual HRESULT CopyFrom(ICIF* source, int reserved) = 0;  // 8

 protected:
  ~ICIFImageDIB() = default;
};

// A view of a rectangle of another picture, sharing its pixels.
struct ICIFSubImage : ICIF {
  using Base = ICIF;
  static constexpr IID kIID = IIDFromName("ICIFSubImage");
  virtual HRESULT Create(ICIF* source, int x, int y, int width, int height, int reserved1,
                         int reserved2) = 0;  // 6

 protected:
  ~ICIFSubImage() = default;
};

struct ICIFTransform : IUnknown {
  static constexpr IID kIID = IIDFromName("ICIFTransform");
  virtual HRESULT Reserved3() = 0;  // 3
  virtual HRESULT Reserved4() = 0;  // 4
  virtual HRESULT Reserved5() = 0;  // 5
  virtual HRESULT Reserved6() = 0;  // 6
  // A new picture in *out: source resampled to width x height (area filter when shrinking,
  // interpolation when growing, an exact copy at the same size).
  virtual HRESULT Resize(ICIF* source, ICIF** out, unsigned width, unsigned height, int reserved1,
                         int reserved2) = 0;  // 7
  virtual HRESULT Reserved8() = 0;            // 8
  virtual HRESULT Reserved9() = 0;            // 9
  virtual HRESULT Reserved10() = 0;           // 10
  virtual HRESULT Reserved11() = 0;           // 11
  virtual HRESULT Reserved12() = 0;           // 12
  // Draws destination pixels from source through the inverse of transform, after scaling
  // by (sx, sy) and offsetting by (ox, oy); pixels outside the warped picture stay as they were.
  virtual HRESULT Warp(ITransform* transform, ICIF* source, ICIF* destination, double ox, double oy,
                       double sx, double sy) = 0;  // 13
  // Closing call on a finished picture.
  virtual HRESULT Finish(ICIF* picture) = 0;  // 14

 protected:
  ~ICIFTransform() = default;
};

// Offered beside ICIFTransform by kelo's own imaging host (ask its transform object with
// QueryInterface; another host may not answer it): resampling into a picture that exists, such
// as a sub-picture of a frame being drawn, where Resize makes a new picture that is then pasted.
struct IKeloResizeInto : IUnknown {
  static constexpr IID kIID = IIDFromName("IKeloResizeInto");
  // destination's pixels become the bytes Resize gives for source at the destination's size,
  // converted to the destination's depth as Paste converts them.
  virtual HRESULT ResizeInto(ICIF* source, ICIF* destination) = 0;  // 3

 protected:
  ~IKeloResizeInto() = default;
};

struct ICIFMaths : IUnknown {
  static constexpr IID kIID = IIDFromName("ICIFMaths");
  virtual HRESULT Clear(ICIF* picture, ICIF* mask, int reserved) = 0;  // 3
  // Draws source with its top-left corner at (x, y), clipped at the destination's border.
  // With the destination itself as mask, only where nothing was drawn since its Clear.
  virtual HRESULT Paste(ICIF* destination, ICIF* source, ICIF* mask, int x, int y) = 0;  // 4
  virtual HRESULT Reserved5() = 0;                                                       // 5
  virtual HRESULT Reserved6() = 0;                                                       // 6
  virtual HRESULT Reserved7() = 0;                                                       // 7
  virtual HRESULT Copy(ICIF** out, ICIF* source, int reserved1, int reserved2) = 0;      // 8

 protected:
  ~ICIFMaths() = default;
};

// Distortions of a picture in place; amount 0 leaves the picture as it was.
struct ICIFDeform : IUnknown {
  static constexpr IID kIID = IIDFromName("ICIFDeform");
  virtual HRESULT Deform(ICIF* picture, int style, int option, double amount) = 0;  // 3

 protected:
  ~ICIFDeform() = default;
};
