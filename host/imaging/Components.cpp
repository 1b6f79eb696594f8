#include "host/imaging/Components.h"

#include "host/imaging/Deform.h"
#include "host/imaging/Geometry.h"
#include "host/imaging/Maths.h"
#include "host/imaging/Picture.h"
#include "host/imaging/SubPicture.h"
#include "host/imaging/Transform.h"

namespace host::imaging {

namespace {
constexpr HostComponent kComponents[] = {
    {L"CIFImageCANVAS", L"Picture", &Picture::CreateInstance},
    {L"CIFImage", L"Picture", &Picture::CreateInstance},
    {L"CIFImageDIB", L"Picture", &Picture::CreateInstance},
    {L"CIFSubImage", L"Picture", &SubPicture::CreateInstance},
    {L"CIFTransform", L"PictureOperations", &PictureTransform::CreateInstance},
    {L"CIFMaths", L"PictureOperations", &PictureMaths::CreateInstance},
    {L"CIFDeform", L"PictureOperations", &PictureDeform::CreateInstance},
    {L"PointsCollection", L"Geometry", &PointsCollection::CreateInstance},
    {L"TransformBestFit", L"Geometry", &TransformBestFit::CreateInstance},
    {L"LinearTransform", L"Geometry", &LinearTransform::CreateInstance},
};
}  // namespace

std::span<const HostComponent> Components() {
  return kComponents;
}

}  // namespace host::imaging
