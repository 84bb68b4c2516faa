#include "support/catalog_notation.h"

#include <regex>
#include <stdexcept>

#include "machine/text.h"
#include "simulation/winsock_state.h"

namespace {

CatalogEntry EntryOf(const std::string& text) {
    static const std::regex form(
        "(\\d+)(\\{[^}]*\\})?(?: ([^\\[*=]*?))?(?: ?(\\*)| ?\\[([\\d,]*)(?:=(-?\\d+))?\\])?"
        "((?: [a-z0-9-]+=(?:\"[^\"]*\"|\\S+))*)");
    std::smatch part;
    if (!std::regex_match(text, part, form)) {
        throw std::runtime_error("not an entry: " + text);
    }
    const std::string path = part[3].length() == 1 ? "C:\\p\\" + part.str(3) + ".dll" : part.str(3);
    return ParseEntry(part.str(1) + " " + (part[2].matched ? part.str(2) : "{" + part.str(1) + "}") +
                      " path=\"" + path + "\"" + (part[4].matched ? " length=1" : "") +
                      (part[5].length() != 0 ? " chain=" + part.str(5) : "") +
                      (part[6].matched ? " length=" + part.str(6) : "") + part.str(7));
}

} // namespace

void AddEntries(const std::string& notation, Catalogs& catalogs) {
    const std::vector<std::string> sides = SplitAt(notation, " | ");
    for (const bool is32 : {false, true}) {
        for (const std::string& entry : SplitAt(is32 ? sides.back() : sides.front(), "; ")) {
            if (entry != "-") {
                (is32 ? catalogs.catalog32 : catalogs.catalog64).push_back(EntryOf(entry));
            }
        }
    }
}

Catalogs CatalogsOf(const std::string& notation) {
    Catalogs catalogs = {1100, {}, {}};
    AddEntries(notation, catalogs);
    return catalogs;
}
