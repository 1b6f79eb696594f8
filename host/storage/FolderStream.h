// "FolderStream": a tree of named sub-folders holding named binary, string and object values,
// stored in a file by Commit and read back by Open (format in FolderTree.h).
//
// The stream object and every folder object it hands out are views of one shared tree.
// CreateFolder with the name of an existing sub-folder empties that folder and gives it.
// Writing a value replaces the value of that name. An object value needs an object that
// answers IObjectInfo; when it also answers IDataPersist it saves itself into a folder of the
// value, and ReadObject makes a new object of that component and lets it load from there.
#pragma once

#include <memory>

#include "host/common/HostObject.h"
#include "host/storage/FolderTree.h"
#include "sdk/ComPtr.h"
#include "sdk/Storage.h"

namespace host::storage {

class FolderStream final : public HostObject<FolderStream, IDataStream, IFolderStream> {
 public:
  FolderStream() : node_(std::make_shared<FolderNode>()) {}
  explicit FolderStream(std::shared_ptr<FolderNode> node) : node_(std::move(node)) {}

  // IDataStream. Open replaces this folder's name and content with the file's: E_FAIL when it
  // cannot be read, E_INVALIDARG when it is no folder file (nothing changes then). Commit
  // writes this folder and everything under it.
  HRESULT Open(tagREFString path, int mode) override;
  HRESULT Commit(tagREFString path) override;
  HRESULT Reserved5() override { return E_NOTIMPL; }

  // IFolderStream. Missing items give E_FAIL; bad arguments E_INVALIDARG.
  HRESULT GetFolderCount(int* count) override;
  HRESULT OpenFolder(IVariant* which, IFolderStream** folder) override;
  HRESULT CreateFolder(tagREFString name, IFolderStream** folder) override;
  HRESULT WriteString(tagREFString name, IString* value) override;
  HRESULT ReadString(tagREFString name, IString** value) override;
  HRESULT WriteObject(tagREFString name, IUnknown* value) override;
  HRESULT ReadObject(tagREFString name, IUnknown** value) override;
  HRESULT GetName(IString** name) override;
  HRESULT WriteBinary(tagREFString name, const void* data, int size, int reserved) override;
  HRESULT Reserved12() override { return E_NOTIMPL; }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT Reserved15() override { return E_NOTIMPL; }
  // Fails (E_FAIL, nothing copied) when the value is missing, not binary, or of another size.
  HRESULT ReadBinary(tagREFString name, void* data, int size, int reserved) override;

 private:
  // A new view of `node` as a data stream (throws when out of memory).
  static ComPtr<IDataStream> StreamOn(std::shared_ptr<FolderNode> node);
  static HRESULT HandOut(std::shared_ptr<FolderNode> node, IFolderStream** folder);
  // Sets this folder's value `name` to a new value of `type` that fill(item) completes; nothing
  // changes when fill fails (its code) or memory runs out (E_FAIL).
  template <class Fill>
  HRESULT PutValue(tagREFString name, FolderValue::Type type, Fill&& fill);

  std::shared_ptr<FolderNode> node_;
};

}  // namespace host::storage
