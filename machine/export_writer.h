// Writes what "reg export" writes of a machine's catalogs, for the tests and the benchmark. It shares nothing with the reading.
#pragma once

#include <string>

#include "machine/machine.h"

// The exported key.
inline const std::string kParameters = std::string("HKEY_LOCAL_MACHINE\\") + kWinsockParametersKey;

// The text of the export, in UTF-8, with a namespace provider whose DLL is C:\p\a.dll.
std::string ExportOf(const WinsockState& state);

// A text in UTF-16 with its byte order mark.
std::string AsWide(const std::string& text);
