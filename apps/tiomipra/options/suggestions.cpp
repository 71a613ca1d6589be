#include "options/suggestions.hpp"

#include <algorithm>
#include <cstddef>

namespace tiomipra {
namespace {

// How many letters are to be added, left out, replaced or exchanged with their neighbours, at least
// (optimal string alignment).
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> table(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                table[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = table[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            table[i][j] = std::min({replaced, table[i - 1][j] + 1, table[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
        }
    }
    return table[a.size()][b.size()];
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
