#include "support/descriptions.h"

#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>

#include "common/text_conversion.h"
#include "machine/files.h"
#include "machine/machine_reading.h"

Machine ReadDescription(const std::string& bytes) {
    WriteWholeFile(kDescription, bytes);
    return ReadMachine({conv_to_wchar(kDescription)});
}

std::string RefusalOf(const std::string& bytes) {
    try {
        ReadDescription(bytes);
        return "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

std::string GapsOf(const std::string& bytes) {
    static const std::regex place("^(.*[\\\\/])?[^\\\\/:]*(:\\d+)?: ");
    std::string gaps;
    for (const std::string& gap : ReadDescription(bytes).gaps) {
        gaps += std::regex_replace(gap, place, "") + "\n";
    }
    return gaps;
}

void CheckDamaged(const std::string& bytes, const Catalogs& sound) {
    const std::regex place("machine\\.reg:( no catalogs|\\d+: |HKEY_)");
    try {
        const Machine machine = ReadDescription(bytes);
        EXPECT_TRUE(!machine.gaps.empty() ||
                    machine.catalogs.catalog64.size() + machine.catalogs.catalog32.size() ==
                        sound.catalog64.size() + sound.catalog32.size())
            << bytes;
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::regex_search(error.what(), place)) << error.what();
    }
}
