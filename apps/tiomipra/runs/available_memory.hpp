// How much memory this process can still have.
#ifndef TIOMIPRA_RUNS_AVAILABLE_MEMORY_HPP
#define TIOMIPRA_RUNS_AVAILABLE_MEMORY_HPP

#include <cstddef>
#include <string>

#include "base/notices.hpp"
#include "matching/memory_need.hpp"

namespace tiomipra {

// The tightest of: free memory and swap of the machine, its control groups, and the limits of its
// address space and data (ulimit -v, -d). What none of them says does not limit. `root` is where
// /proc and /sys are.
MemoryLimit availableMemory(const std::string& root = "");

// How many of `workers` that each take `need` may run together, at least one.
std::size_t workersWithin(const MemoryLimit& limit, std::uint64_t need, std::size_t workers);

// The same; says so when they are fewer.
std::size_t jobsWithin(const MemoryLimit& limit, std::uint64_t need, std::size_t wanted,
                       const Notify& notify);

}  // namespace tiomipra

#endif
