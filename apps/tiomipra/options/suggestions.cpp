#include "options/suggestions.hpp"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace tiomipra {
namespace {

// Levenshtein's distance, row by row.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::optional<std::string> findSimilar(const std::string& word,
                                       const std::vector<std::string>& candidates) {
    std::optional<std::string> nearest;
    std::size_t smallest = word.size() / 3 + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t found = distance(word, candidate);
        if (found < smallest) {
            smallest = found;
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace tiomipra
