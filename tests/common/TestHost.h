// A minimal host for tests: loads "CollectionsEx" from ./_binARM64 (tests run in the build
// folder) and gives its global component collection and helpers to make pictures.
#pragma once

#include <string>
#include <vector>

#include "sdk/Collections.h"
#include "sdk/ComPtr.h"
#include "sdk/Imaging.h"

namespace testhost {

// The process's global component collection (loaded once; never unloaded).
IComponentCollection* Global();

// A new instance of the named component answering I.
template <class I>
ComPtr<I> Create(std::wstring_view component) {
  ComPtr<I> object;
  Global()->CreateByName(RefView(component), &I::kIID, object.PutVoid());
  return object;
}

// A picture of the given size and bits per pixel whose byte at (x, y, c) is pattern(x, y, c).
ComPtr<ICIF> MakePicture(unsigned width, unsigned height, int bitsPerPixel,
                         unsigned char (*pattern)(unsigned x, unsigned y, unsigned c));

// Every meaningful byte of a picture, rows concatenated (stride padding left out).
std::vector<unsigned char> Bytes(ICIF* picture);

}  // namespace testhost
