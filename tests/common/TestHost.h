// A minimal host for tests: loads "CollectionsEx" from the build folder's _binARM64 and gives its
// global component collection, helpers to make pictures and to read what objects hand out.
// Shared with the benchmarks: no test framework here.
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "sdk/Collections.h"
#include "sdk/ComPtr.h"
#include "sdk/Imaging.h"

namespace testhost {

// Where "CollectionsEx" is: "_binARM64" beside the running program or beside the folder that holds
// it (programs in build/tests or build/bench find build/_binARM64 from any current folder), else
// "./_binARM64" of the current folder.
std::string HostModulePath();

// The process's global component collection (loaded once; never unloaded).
IComponentCollection* Global();

// A new instance of the named component answering I.
template <class I>
ComPtr<I> Create(std::wstring_view component) {
  ComPtr<I> object;
  Global()->CreateByName(RefView(component), &I::kIID, object.PutVoid());
  return object;
}

using Pattern = unsigned char (*)(unsigned x, unsigned y, unsigned c);

// A picture of the given size and bits per pixel whose byte at (x, y, c) is pattern(x, y, c).
ComPtr<ICIF> MakePicture(unsigned width, unsigned height, int bitsPerPixel, Pattern pattern);

// Every meaningful byte of a picture, rows concatenated (stride padding left out).
std::vector<unsigned char> Bytes(ICIF* picture);

// Width, height, bits per pixel and format code of a picture.
std::tuple<unsigned, unsigned, int, int> Shape(ICIF* picture);

// The text of an object answering IString, or "" for none.
std::wstring Text(IUnknown* object);

// The object name an object gives through IObjectInfo, or "" for none.
std::wstring NameOf(IUnknown* object);

}  // namespace testhost
