#include "support/removal_model.h"

#include <algorithm>
#include <map>
#include <set>

#include "lsp/provider_entries.h"
#include "machine/text.h"
#include "machine/windows_path.h"
#include "support/machine_test.h"
#include "support/random_machine.h"

namespace {

using Present = std::function<bool(size_t)>;

// Which entries of a catalog work, by the definition: a proof is looked for from each entry on, over entries
// that the proof does not have yet.
class Proofs {
  public:
    Proofs(const Catalog& entries, bool is32, const Present& present)
        : entries_(entries), is32_(is32), present_(present) {}

    bool Works(size_t i) {
        const CatalogEntry& entry = entries_[i];
        const WSAPROTOCOLCHAIN& chain = entry.info.ProtocolChain;
        const std::string file = FileIn(entry.path, is32_);
        if (proven_.contains(i)) {
            return true;
        }
        if (!present_(i) || open_.contains(i) || chain.ChainLen < 0 || chain.ChainLen > MAX_PROTOCOL_CHAIN ||
            (!file.empty() && !FileExists(file))) {
            return false;
        }
        open_.insert(i);
        bool works = true;
        for (int at = 0; works && chain.ChainLen > 1 && at < chain.ChainLen; ++at) {
            works = chain.ChainEntries[at] != 0 &&
                    AnyOther(i, chain.ChainEntries[at], [&](size_t other) { return Works(other); });
        }
        open_.erase(i);
        if (works) {
            proven_.insert(i);
        }
        return works;
    }

    // Whether an entry other than i has the id, and what is asked for.
    bool AnyOther(size_t i, DWORD id, const Present& holds) {
        for (size_t other = 0; other < entries_.size(); ++other) {
            if (other != i && entries_[other].info.dwCatalogEntryId == id && present_(other) &&
                holds(other)) {
                return true;
            }
        }
        return false;
    }

  private:
    const Catalog& entries_;
    bool is32_;
    Present present_;
    std::set<size_t> proven_;
    std::set<size_t> open_;
};

// The path that Windows gives for the provider id of an entry: that of the first one.
std::wstring PathByProvider(const Catalog& catalog, const CatalogEntry& entry) {
    return std::ranges::find_if(
               catalog,
               [&](const CatalogEntry& each) { return each.info.ProviderId == entry.info.ProviderId; })
        ->path;
}

std::wstring NameIn(const std::wstring& path) {
    return path.substr(path.rfind(L'\\') + 1);
}

// The LSP that each entry belongs to, by its id and by the provider id of the LSP; ids are unique here.
std::map<DWORD, DWORD> LspsOfIds(const Catalog& catalog) {
    std::map<DWORD, DWORD> lsps;
    for (const CatalogEntry& entry : catalog) {
        for (const CatalogEntry& lsp : catalog) {
            const bool own = IsLsp(entry)
                                 ? &lsp == &entry
                                 : lsp.info.dwCatalogEntryId == entry.info.ProtocolChain.ChainEntries[0];
            if (IsLsp(lsp) && own && !IsBase(entry)) {
                lsps[entry.info.dwCatalogEntryId] = lsp.info.ProviderId.Data1;
            }
        }
    }
    return lsps;
}

// Adds the LSPs of a catalog that lie over one of some LSPs.
void AddLspsOver(const Catalog& catalog, std::set<DWORD>& lsps) {
    const std::map<DWORD, DWORD> lspOfId = LspsOfIds(catalog);
    for (const CatalogEntry& entry : catalog) {
        const auto over = lspOfId.find(entry.info.dwCatalogEntryId);
        for (int i = 0; i < std::min(entry.info.ProtocolChain.ChainLen, MAX_PROTOCOL_CHAIN); ++i) {
            const auto under = lspOfId.find(entry.info.ProtocolChain.ChainEntries[i]);
            if (over != lspOfId.end() && under != lspOfId.end() && lsps.contains(under->second)) {
                lsps.insert(over->second);
            }
        }
    }
}

} // namespace

ModelCatalog LookBefore(const Catalog& catalog, bool is32) {
    ModelCatalog model = {is32, catalog, {}};
    Proofs proofs(catalog, is32, [](size_t) { return true; });
    for (size_t i = 0; i < catalog.size(); ++i) {
        model.worked.push_back(proofs.Works(i));
    }
    return model;
}

void LookAfter(const Catalog& after, ModelCatalog& model) {
    std::set<DWORD> left;
    for (const CatalogEntry& entry : after) {
        left.insert(entry.info.dwMessageSize);
    }
    const auto remains = [&](size_t i) { return left.contains(model.before[i].info.dwMessageSize); };
    Proofs proofs(model.before, model.is32, remains);
    model.remains.clear();
    model.stops.clear();
    for (size_t i = 0; i < model.before.size(); ++i) {
        const bool isLsp = IsLsp(model.before[i]);
        model.remains.push_back(remains(i));
        model.stops.push_back(remains(i) && !isLsp && model.worked[i] && !proofs.Works(i));
        const bool baseIsRemoved = !remains(i) && IsBase(model.before[i]) && model.worked[i];
        model.breaks = model.breaks || model.stops[i] || baseIsRemoved;
    }
}

namespace {

// Whether an entry that worked is removed, and none of its LSPs is a target.
bool LosesAnother(const ModelCatalog& model, const std::function<bool(size_t)>& isTarget) {
    const Catalog& before = model.before;
    for (size_t i = 0; i < before.size(); ++i) {
        bool ofOther = IsLsp(before[i]) && !isTarget(i);
        bool ofTarget = IsLsp(before[i]) && isTarget(i);
        for (size_t lsp = 0; lsp < before.size() && IsLayered(before[i]); ++lsp) {
            if (IsLsp(before[lsp]) &&
                before[lsp].info.dwCatalogEntryId == before[i].info.ProtocolChain.ChainEntries[0]) {
                (isTarget(lsp) ? ofTarget : ofOther) = true;
            }
        }
        if (!model.remains[i] && model.worked[i] && ofOther && !ofTarget) {
            return true;
        }
    }
    return false;
}

} // namespace

bool LosesAnotherLsp(const ModelCatalog& in64, const ModelCatalog& in32, const std::wstring& dllName,
                     long long hiddenId) {
    const Catalog& before = in64.before;
    const auto target = std::ranges::find_if(before, [&](const CatalogEntry& entry) {
        return !in64.remains[static_cast<size_t>(&entry - before.data())] && IsLsp(entry) &&
               entry.info.dwCatalogEntryId == hiddenId && NameIn(PathByProvider(before, entry)) == dllName;
    });
    // In the 32-bit catalog the product is recognised by its provider id, and its id, name or DLL.
    const auto isSame = [&](size_t i) {
        const CatalogEntry& entry = in32.before[i];
        return target != before.end() && entry.info.ProviderId == target->info.ProviderId &&
               (entry.info.dwCatalogEntryId == target->info.dwCatalogEntryId ||
                (*entry.info.szProtocol != L'\0' &&
                 std::wstring(entry.info.szProtocol) == target->info.szProtocol) ||
                LowerCase(FileNameForWindows(entry.path)) == LowerCase(FileNameForWindows(target->path)));
    };
    const auto isTarget = [&](size_t i) { return before.begin() + static_cast<ptrdiff_t>(i) == target; };
    return LosesAnother(in64, isTarget) || LosesAnother(in32, isSame);
}

bool LeavesParts(const ModelCatalog& in64, const ModelCatalog& in32, const std::wstring& dllName,
                 const std::string& namespaceFile) {
    std::set<std::string> named = {namespaceFile};
    std::set<std::string> removed;
    bool hasName = false;
    for (const ModelCatalog* model : {&in64, &in32}) {
        for (size_t i = 0; i < model->before.size(); ++i) {
            const std::wstring& path = model->before[i].path;
            (model->remains[i] ? named : removed).insert(FileIn(path, model->is32));
            hasName = hasName || (model->remains[i] && IsLsp(model->before[i]) && NameIn(path) == dllName);
        }
    }
    return hasName || std::ranges::any_of(removed, [&](const std::string& file) {
               return !file.empty() && !named.contains(file) && FileExists(file);
           });
}

std::set<std::wstring> NamesOver(const Catalogs& catalogs, const GUID& target) {
    std::set<DWORD> lsps = {target.Data1};
    for (size_t known = 0; known != lsps.size();) {
        known = lsps.size();
        AddLspsOver(catalogs.catalog64, lsps);
        AddLspsOver(catalogs.catalog32, lsps);
    }
    std::set<std::wstring> names = {L""};
    for (const CatalogEntry& entry : catalogs.catalog64) {
        if (IsLsp(entry) && lsps.contains(entry.info.ProviderId.Data1)) {
            names.insert(NameIn(PathByProvider(catalogs.catalog64, entry)));
        }
    }
    return names;
}
