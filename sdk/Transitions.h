// What a transition effect offers its host.
#pragma once

#include "sdk/Collections.h"
#include "sdk/Imaging.h"

// The kind under which the host registers transition components.
inline constexpr wchar_t kTransitionKind[] = L"KeloSlideTransition";

struct IKeloTransition : IUnknown {
  static constexpr IID kIID = IIDFromName("IKeloTransition");
  // A new picture in *out (one reference for the caller) showing the passage from `from`
  // (progress 0) to `to` (progress 1). *out is overwritten without being released.
  virtual HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) = 0;  // 3
  // Drops what the effect caches between calls; the effect stays usable.
  virtual HRESULT Uninitialize() = 0;  // 4

 protected:
  ~IKeloTransition() = default;
};

struct IRandomizableObject : IUnknown {
  static constexpr IID kIID = IIDFromName("IRandomizableObject");
  virtual HRESULT Randomize() = 0;  // 3

 protected:
  ~IRandomizableObject() = default;
};

struct IReplicableObject : IUnknown {
  static constexpr IID kIID = IIDFromName("IReplicableObject");
  virtual HRESULT Replicate(IUnknown** copy) = 0;  // 3

 protected:
  ~IReplicableObject() = default;
};

struct IDataStream;

struct IDataPersist : IUnknown {
  static constexpr IID kIID = IIDFromName("IDataPersist");
  virtual HRESULT Save(IDataStream* stream, int option) = 0;  // 3
  virtual HRESULT Load(IDataStream* stream, int option) = 0;  // 4

 protected:
  ~IDataPersist() = default;
};

struct IUIPropertyPageSpecify : IUnknown {
  static constexpr IID kIID = IIDFromName("IUIPropertyPageSpecify");
  virtual HRESULT GetPages(int reserved, INamedCollection** pages, IUnknown** reserved2) = 0;  // 3

 protected:
  ~IUIPropertyPageSpecify() = default;
};

struct IShutter : IUnknown {
  static constexpr IID kIID = IIDFromName("IShutter");
  virtual HRESULT get_Style(short* value) = 0;      // 3
  virtual HRESULT put_Style(short value) = 0;       // 4
  virtual HRESULT get_Bands(short* value) = 0;      // 5
  virtual HRESULT put_Bands(short value) = 0;       // 6
  virtual HRESULT get_Direction(short* value) = 0;  // 7
  virtual HRESULT put_Direction(short value) = 0;   // 8

 protected:
  ~IShutter() = default;
};

struct ITwirl : IUnknown {
  static constexpr IID kIID = IIDFromName("ITwirl");
  virtual HRESULT get_Revolutions(float* value) = 0;  // 3
  virtual HRESULT put_Revolutions(float value) = 0;   // 4

 protected:
  ~ITwirl() = default;
};
