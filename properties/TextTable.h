// The host string tables that give properties their names and lists of choices.
#pragma once

#include "frame/Com.h"

namespace properties {

// Opens the host string table named by `source` when it is a host string, else the table named
// after the component of `attachTo` (a "ComponentString" attached to it gives the name). One
// reference for the caller, or null when there is no name or no such table.
IStringTable* OpenTextTable(IUnknown* source, IUnknown* attachTo);

// The text stored under `key` in `table` (one reference for the caller), or null.
IString* FindText(IStringTable* table, IString* key);

}  // namespace properties
