// Data streams, string tables and the registry of the host.
#pragma once

#include "sdk/Collections.h"

// A stream of persisted data. Concrete streams also answer IXMLStream or IFolderStream.
struct IDataStream : IUnknown {
  static constexpr IID kIID = IIDFromName("IDataStream");
  virtual HRESULT Open(tagREFString path, int mode) = 0;  // 3: read the stream from a file
  virtual HRESULT Commit(tagREFString path) = 0;          // 4: write it to a file, atomically
  virtual HRESULT Reserved5() = 0;                        // 5

 protected:
  ~IDataStream() = default;
};

// An XML document being written or read; the whole text is also reachable through IString.
struct IXMLStream : IUnknown {
  static constexpr IID kIID = IIDFromName("IXMLStream");
  virtual HRESULT Reserved3() = 0;                                                    // 3
  virtual HRESULT Reserved4() = 0;                                                    // 4
  virtual HRESULT Reserved5() = 0;                                                    // 5
  virtual HRESULT Reserved6() = 0;                                                    // 6
  virtual HRESULT Reserved7() = 0;                                                    // 7
  virtual HRESULT Reserved8() = 0;                                                    // 8
  virtual HRESULT Reserved9() = 0;                                                    // 9
  virtual HRESULT BeginElement(tagREFString name, int reserved1, int reserved2) = 0;  // 10
  virtual HRESULT Reserved11() = 0;                                                   // 11
  // One element with that name whose text is value.
  virtual HRESULT SetItem(tagREFString name, int reserved1, IString* value,
                          int reserved2) = 0;  // 12
  virtual HRESULT EndElement() = 0;            // 13

 protected:
  ~IXMLStream() = default;
};

// A tree of named sub-folders holding named values.
struct IFolderStream : IUnknown {
  static constexpr IID kIID = IIDFromName("IFolderStream");
  virtual HRESULT GetFolderCount(int* count) = 0;  // 3
  // `which` holds a position (integer) or a name (string).
  virtual HRESULT OpenFolder(IVariant* which, IFolderStream** folder) = 0;      // 4
  virtual HRESULT CreateFolder(tagREFString name, IFolderStream** folder) = 0;  // 5
  virtual HRESULT WriteString(tagREFString name, IString* value) = 0;           // 6
  virtual HRESULT ReadString(tagREFString name, IString** value) = 0;           // 7
  virtual HRESULT WriteObject(tagREFString name, IUnknown* value) = 0;          // 8
  virtual HRESULT ReadObject(tagREFString name, IUnknown** value) = 0;          // 9
  virtual HRESULT GetName(IString** name) = 0;                                  // 10
  virtual HRESULT WriteBinary(tagREFString name, const void* data, int size,
                              int reserved) = 0;                                          // 11
  virtual HRESULT Reserved12() = 0;                                                       // 12
  virtual HRESULT Reserved13() = 0;                                                       // 13
  virtual HRESULT Reserved14() = 0;                                                       // 14
  virtual HRESULT Reserved15() = 0;                                                       // 15
  virtual HRESULT ReadBinary(tagREFString name, void* data, int size, int reserved) = 0;  // 16

 protected:
  ~IFolderStream() = default;
};

// The "StringTable" component: named tables of texts keyed by short keys.
struct IStringTable : IUnknown {
  static constexpr IID kIID = IIDFromName("IStringTable");
  virtual HRESULT Open(IString* tableName) = 0;            // 3: fails when there is no such table
  virtual HRESULT Find(IString* key, int* index) = 0;      // 4: fails when the key is missing
  virtual HRESULT GetText(int index, IString** text) = 0;  // 5

 protected:
  ~IStringTable() = default;
};

// The "Registry" component: sections of keys with string values.
struct IRegistry : IUnknown {
  static constexpr IID kIID = IIDFromName("IRegistry");
  virtual HRESULT GetValue(tagREFString section, tagREFString key, IString** value) = 0;        // 3
  virtual HRESULT SetValue(tagREFString section, tagREFString key, IString* value) = 0;         // 4
  virtual HRESULT GetKeyCount(tagREFString section, int* count) = 0;                            // 5
  virtual HRESULT GetKey(tagREFString section, int index, IString** key, IString** value) = 0;  // 6

 protected:
  ~IRegistry() = default;
};
