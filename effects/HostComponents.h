// New instances of the host components the effects use, one reference for the caller, or null.
// Each accessor looks its component up in the global collection once, at first use, and keeps it
// until the module unloads (released before gRandom and the collection, in reverse order of
// first use).
#pragma once

#include "frame/Com.h"

// Pictures and picture operations.
class CIFObject {
 public:
  static ICIFImageCANVAS* CreateImageCANVAS();
  static ICIFImage* CreateImage();
  static ICIFImageDIB* CreateImageDIB();
  static ICIFSubImage* CreateSubImage();
  static ICIFTransform* CreateTransform();  // Resize, Warp, Finish
  static ICIFMaths* CreateMaths();          // Clear, Paste, Copy
  static ICIFDeform* CreateDeform();
};

// Points and transforms.
class GEOObject {
 public:
  static IPointsCollection* CreatePointsCollection();
  static ITransformBestFit* CreateBestFit();
  static ILinearTransform* CreateLinearTransform();
};
