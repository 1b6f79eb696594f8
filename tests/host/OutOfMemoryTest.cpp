// Running out of memory inside a host operation: every allocation an operation makes is failed
// in turn, and the operation must report a failure code, never let an exception out of the
// interface, leave what it was given usable, and leak nothing (the fixtures count live objects).
// Catches, for each operation swept: an allocation failure thrown through the interface,
// reported as success, leaving its object changed or leaking.
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/core/Components.h"
#include "host/imaging/Components.h"
#include "host/imaging/Resample.h"
#include "host/storage/Components.h"
#include "host/storage/Registry.h"
#include "host/storage/RegistryStore.h"
#include "sdk/Geometry.h"
#include "sdk/Imaging.h"
#include "sdk/Storage.h"
#include "sdk/Transitions.h"
#include "tests/host/AllocationFailure.h"
#include "tests/host/ImagingTestSupport.h"
#include "tests/host/StorageTestSupport.h"

namespace {

using imagingtest::Make;
using storagetest::Str;
using storagetest::Text;
template <class I>
using Out = ComPtr<I>;  // a result the sweep drops: Out<I>().Put() lives to the end of the call
using PictureRef = ComPtr<ICIF>;

// Runs EachAllocationFailing and keeps how many allocations each call was tried with.
class Sweeps {
 public:
  template <class... Steps>
  void operator()(const std::string& what, Steps&&... steps) {
    counts_.emplace_back(what, alloctest::EachAllocationFailing(what, steps...));
  }
  // A call that needs no state of its own.
  template <class Call>
  void Stateless(const std::string& what, Call call) {
    (*this)(
        what, [] { return 0; }, [&](int) { return call(); });
  }
  // The factory of every component in `table` (but those named in `shared`, which hand out an
  // object that already exists).
  void Factories(std::span<const host::HostComponent> table, std::wstring_view shared = {}) {
    for (const host::HostComponent& row : table) {
      IID iid = kIID_IUnknown;
      if (row.name != shared)
        Stateless(std::string(row.name.begin(), row.name.end()),
                  [&] { return row.factory(nullptr, &iid, Out<IUnknown>().PutVoid()); });
    }
  }
  // Each call allocates, so each was run with a failure at least once.
  ~Sweeps() {
    for (const auto& [what, count] : counts_) EXPECT_GT(count, 0) << what;
  }

 private:
  std::vector<std::pair<std::string, long>> counts_;
};

// A check for after(state, hr): what failed left `now` as `before`.
template <class T>
void KeptOnFailure(HRESULT hr, const T& now, const T& before) {
  if (Failed(hr)) {
    EXPECT_EQ(now, before);
  }
}

ComPtr<ICIF> Picture(unsigned width, unsigned height, int bits) {
  auto picture = Make<ICIFImage>(L"CIFImage");
  EXPECT_EQ(picture->Create(width, height, 1, bits, bits == 24 ? kFormatRGB : kFormatRGBA), S_OK);
  picture->Fill(120);
  return picture.As<ICIF>();
}

// Every byte of the pixel buffer, stride padding included.
std::vector<unsigned char> Bytes(const ComPtr<ICIF>& picture) {
  unsigned width = 0, height = 0, planes = 0;
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetSize(&width, &height, &planes);
  picture->GetPlaneLines(0, &info, &first, &stride);
  return {first, first + static_cast<std::ptrdiff_t>(stride) * (height - 1) + info};
}

ComPtr<IPointsCollection> Points(double scale) {
  auto points = Make<IPointsCollection>(L"PointsCollection");
  for (double v : {0.0, 1.0, 2.0, 3.5}) points->Add(v * scale, v * v, 0);
  return points;
}

using ImagingOutOfMemory = imagingtest::ImagingTest;

// Catches, in the picture, pool and geometry operations: see the top of the file.
TEST_F(ImagingOutOfMemory, EveryOperationReportsAFailedAllocation) {
  const auto maths = Make<ICIFMaths>(L"CIFMaths");
  const auto transform = Make<ICIFTransform>(L"CIFTransform");
  const auto deform = Make<ICIFDeform>(L"CIFDeform");
  const auto source = Picture(60, 40, 32);
  const auto points = Points(1), targets = Points(2);
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  linear->Append(kLinearRotate, 0, 0.3, 0, 0);
  linear->Append(kLinearTranslate, 0, 20, 5, 0);
  const auto turn = linear.As<ITransform>();
  // OpenCV sets itself up on first use (its thread pool); that happens before memory runs out,
  // as in a host that has been running for a while.
  ComPtr<ICIF> warm;
  ASSERT_EQ(maths->Copy(warm.Put(), source.Get(), 0, 0), S_OK);
  ASSERT_EQ(deform->Deform(warm.Get(), 2, 0, 0.7), S_OK);
  // A cleared picture keeps a record of what is drawn into it, which drawing extends.
  const auto cleared = [&] {
    auto picture = Picture(90, 70, 24);
    EXPECT_EQ(maths->Clear(picture.Get(), nullptr, 0), S_OK);
    return picture;
  };
  Sweeps sweep;
  sweep.Factories(host::imaging::Components());
  // A pixel buffer (one too large for the pool to keep, so it is always allocated afresh); the
  // picture keeps its old size and pixels when the buffer cannot be had.
  sweep(
      "Create", [] { return Picture(4, 3, 24); },
      [](PictureRef& p) { return p.As<ICIFImage>()->Create(8192, 12289, 1, 32, kFormatRGBA); },
      [](PictureRef& p, HRESULT hr) {
        KeptOnFailure(hr, Bytes(p), std::vector<unsigned char>(2 * 64 + 12, 120));
      });
  sweep.Stateless("Copy", [&] { return maths->Copy(Out<ICIF>().Put(), source.Get(), 0, 0); });
  sweep.Stateless(
      "Resize", [&] { return transform->Resize(source.Get(), Out<ICIF>().Put(), 173, 29, 0, 1); });
  // The one-axis resampler's tables and sums, on every path this processor runs, along x and y.
  host::imaging::Surface from;
  ASSERT_EQ(host::imaging::ReadSurface(source.Get(), &from), S_OK);
  const auto narrow = Picture(37, 40, 32), low = Picture(60, 9, 32);
  for (auto path : {host::imaging::ResamplePath::kPlain, host::imaging::ResamplePath::kAvx2,
                    host::imaging::ResamplePath::kAvx512}) {
    if (!host::imaging::ResamplePathSupported(path)) continue;
    for (const ComPtr<ICIF>* result : {&narrow, &low}) {
      host::imaging::Surface to;
      ASSERT_EQ(host::imaging::ReadSurface(result->Get(), &to), S_OK);
      sweep.Stateless("Resize one axis, path " + std::to_string(static_cast<int>(path)) + ", " +
                          std::to_string(to.width) + "x" + std::to_string(to.height),
                      [&, to] { return host::imaging::ResampleOneAxis(from, to, path); });
    }
  }
  // Resampling into a region of a picture: its pixels are kept when memory runs out, straight
  // into its rows (one axis, two axes), through a picture of the source's depth, or through the
  // general resampler (a shrink by more than 256).
  const auto into = transform.As<IKeloResizeInto>();
  const auto wide = Picture(600, 2, 32), shallow = Picture(60, 40, 24);
  struct Region {
    PictureRef picture;
    ComPtr<ICIFSubImage> region;
    std::vector<unsigned char> before;
  };
  for (auto [what, from, w, h] : {std::tuple{"one axis", &source, 60, 29},
                                  {"two axes", &source, 23, 29},
                                  {"another depth", &shallow, 60, 29},
                                  {"general", &wide, 2, 2}}) {
    sweep(
        std::string("ResizeInto, ") + what,
        [w, h] {
          Region state{Picture(70, 50, 32), Make<ICIFSubImage>(L"CIFSubImage"), {}};
          state.picture.As<ICIFImage>()->Fill(7);  // the sources are all 120
          EXPECT_EQ(state.region->Create(state.picture.Get(), 5, 3, w, h, 0, 0), S_OK);
          state.before = Bytes(state.picture);
          return state;
        },
        [&, from](Region& state) { return into->ResizeInto(from->Get(), state.region.Get()); },
        [](Region& state, HRESULT hr) { KeptOnFailure(hr, Bytes(state.picture), state.before); });
  }
  sweep(
      "Clear", [] { return Picture(90, 70, 24); },
      [&](PictureRef& p) { return maths->Clear(p.Get(), nullptr, 0); });
  sweep("Paste", cleared,
        [&](PictureRef& p) { return maths->Paste(p.Get(), source.Get(), p.Get(), 7, 9); });
  sweep("Warp", cleared, [&](PictureRef& p) {
    return transform->Warp(turn.Get(), source.Get(), p.Get(), 0, 0, 1, 1);
  });
  // A picture that cannot be deformed is left as it was.
  const auto before = Bytes(source);
  sweep(
      "Deform",
      [&] {
        PictureRef copy;
        maths->Copy(copy.Put(), source.Get(), 0, 0);
        return copy;
      },
      [&](PictureRef& p) { return deform->Deform(p.Get(), 2, 0, 0.7); },
      [&](PictureRef& p, HRESULT hr) { KeptOnFailure(hr, Bytes(p), before); });
  sweep(
      "Add", [] { return Points(1); },
      [](ComPtr<IPointsCollection>& collection) { return collection->Add(1, 2, 3); });
  sweep(
      "Fit", [] { return Make<ITransformBestFit>(L"TransformBestFit"); },
      [&](ComPtr<ITransformBestFit>& fit) { return fit->Fit(points.Get(), targets.Get(), 0); });
}

using CoreOutOfMemory = coretest::CoreTest;

// Catches, in the string, variant and collection operations: see the top of the file.
TEST_F(CoreOutOfMemory, EveryOperationReportsAFailedAllocation) {
  const auto global = host::core::GlobalComponentCollection::Instance();
  const std::wstring longText(100, L'x');
  const int length = static_cast<int>(longText.size());
  Sweeps sweep;
  sweep.Factories(host::core::Components(), L"GlobalComponentCollection");
  sweep.Stateless("CreateByName", [&] {
    return global->CreateByName(RefView(L"CreatableString"), &IString::kIID,
                                Out<IString>().PutVoid());
  });
  sweep(
      "SetText", [] { return Str(L""); },
      [&](ComPtr<IString>& s) { return s->SetText(length, longText.data()); },
      [](ComPtr<IString>& s, HRESULT hr) { KeptOnFailure(hr, Text(s.Get()), std::wstring()); });
  sweep(
      "Append", [] { return Str(L"ab"); },
      [&](ComPtr<IString>& s) { return s->Append(length, longText.data()); });
  for (double number : {42.0, 0.5}) {
    sweep(
        "GetString " + std::to_string(number),
        [number] {
          auto variant = coretest::Make<IVariant>(L"Variant");
          number == 42 ? variant->SetInteger(42) : variant->SetDouble(number);
          return variant;
        },
        [](ComPtr<IVariant>& variant) { return variant->GetString(Out<IString>().Put()); });
  }
  const auto name = Str(L"name");
  sweep(
      "SuperCollection Add", [] { return coretest::Make<ISuperCollection>(L"SuperCollection"); },
      [&](ComPtr<ISuperCollection>& c) { return c->Add(name.Get(), nullptr, nullptr, 1); },
      [](ComPtr<ISuperCollection>& c, HRESULT hr) {
        int count = -1;
        c->GetCount(&count);
        EXPECT_EQ(count, Failed(hr) ? 0 : 1);
      });
  const auto kind = Str(kTransitionKind);
  sweep(
      "SelectKind", [] { return coretest::Make<IComponentCollection>(L"ComponentCollection"); },
      [&](ComPtr<IComponentCollection>& c) { return c->SelectKind(kind.Get()); });
  const auto component = [] {
    auto string = coretest::Make<IComponentString>(L"ComponentString");
    string->SetText(kComponentName, RefView(L"Variant"));
    return string;
  };
  sweep("ComponentString SetText", component,
        [&](ComPtr<IComponentString>& s) { return s->SetText(kComponentName, RefView(longText)); });
  sweep("GetText", component, [](ComPtr<IComponentString>& s) {
    return s->GetText(kComponentKind, Out<IString>().Put());
  });
  sweep("CreateInstance", component, [](ComPtr<IComponentString>& s) {
    return s->CreateInstance(IVariant::kIID, Out<IVariant>().PutVoid());
  });
}

using StorageOutOfMemory = storagetest::StorageTest;

// Catches, in the stream, registry and string table operations: see the top of the file.
TEST_F(StorageOutOfMemory, EveryOperationReportsAFailedAllocation) {
  storagetest::ScratchFolder folder;
  const auto value = Str(L"a value that needs memory of its own");
  Sweeps sweep;
  sweep.Factories(host::storage::Components());

  // The XML stream: a document that cannot grow stays as it was.
  using Xml = ComPtr<IXMLStream>;
  const auto xml = [] {
    auto stream = coretest::Make<IXMLStream>(L"XMLStream");
    stream->SetItem(RefView(L"Kept"), 0, Str(L"1").Get(), 0);
    return stream;
  };
  const auto unchanged = [](Xml& s, HRESULT hr) {
    KeptOnFailure(hr, Text(s.As<IString>().Get()), std::wstring(L"  <Kept>1</Kept>\n"));
  };
  sweep(
      "BeginElement", xml, [](Xml& s) { return s->BeginElement(RefView(L"Open"), 0, 0); },
      unchanged);
  sweep(
      "SetItem", xml, [&](Xml& s) { return s->SetItem(RefView(L"Item"), 0, value.Get(), 0); },
      unchanged);
  const std::wstring content = L"<A>1</A><B x='2'>text</B>";
  sweep(
      "XML Append", xml,
      [&](Xml& s) {
        return s.As<IString>()->Append(static_cast<int>(content.size()), content.data());
      },
      unchanged);
  sweep("GetBuffer", xml, [](Xml& s) {
    const wchar_t* text = nullptr;
    int length = 0;
    return s.As<IString>()->GetBuffer(&text, &length);
  });
  const std::wstring xmlPath = folder.WideFile("doc.xml");
  sweep("XML Commit", xml, [&](Xml& s) { return s.As<IDataStream>()->Commit(RefView(xmlPath)); });
  sweep(
      "XML Open", xml, [&](Xml& s) { return s.As<IDataStream>()->Open(RefView(xmlPath), 0); },
      unchanged);

  // The folder stream, with an object value that saves itself and is made again on reading.
  using Tree = ComPtr<IFolderStream>;
  const auto page = coretest::Make<IUnknown>(L"UIPropInterrogatePropPage");
  const auto tree = [] {
    auto stream = coretest::Make<IFolderStream>(L"FolderStream");
    stream->CreateFolder(RefView(L"Child"), nullptr);
    return stream;
  };
  const auto withObject = [&] {
    auto stream = tree();
    stream->WriteObject(RefView(L"Page"), page.Get());
    return stream;
  };
  sweep("CreateFolder", tree,
        [](Tree& s) { return s->CreateFolder(RefView(L"Another"), Out<IFolderStream>().Put()); });
  const auto child = coretest::Make<IVariant>(L"Variant");
  child->SetString(Str(L"Child").Get());
  sweep("OpenFolder", tree,
        [&](Tree& s) { return s->OpenFolder(child.Get(), Out<IFolderStream>().Put()); });
  sweep("WriteBinary", tree,
        [](Tree& s) { return s->WriteBinary(RefView(L"Bytes"), "0123456789", 10, 0); });
  sweep("WriteObject", tree, [&](Tree& s) { return s->WriteObject(RefView(L"Page"), page.Get()); });
  sweep("ReadObject", withObject,
        [](Tree& s) { return s->ReadObject(RefView(L"Page"), Out<IUnknown>().Put()); });
  const std::wstring treePath = folder.WideFile("tree.bin");
  sweep("Folder Commit", withObject,
        [&](Tree& s) { return s.As<IDataStream>()->Commit(RefView(treePath)); });
  sweep("Folder Open", tree,
        [&](Tree& s) { return s.As<IDataStream>()->Open(RefView(treePath), 0); });

  // The registry: what is in memory always matches the file, whatever failed.
  host::storage::RegistryStore store(folder.File("registry.ini"));
  auto registry = ComPtr<IRegistry>::Adopt(new host::storage::Registry(&store));
  const auto section = RefView(L"Section");
  ASSERT_EQ(registry->SetValue(section, RefView(L"Old"), Str(L"1").Get()), S_OK);
  const auto sameAsFile = [&](int, HRESULT) {
    host::storage::RegistryStore file(folder.File("registry.ini"));
    for (const wchar_t* key : {L"Old", L"New"}) {
      std::wstring inMemory = L"<unset>", inFile = L"<unset>";
      store.Get(L"Section", key, &inMemory);
      file.Get(L"Section", key, &inFile);
      EXPECT_EQ(inMemory, inFile) << key;
    }
  };
  for (auto [key, what] : {std::pair{L"New", "SetValue"}, {L"Old", "SetValue again"}})
    sweep(
        what, [] { return 0; },
        [&](int) { return registry->SetValue(section, RefView(key), value.Get()); }, sameAsFile);
  sweep.Stateless("GetValue", [&] {
    return registry->GetValue(section, RefView(L"Old"), Out<IString>().Put());
  });
  sweep.Stateless("GetKey", [&] {
    return registry->GetKey(section, 0, Out<IString>().Put(), Out<IString>().Put());
  });

  // A string table already open.
  sweep(
      "StringTable GetText",
      [] {
        auto strings = coretest::Make<IStringTable>(L"StringTable");
        EXPECT_EQ(strings->Open(Str(L"KeloTransitionTexts").Get()), S_OK);
        return strings;
      },
      [](ComPtr<IStringTable>& s) { return s->GetText(0, Out<IString>().Put()); });
}

}  // namespace
