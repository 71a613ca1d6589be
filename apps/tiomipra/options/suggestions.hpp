// What a person may have meant.
#ifndef TIOMIPRA_OPTIONS_SUGGESTIONS_HPP
#define TIOMIPRA_OPTIONS_SUGGESTIONS_HPP

#include <optional>
#include <string>
#include <vector>

namespace tiomipra {

// The candidate that differs from `word` by the fewest inserted, removed and replaced letters;
// nothing when none is nearer than about a third of its length.
std::optional<std::string> findSimilar(const std::string& word,
                                       const std::vector<std::string>& candidates);

}  // namespace tiomipra

#endif
