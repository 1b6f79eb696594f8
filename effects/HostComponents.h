// New instances of the host components the effects use, one reference for the caller, or null.
// Each accessor looks its component up in the global collection once, at first use, and keeps it
// until the module unloads (released before gRandom and the collection, in reverse order of
// first use).
#pragma once

#include "frame/Com.h"
#include "frame/Loader.h"

// A new instance of the host component `name` answering I, through a cache of its own.
template <class I>
I* CreateHostComponent(const char* name) {
  static CachedComponent cache;  // one per interface: every accessor asks for a different one
  return static_cast<I*>(CreateFromRegisteredComponent(cache, name, I::kIID));
}

// Pictures and picture operations.
class CIFObject {
 public:
  static auto CreateImageCANVAS() { return CreateHostComponent<ICIFImageCANVAS>("CIFImageCANVAS"); }
  static auto CreateImage() { return CreateHostComponent<ICIFImage>("CIFImage"); }
  static auto CreateImageDIB() { return CreateHostComponent<ICIFImageDIB>("CIFImageDIB"); }
  static auto CreateSubImage() { return CreateHostComponent<ICIFSubImage>("CIFSubImage"); }
  // Resize, Warp, Finish.
  static auto CreateTransform() { return CreateHostComponent<ICIFTransform>("CIFTransform"); }
  // Clear, Paste, Copy.
  static auto CreateMaths() { return CreateHostComponent<ICIFMaths>("CIFMaths"); }
  static auto CreateDeform() { return CreateHostComponent<ICIFDeform>("CIFDeform"); }
};

// Points and transforms.
class GEOObject {
 public:
  static auto CreatePointsCollection() {
    return CreateHostComponent<IPointsCollection>("PointsCollection");
  }
  static auto CreateBestFit() { return CreateHostComponent<ITransformBestFit>("TransformBestFit"); }
  static auto CreateLinearTransform() {
    return CreateHostComponent<ILinearTransform>("LinearTransform");
  }
};
