#include "rehearsal/product.h"

#include "common/text_conversion.h"

Product ProductOfEntry(const CatalogEntry& entry) {
    const WSAPROTOCOL_INFOW& info = entry.info;
    Product product = {RawNameOf(info), FileNameForWindows(entry.path)};
    if (product.name.empty()) {
        product.id = info.dwCatalogEntryId;
    } else if (product.name.starts_with(L'@')) {
        product.family = info.iAddressFamily;
        product.type = info.iSocketType;
        product.protocol = info.iProtocol;
    }
    return product;
}

Product ProductOf(const CatalogHealth& health, size_t index) {
    return ProductOfEntry(health.facts->entries[OwnerOrSelf(*health.facts, index)]);
}

Product ProductOfNamespace(const NamespaceProvider& provider) {
    Product product = {conv_utf8_to_wchar(provider.name.c_str()),
                       FileNameForWindows(conv_utf8_to_wchar(provider.path.c_str()))};
    product.isNamespace = true;
    return product;
}

bool IsSameButFile(const Product& a, Product b) {
    b.fileName = a.fileName;
    return !a.name.empty() && a == b;
}
