#include "effects/Drawing.h"

#include "effects/HostComponents.h"

Drawing::Drawing()
    : transform_(ComPtr<ICIFTransform>::Adopt(CIFObject::CreateTransform())),
      maths_(ComPtr<ICIFMaths>::Adopt(CIFObject::CreateMaths())) {
  if (transform_) transform_->QueryInterface(IKeloResizeInto::kIID, resizeInto_.PutVoid());
}

ComPtr<ICIF> Drawing::Resize(ICIF* source, int width, int height) const {
  ComPtr<ICIF> out;
  if (transform_)
    transform_->Resize(source, out.Put(), static_cast<unsigned>(width),
                       static_cast<unsigned>(height), 0, 1);
  return out;
}

bool Drawing::ResizeInto(ICIF* destination, ICIF* source, int x, int y, int width,
                         int height) const {
  if (!resizeInto_ || destination == nullptr || source == nullptr) return false;
  const ComPtr<ICIFSubImage> region = Region();
  return region && Succeeded(region->Create(destination, x, y, width, height, 0, 0)) &&
         Succeeded(resizeInto_->ResizeInto(source, region.Get()));
}

ComPtr<ICIF> Drawing::NewLike(ICIF* like) const {
  unsigned width = 0, height = 0, planes = 0;
  int bits = 0, format = 0, formatC = 0;
  if (like == nullptr || Failed(like->GetSize(&width, &height, &planes)) ||
      Failed(like->GetFormat(&bits, &format, &formatC)))
    return nullptr;
  auto picture = ComPtr<ICIFImageDIB>::Adopt(CIFObject::CreateImageDIB());
  if (!picture || Failed(picture->Create(width, height, planes, bits, format))) return nullptr;
  return ComPtr<ICIF>::Adopt(picture.Detach());
}

ComPtr<ICIF> Drawing::Copy(ICIF* source) const {
  ComPtr<ICIF> out;
  if (maths_) maths_->Copy(out.Put(), source, 0, 0);
  return out;
}

void Drawing::Clear(ICIF* picture) const {
  if (maths_ && picture != nullptr) maths_->Clear(picture, nullptr, 0);
}

void Drawing::ClearRegion(ICIF* picture, int x, int y, int width, int height) const {
  const ComPtr<ICIFSubImage> region = Region();
  if (region && picture != nullptr && Succeeded(region->Create(picture, x, y, width, height, 0, 0)))
    Clear(region.Get());
}

void Drawing::Paste(ICIF* destination, ICIF* source, int x, int y, ICIF* mask) const {
  if (maths_ && destination != nullptr && source != nullptr)
    maths_->Paste(destination, source, mask, x, y);
}

void Drawing::PasteRegion(ICIF* destination, ICIF* source, int rx, int ry, int rw, int rh, int x,
                          int y) const {
  PasteRegion(Region().Get(), destination, source, rx, ry, rw, rh, x, y);
}

ComPtr<ICIFSubImage> Drawing::Region() const {
  return ComPtr<ICIFSubImage>::Adopt(CIFObject::CreateSubImage());
}

void Drawing::PasteRegion(ICIFSubImage* region, ICIF* destination, ICIF* source, int rx, int ry,
                          int rw, int rh, int x, int y) const {
  if (region == nullptr || source == nullptr) return;
  region->Create(source, rx, ry, rw, rh, 0, 0);
  Paste(destination, region, x, y);
}

void Drawing::Warp(ITransform* transform, ICIF* source, ICIF* destination, double x,
                   double y) const {
  if (transform_ && transform != nullptr && source != nullptr && destination != nullptr)
    transform_->Warp(transform, source, destination, x, y, 1, 1);
}

void Drawing::Finish(ICIF* picture) const {
  if (transform_ && picture != nullptr) transform_->Finish(picture);
}
