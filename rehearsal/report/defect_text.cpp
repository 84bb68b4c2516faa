#include "rehearsal/report/defect_text.h"

#include "machine/text.h"
#include "rehearsal/report/names.h"

std::string ReasonText(const FaultReason& reason) {
    std::vector<std::string> ids;
    for (const DWORD id : reason.ids) {
        ids.push_back(std::to_string(id));
    }
    switch (reason.fault) {
    case Fault::kMissingFile:
        return "its file is missing";
    case Fault::kChainLength:
        return "its chain length is " + std::to_string(reason.chainLength);
    case Fault::kMissingId:
        return "it names the missing id " + Joined(ids);
    case Fault::kBrokenId:
        return "it names " + Joined(ids) + ", which does not work";
    case Fault::kNone:
        break;
    }
    return "";
}

std::vector<std::string> DescribeDefects(const std::vector<Defect>& defects) {
    std::vector<std::string> lines;
    for (const Defect& defect : defects) {
        lines.push_back(NameOfCatalogs(defect.in64, defect.in32) + ": " + TitleOf(defect.id, defect.entry) +
                        (defect.hasOwner ? ", of " + NameOf(defect.product) : "") + ": " +
                        ReasonText(defect.reason));
    }
    return lines;
}
