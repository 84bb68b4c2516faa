// The product that a catalog entry belongs to.
#pragma once

#include <string>

#include "rehearsal/catalog_health.h"

// What distinguishes products: the name and the DLL of the LSP, or of an entry that has none. The same LSP in
// both catalogs is one product.
struct Product {
    std::wstring name;     // of the hidden entry; it can be a reference to a resource
    std::wstring fileName; // of its DLL
    DWORD id = 0;          // of an entry without a name
    int family = 0;        // what an entry offers whose name is a reference
    int type = 0;
    int protocol = 0;
    bool isNamespace = false; // whether it is a namespace provider

    bool operator==(const Product&) const = default;
};

// The product of an entry by itself.
Product ProductOfEntry(const CatalogEntry& entry);

// The product of the LSP that an entry belongs to, or of the entry when it has none.
Product ProductOf(const CatalogHealth& health, size_t index);

// Whether two products differ in their DLLs alone, as the parts of one product for 64-bit and for 32-bit
// programs can.
bool IsSameButFile(const Product& a, Product b);

// The product of a namespace provider.
Product ProductOfNamespace(const NamespaceProvider& provider);
