#include "rehearsal/report/similar_text.h"

#include <algorithm>
#include <numeric>

#include "machine/text.h"

namespace {

constexpr size_t kMostDifferences = 2;
constexpr size_t kLongest = 300; // bytes that are compared

// The number of bytes to insert, remove or replace.
size_t Differences(std::string a, std::string b) {
    a = LowerCase(a).substr(0, kLongest);
    b = LowerCase(b).substr(0, kLongest);
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (const char c : a) {
        size_t diagonal = row[0]++;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (c == b[j - 1] ? 0u : 1u);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::vector<std::string> SortedByLikeness(const std::string& text, const std::vector<std::string>& known) {
    std::vector<size_t> differences;
    differences.reserve(known.size());
    for (const std::string& each : known) {
        differences.push_back(Differences(text, each));
    }
    std::vector<std::string> sorted;
    for (size_t number = 0; number <= kLongest; ++number) {
        for (size_t i = 0; i < known.size(); ++i) {
            if (differences[i] == number) {
                sorted.push_back(known[i]);
            }
        }
    }
    return sorted;
}

bool IsAlike(const std::string& text, const std::string& known) {
    return Differences(text, known) <= kMostDifferences;
}
