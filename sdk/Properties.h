// Property interrogation: how a host lists, reads, changes and stores an effect's settings.
#pragma once

#include <cstdint>
#include <cstring>

#include "sdk/Collections.h"

struct IFolderStream;
struct IDataStream;

// Stands for the whole property table in Inquire and ParameterRange.
constexpr int UIPROP_ALL = 0x2000000;

// Flags word of a property.
inline constexpr unsigned kPropKindMask = 0x0F;  // value kind, see PropertyKind
inline constexpr unsigned kPropSubKindMask = 0xF0;
inline constexpr unsigned kPropBoolean = 0x10;
inline constexpr unsigned kPropColour = 0x20;  // with kind 3: flags exactly 0x23
inline constexpr unsigned kPropChoice = 0x40;  // an integer chosen from a list
inline constexpr unsigned kPropFileName =
    0x100;  // a file name, stored relative to the install path
inline constexpr unsigned kPropNotSavedXML = 0x04000000;  // not written or restored by the streams
// Set on the Style entries that the preset factories change; what it means is the host's.
inline constexpr unsigned kPropPresetStyle = 0x40000;

// A float's 32-bit pattern and back: how float and double values travel through the 32-bit
// Inquire/Control (a double property takes the pattern as a float and widens it).
inline std::int32_t FloatBits(float value) {
  std::int32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}
inline float BitsFloat(std::int32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

enum PropertyKind : int {
  kPropNone = 0,
  kPropUInt8 = 1,
  kPropInt16 = 2,
  kPropInt32 = 3,
  kPropFloat = 4,
  kPropDouble = 5,
  kPropString = 6,
  kPropObject = 7,
  kPropConstantZero = 8,
  kPropInterface = 9,
};

struct IUIPropInterrogate : IUnknown {
  static constexpr IID kIID = IIDFromName("IUIPropInterrogate");
  // On success returns the property's flags word (not 0), so test with Succeeded().
  virtual HRESULT Inquire(int id, int* value) = 0;                         // 3
  virtual HRESULT Control(int id, int value) = 0;                          // 4
  virtual HRESULT ParameterRange(int id, int* minimum, int* maximum) = 0;  // 5
  virtual HRESULT ParameterEnumeration(int id, IUnknown** choices) = 0;    // 6

 protected:
  ~IUIPropInterrogate() = default;
};

struct IUIPropInterrogateEx : IUIPropInterrogate {
  using Base = IUIPropInterrogate;
  static constexpr IID kIID = IIDFromName("IUIPropInterrogateEx");
  virtual HRESULT InquireEx(int id, IUnknown** value) = 0;  // 7
  virtual HRESULT ControlEx(int id, IUnknown* value) = 0;   // 8
  virtual HRESULT UIPropInterrogate_SaveFolderStream(INamedCollection* names, IFolderStream* folder,
                                                     int option) = 0;                         // 9
  virtual HRESULT UIPropInterrogate_LoadFolderStream(IFolderStream* folder, int option) = 0;  // 10
  virtual HRESULT UIPropInterrogate_SaveXML(INamedCollection* names, IDataStream* stream,
                                            int option) = 0;  // 11
  virtual HRESULT UIPropInterrogate_LoadXML(INamedCollection* names, IDataStream* stream,
                                            int option) = 0;  // 12

 protected:
  ~IUIPropInterrogateEx() = default;
};
