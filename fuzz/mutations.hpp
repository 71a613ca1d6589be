// Damage to files, of the kinds that disks, transfers and attackers do.
#ifndef TIOMIPRA_FUZZ_MUTATIONS_HPP
#define TIOMIPRA_FUZZ_MUTATIONS_HPP

#include <random>
#include <string>

namespace tiomipra::fuzz {

using Random = std::mt19937_64;

// A number from 0 to `last`.
std::size_t pick(Random& random, std::size_t last);

// `bytes` with one to six changes, mostly few; parts of `other` may get into it.
std::string mutate(Random& random, std::string bytes, const std::string& other);

}  // namespace tiomipra::fuzz

#endif
