#include "effects/CIFObject.h"

ICIFImageCANVAS* CIFObject::CreateImageCANVAS() {
  static CachedComponent gCIFImageCANVAS;
  return static_cast<ICIFImageCANVAS*>(
      CreateFromRegisteredComponent(gCIFImageCANVAS, "CIFImageCANVAS", IID_ICIFImageCANVAS));
}

ICIFImage* CIFObject::CreateImage() {
  static CachedComponent gCIFImage;
  return static_cast<ICIFImage*>(
      CreateFromRegisteredComponent(gCIFImage, "CIFImage", IID_ICIFImage));
}

ICIFImageDIB* CIFObject::CreateImageDIB() {
  static CachedComponent gCIFImageDIB;
  return static_cast<ICIFImageDIB*>(
      CreateFromRegisteredComponent(gCIFImageDIB, "CIFImageDIB", IID_ICIFImageDIB));
}

ICIFSubImage* CIFObject::CreateSubImage() {
  static CachedComponent gCIFSubImage;
  return static_cast<ICIFSubImage*>(
      CreateFromRegisteredComponent(gCIFSubImage, "CIFSubImage", IID_ICIFSubImage));
}

ICIF* ResampleTo(ICIF* from, unsigned width, unsigned height) {
  ICIFTransform* transform = CreateTransformComponent();
  if (transform == nullptr) return nullptr;
  ICIF* resized = nullptr;
  transform->Resize(from, &resized, width, height, 0, 1);
  transform->Release();
  return resized;
}
