// Draws catalogs as text: a line for each entry, in UTF-8, with a line feed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "rehearsal/catalog_health.h"

// The width of a column for the names of two catalogs, so that equal entries get equal lines.
size_t NameWidth(const Catalog& one, const Catalog& other);

// Draws entries of a catalog in aligned columns, LSPs and layered entries first, then base providers: id,
// kind, name, and the path or the chain.
//   present  which entries the catalog has; the ids of others are missing in chains
//   width    of the column of the names, in characters; see NameWidth
//   mark     what stands before the entry of an index, for example '-'; 0 leaves the entry out
//   note     a text for a line of its own below the entry; empty for none
std::vector<std::string> DrawEntries(const Catalog& catalog, const Flags& present, size_t width,
                                     const std::function<char(size_t)>& mark,
                                     const std::function<std::string(size_t)>& note);

// Draws both catalogs, each with its heading.
std::string DrawCatalogs(const Catalogs& catalogs);
