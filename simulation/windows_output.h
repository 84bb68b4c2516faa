// Writes what Windows writes of a machine's catalogs, for the sandbox, the tests and the benchmark. It shares
// nothing with the reading.
#pragma once

#include <string>

#include "machine/catalog.h"

// What "reg export" writes, in UTF-8, with a namespace provider whose DLL is C:\p\a.dll.
std::string ExportOf(const Catalogs& catalogs);

// What "netsh winsock show catalog" prints, in UTF-8, with the same namespace provider.
std::string ListingOf(const Catalogs& catalogs);

// A text in UTF-16 with its byte order mark.
std::string AsWide(const std::string& text);
