// String-table files from any bytes: parsed as the host parses "*.strings", every entry looked up
// by its key and read back.
#include "host/storage/TextTable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto table = host::storage::TextTable::Parse({reinterpret_cast<const char*>(data), size});
  for (int i = 0; i < table->Count(); ++i)
    if (table->Find(table->Key(i)) != i || table->Text(i).size() > size) __builtin_trap();
  return 0;
}
