#include "effects/HostComponents.h"

#include "frame/Loader.h"

namespace {

// One cached component per interface: every accessor asks for a different one.
template <class I>
I* Create(const char* component, const IID& iid) {
  static CachedComponent cache;
  return static_cast<I*>(CreateFromRegisteredComponent(cache, component, iid));
}

}  // namespace

ICIFImageCANVAS* CIFObject::CreateImageCANVAS() {
  return Create<ICIFImageCANVAS>("CIFImageCANVAS", IID_ICIFImageCANVAS);
}
ICIFImage* CIFObject::CreateImage() {
  return Create<ICIFImage>("CIFImage", IID_ICIFImage);
}
ICIFImageDIB* CIFObject::CreateImageDIB() {
  return Create<ICIFImageDIB>("CIFImageDIB", IID_ICIFImageDIB);
}
ICIFSubImage* CIFObject::CreateSubImage() {
  return Create<ICIFSubImage>("CIFSubImage", IID_ICIFSubImage);
}
ICIFTransform* CIFObject::CreateTransform() {
  return Create<ICIFTransform>("CIFTransform", IID_ICIFTransform);
}
ICIFMaths* CIFObject::CreateMaths() {
  return Create<ICIFMaths>("CIFMaths", IID_ICIFMaths);
}
ICIFDeform* CIFObject::CreateDeform() {
  return Create<ICIFDeform>("CIFDeform", IID_ICIFDeform);
}
IPointsCollection* GEOObject::CreatePointsCollection() {
  return Create<IPointsCollection>("PointsCollection", IID_IPointsCollection);
}
ITransformBestFit* GEOObject::CreateBestFit() {
  return Create<ITransformBestFit>("TransformBestFit", IID_ITransformBestFit);
}
ILinearTransform* GEOObject::CreateLinearTransform() {
  return Create<ILinearTransform>("LinearTransform", IID_ILinearTransform);
}
