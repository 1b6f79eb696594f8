// Running out of memory inside a host operation: every allocation an operation makes is failed
// in turn, and the operation must report a failure code, never let an exception out of the
// interface, leave what it was given usable, and leak nothing (the fixtures count live objects).
#include <span>
#include <string>
#include <vector>

#include "host/core/Components.h"
#include "host/imaging/Components.h"
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

using alloctest::EachAllocationFailing;
using coretest::Str;
using coretest::Text;
using imagingtest::Make;

// Runs EachAllocationFailing and keeps how many allocations each call was tried with.
class Sweeps {
 public:
  template <class... Steps>
  void operator()(const std::string& what, Steps&&... steps) {
    counts_.emplace_back(what, EachAllocationFailing(what, steps...));
  }
  // The factory of every component in `table` (but those named in `shared`, which hand out an
  // object that already exists).
  void Factories(std::span<const host::HostComponent> table, std::wstring_view shared = {}) {
    for (const host::HostComponent& row : table) {
      if (row.name == shared) continue;
      (*this)(
          std::string(row.name.begin(), row.name.end()), [] { return 0; },
          [&row](int) {
            ComPtr<IUnknown> object;
            IID iid = kIID_IUnknown;
            return row.factory(nullptr, &iid, object.PutVoid());
          });
    }
  }
  // Each call allocates, so each was run with a failure at least once.
  ~Sweeps() {
    for (const auto& [what, count] : counts_) EXPECT_GT(count, 0) << what;
  }

 private:
  std::vector<std::pair<std::string, long>> counts_;
};

ComPtr<ICIF> Picture(unsigned width, unsigned height, int bits) {
  auto picture = Make<ICIFImage>(L"CIFImage");
  EXPECT_EQ(picture->Create(width, height, 1, bits, bits == 24 ? kFormatRGB : kFormatRGBA), S_OK);
  picture->Fill(120);
  return picture.As<ICIF>();
}

std::vector<unsigned char> Bytes(ICIF* picture) {
  unsigned width = 0, height = 0, planes = 0;
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetSize(&width, &height, &planes);
  picture->GetPlaneLines(0, &info, &first, &stride);
  return {first, first + static_cast<std::ptrdiff_t>(stride) * (height - 1) + info};
}

// A cleared picture: it keeps a record of what is drawn into it, which drawing extends.
ComPtr<ICIF> Cleared(ICIFMaths* maths) {
  auto picture = Picture(90, 70, 24);
  EXPECT_EQ(maths->Clear(picture.Get(), nullptr, 0), S_OK);
  return picture;
}

ComPtr<ITransform> Turn() {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  linear->Append(kLinearRotate, 0, 0.3, 0, 0);
  linear->Append(kLinearTranslate, 0, 20, 5, 0);
  return linear.As<ITransform>();
}

ComPtr<IPointsCollection> Points(double scale) {
  auto points = Make<IPointsCollection>(L"PointsCollection");
  for (double v : {0.0, 1.0, 2.0, 3.5}) points->Add(v * scale, v * v, 0);
  return points;
}

using ImagingOutOfMemory = imagingtest::ImagingTest;

TEST_F(ImagingOutOfMemory, EveryOperationReportsAFailedAllocation) {
  const auto maths = Make<ICIFMaths>(L"CIFMaths");
  const auto transform = Make<ICIFTransform>(L"CIFTransform");
  const auto deform = Make<ICIFDeform>(L"CIFDeform");
  const auto source = Picture(60, 40, 32);
  const auto points = Points(1), targets = Points(2);
  const auto turn = Turn();
  const auto nothing = [] { return 0; };
  // OpenCV sets itself up on first use (its thread pool); that happens before memory runs out,
  // as in a host that has been running for a while.
  ComPtr<ICIF> warm;
  ASSERT_EQ(maths->Copy(warm.Put(), source.Get(), 0, 0), S_OK);
  ASSERT_EQ(deform->Deform(warm.Get(), 2, 0, 0.7), S_OK);
  Sweeps sweep;
  sweep.Factories(host::imaging::Components());
  // A pixel buffer (one too large for the pool to keep, so it is always allocated afresh); the
  // picture keeps its old size and pixels when the buffer cannot be had.
  sweep(
      "Create", [&] { return Picture(4, 3, 24); },
      [](ComPtr<ICIF>& picture) {
        return picture.As<ICIFImage>()->Create(8192, 12289, 1, 32, kFormatRGBA);
      },
      [](ComPtr<ICIF>& picture, HRESULT hr) {
        unsigned width = 0, height = 0;
        picture->GetSize(&width, &height, nullptr);
        if (Failed(hr)) {
          EXPECT_EQ(width, 4u);
          EXPECT_EQ(Bytes(picture.Get()), std::vector<unsigned char>(2 * 64 + 12, 120));
        }
      });
  sweep("Copy", nothing, [&](int) {
    ComPtr<ICIF> copy;
    return maths->Copy(copy.Put(), source.Get(), 0, 0);
  });
  sweep("Resize", nothing, [&](int) {
    ComPtr<ICIF> out;
    return transform->Resize(source.Get(), out.Put(), 173, 29, 0, 1);
  });
  sweep(
      "Clear", [&] { return Picture(90, 70, 24); },
      [&](ComPtr<ICIF>& picture) { return maths->Clear(picture.Get(), nullptr, 0); });
  sweep(
      "Paste", [&] { return Cleared(maths.Get()); },
      [&](ComPtr<ICIF>& picture) {
        return maths->Paste(picture.Get(), source.Get(), picture.Get(), 7, 9);
      });
  sweep(
      "Warp", [&] { return Cleared(maths.Get()); },
      [&](ComPtr<ICIF>& picture) {
        return transform->Warp(turn.Get(), source.Get(), picture.Get(), 0, 0, 1, 1);
      });
  // A picture that cannot be deformed is left as it was.
  const auto before = Bytes(source.Get());
  sweep(
      "Deform",
      [&] {
        ComPtr<ICIF> copy;
        maths->Copy(copy.Put(), source.Get(), 0, 0);
        return copy;
      },
      [&](ComPtr<ICIF>& picture) { return deform->Deform(picture.Get(), 2, 0, 0.7); },
      [&](ComPtr<ICIF>& picture, HRESULT hr) {
        if (Failed(hr)) {
          EXPECT_EQ(Bytes(picture.Get()), before);
        }
      });
  sweep(
      "Add", [] { return Points(1); },
      [](ComPtr<IPointsCollection>& collection) { return collection->Add(1, 2, 3); });
  sweep(
      "Fit", [] { return Make<ITransformBestFit>(L"TransformBestFit"); },
      [&](ComPtr<ITransformBestFit>& fit) { return fit->Fit(points.Get(), targets.Get(), 0); });
}

using CoreOutOfMemory = coretest::CoreTest;

TEST_F(CoreOutOfMemory, EveryOperationReportsAFailedAllocation) {
  const auto global = host::core::GlobalComponentCollection::Instance();
  const std::wstring longText(100, L'x');
  const auto nothing = [] { return 0; };
  Sweeps sweep;
  sweep.Factories(host::core::Components(), L"GlobalComponentCollection");
  sweep("CreateByName", nothing, [&](int) {
    ComPtr<IString> string;
    return global->CreateByName(RefView(L"CreatableString"), &IString::kIID, string.PutVoid());
  });
  sweep(
      "SetText", [] { return Str(L""); },
      [&](ComPtr<IString>& string) {
        return string->SetText(static_cast<int>(longText.size()), longText.data());
      },
      [](ComPtr<IString>& string, HRESULT hr) {
        if (Failed(hr)) {
          EXPECT_EQ(Text(string.Get()), L"");
        }
      });
  sweep(
      "Append", [] { return Str(L"ab"); },
      [&](ComPtr<IString>& string) {
        return string->Append(static_cast<int>(longText.size()), longText.data());
      });
  for (double number : {42.0, 0.5}) {
    sweep(
        "GetString " + std::to_string(number),
        [number] {
          auto variant = coretest::Make<IVariant>(L"Variant");
          number == 42 ? variant->SetInteger(42) : variant->SetDouble(number);
          return variant;
        },
        [](ComPtr<IVariant>& variant) {
          ComPtr<IString> text;
          return variant->GetString(text.Put());
        });
  }
  const auto name = Str(L"name");
  sweep(
      "SuperCollection Add", [] { return coretest::Make<ISuperCollection>(L"SuperCollection"); },
      [&](ComPtr<ISuperCollection>& collection) {
        return collection->Add(name.Get(), nullptr, nullptr, 1);
      },
      [](ComPtr<ISuperCollection>& collection, HRESULT hr) {
        int count = -1;
        collection->GetCount(&count);
        EXPECT_EQ(count, Failed(hr) ? 0 : 1);
      });
  const auto kind = Str(kTransitionKind);
  sweep(
      "SelectKind", [] { return coretest::Make<IComponentCollection>(L"ComponentCollection"); },
      [&](ComPtr<IComponentCollection>& collection) { return collection->SelectKind(kind.Get()); });
  const auto component = [] { return coretest::Make<IComponentString>(L"ComponentString"); };
  sweep("ComponentString SetText", component, [&](ComPtr<IComponentString>& string) {
    return string->SetText(kComponentName, RefView(longText));
  });
  sweep("GetText", component, [](ComPtr<IComponentString>& string) {
    ComPtr<IString> text;
    return string->GetText(kComponentKind, text.Put());
  });
  sweep(
      "CreateInstance",
      [] {
        auto string = coretest::Make<IComponentString>(L"ComponentString");
        string->SetText(kComponentName, RefView(L"Variant"));
        return string;
      },
      [](ComPtr<IComponentString>& string) {
        ComPtr<IVariant> variant;
        return string->CreateInstance(IVariant::kIID, variant.PutVoid());
      });
}

using StorageOutOfMemory = storagetest::StorageTest;

TEST_F(StorageOutOfMemory, EveryOperationReportsAFailedAllocation) {
  storagetest::ScratchFolder folder;
  const auto nothing = [] { return 0; };
  const auto value = Str(L"a value that needs memory of its own");
  Sweeps sweep;
  sweep.Factories(host::storage::Components());

  // The XML stream: a document that cannot grow stays as it was.
  const auto xml = [] {
    auto stream = coretest::Make<IXMLStream>(L"XMLStream");
    stream->SetItem(RefView(L"Kept"), 0, Str(L"1").Get(), 0);
    return stream;
  };
  const auto unchanged = [](ComPtr<IXMLStream>& stream, HRESULT hr) {
    if (Failed(hr)) {
      EXPECT_EQ(Text(stream.As<IString>().Get()), L"  <Kept>1</Kept>\n");
    }
  };
  sweep(
      "BeginElement", xml,
      [](ComPtr<IXMLStream>& stream) { return stream->BeginElement(RefView(L"Open"), 0, 0); },
      unchanged);
  sweep(
      "SetItem", xml,
      [&](ComPtr<IXMLStream>& stream) {
        return stream->SetItem(RefView(L"Item"), 0, value.Get(), 0);
      },
      unchanged);
  const std::wstring content = L"<A>1</A><B x='2'>text</B>";
  sweep(
      "XML Append", xml,
      [&](ComPtr<IXMLStream>& stream) {
        return stream.As<IString>()->Append(static_cast<int>(content.size()), content.data());
      },
      unchanged);
  sweep("GetBuffer", xml, [](ComPtr<IXMLStream>& stream) {
    const wchar_t* text = nullptr;
    int length = 0;
    return stream.As<IString>()->GetBuffer(&text, &length);
  });
  const std::wstring xmlPath = folder.WideFile("doc.xml");
  sweep("XML Commit", xml, [&](ComPtr<IXMLStream>& stream) {
    return stream.As<IDataStream>()->Commit(RefView(xmlPath));
  });
  sweep(
      "XML Open", xml,
      [&](ComPtr<IXMLStream>& stream) {
        return stream.As<IDataStream>()->Open(RefView(xmlPath), 0);
      },
      unchanged);

  // The folder stream, with an object value that saves itself and is made again on reading.
  const auto tree = [] {
    auto stream = coretest::Make<IFolderStream>(L"FolderStream");
    stream->CreateFolder(RefView(L"Child"), nullptr);
    return stream;
  };
  sweep("CreateFolder", tree, [](ComPtr<IFolderStream>& stream) {
    ComPtr<IFolderStream> child;
    return stream->CreateFolder(RefView(L"Another"), child.Put());
  });
  const auto child = coretest::Make<IVariant>(L"Variant");
  child->SetString(Str(L"Child").Get());
  sweep("OpenFolder", tree, [&](ComPtr<IFolderStream>& stream) {
    ComPtr<IFolderStream> opened;
    return stream->OpenFolder(child.Get(), opened.Put());
  });
  sweep("WriteBinary", tree, [](ComPtr<IFolderStream>& stream) {
    return stream->WriteBinary(RefView(L"Bytes"), "0123456789", 10, 0);
  });
  const auto page = coretest::Make<IUnknown>(L"UIPropInterrogatePropPage");
  sweep("WriteObject", tree, [&](ComPtr<IFolderStream>& stream) {
    return stream->WriteObject(RefView(L"Page"), page.Get());
  });
  const auto withObject = [&] {
    auto stream = tree();
    stream->WriteObject(RefView(L"Page"), page.Get());
    return stream;
  };
  sweep("ReadObject", withObject, [](ComPtr<IFolderStream>& stream) {
    ComPtr<IUnknown> object;
    return stream->ReadObject(RefView(L"Page"), object.Put());
  });
  const std::wstring treePath = folder.WideFile("tree.bin");
  sweep("Folder Commit", withObject, [&](ComPtr<IFolderStream>& stream) {
    return stream.As<IDataStream>()->Commit(RefView(treePath));
  });
  sweep("Folder Open", tree, [&](ComPtr<IFolderStream>& stream) {
    return stream.As<IDataStream>()->Open(RefView(treePath), 0);
  });

  // The registry: what is in memory always matches the file, whatever failed.
  host::storage::RegistryStore store(folder.File("registry.ini"));
  auto registry = ComPtr<IRegistry>::Adopt(new host::storage::Registry(&store));
  ASSERT_EQ(registry->SetValue(RefView(L"Section"), RefView(L"Old"), Str(L"1").Get()), S_OK);
  const auto sameAsFile = [&](int, HRESULT) {
    host::storage::RegistryStore file(folder.File("registry.ini"));
    for (const wchar_t* key : {L"Old", L"New"}) {
      std::wstring inMemory = L"<unset>", inFile = L"<unset>";
      store.Get(L"Section", key, &inMemory);
      file.Get(L"Section", key, &inFile);
      EXPECT_EQ(inMemory, inFile) << key;
    }
  };
  sweep(
      "SetValue", nothing,
      [&](int) { return registry->SetValue(RefView(L"Section"), RefView(L"New"), value.Get()); },
      sameAsFile);
  sweep(
      "SetValue again", nothing,
      [&](int) { return registry->SetValue(RefView(L"Section"), RefView(L"Old"), value.Get()); },
      sameAsFile);
  sweep("GetValue", nothing, [&](int) {
    ComPtr<IString> text;
    return registry->GetValue(RefView(L"Section"), RefView(L"Old"), text.Put());
  });
  sweep("GetKey", nothing, [&](int) {
    ComPtr<IString> key, text;
    return registry->GetKey(RefView(L"Section"), 0, key.Put(), text.Put());
  });

  // A string table already open.
  const auto table = [] {
    auto strings = coretest::Make<IStringTable>(L"StringTable");
    EXPECT_EQ(strings->Open(Str(L"KeloTransitionTexts").Get()), S_OK);
    return strings;
  };
  sweep("StringTable GetText", table, [](ComPtr<IStringTable>& strings) {
    ComPtr<IString> text;
    return strings->GetText(0, text.Put());
  });
}

}  // namespace
