#include "rehearsal/report/defect_text.h"

#include "machine/text.h"
#include "rehearsal/report/names.h"

std::string ReasonText(const FaultReason& reason) {
    std::vector<std::string> ids;
    ids.reserve(reason.ids.size());
    for (const DWORD id : reason.ids) {
        ids.push_back(std::to_string(id));
    }
    switch (reason.fault) {
    case Fault::kNoFileName:
        return "its path cannot be a file";
    case Fault::kMissingFile:
        return "its file is missing";
    case Fault::kChainLength:
        return "its chain length is " + std::to_string(reason.chainLength);
    case Fault::kMissingId:
        return "it names " + (ids.empty() ? "an id that is missing" : "the missing id " + Joined(ids));
    case Fault::kBrokenId:
        return "it names " + (ids.empty() ? "an entry" : Joined(ids)) + (ids.empty() ? " that" : ", which") +
               " does not work";
    case Fault::kNone:
        break;
    }
    return "";
}

std::vector<std::string> DescribeDefects(const MachineHealth& health) {
    std::vector<std::string> lines;
    for (const CatalogHealth* catalog : {&health.catalog64, &health.catalog32}) {
        if (!HasBase(*catalog)) {
            lines.push_back("The " + NameOfCatalogs(!catalog->facts->is32, catalog->facts->is32) +
                            " has no base provider: programs that use it have no network");
        }
    }
    for (const Defect& defect : FindDefects(health)) {
        lines.push_back(NameOf(defect.product) + ": " + ReasonText(defect.reason) + " (" +
                        std::to_string(defect.entries) + (defect.entries == 1 ? " entry, " : " entries, ") +
                        NameOfCatalogs(defect.in64, defect.in32) + ")");
    }
    return lines;
}
