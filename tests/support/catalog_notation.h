// Catalogs in the notation of the cases: entries with "; " between them, for both catalogs, or for the 64-bit
// catalog and, behind " | ", for the 32-bit catalog; "-" for an empty one.
//
// An entry is its id, its GUID in braces where that is not {ID}, its path, its kind, and fields as in a state
// file (name="A B" protocol=6). A path of one letter stands for a DLL in C:\p. The kind is "*" for a base
// provider, "[10,1]" for a chain, "[10,1=8]" for a chain with another length, and nothing for a hidden entry.
#pragma once

#include <string>

#include "machine/catalog.h"

// Adds the entries of a notation to catalogs. Throws std::runtime_error for what does not fit.
void AddEntries(const std::string& notation, Catalogs& catalogs);

// Catalogs with these entries, of which the next id is 1100.
Catalogs CatalogsOf(const std::string& notation);
