#include "tools/report/NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace tool {

namespace {

// Levenshtein's distance, by rows.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return static_cast<char>(c < 0x80 ? std::tolower(c) : c);
    });
    return text;
}

} // namespace

std::string nearestName(const std::string& name, const std::vector<std::string>& candidates) {
    constexpr std::size_t longestCompared = 256; // the distance costs the product of the lengths
    const std::string wanted = lowered(name.substr(0, longestCompared));
    std::size_t best = std::max<std::size_t>(1, wanted.size() / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : candidates) {
        const std::size_t distance =
            editDistance(wanted, lowered(candidate.substr(0, longestCompared)));
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace tool
