#include "runs/memory_budget.hpp"

namespace tiomipra {

MemoryLimit MemoryBudget::Share::take(std::uint64_t bytes) {
    if (bytes <= _budget._limit.bytes)
        _bytes = _budget.take(bytes);
    return _budget._limit;
}

// Where the limit is that of the address space, the threads take their part of it.
std::uint64_t MemoryBudget::take(std::uint64_t bytes) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock,
                  [&] { return _taken == 0 || _taken + _limit.perThread <= _limit.bytes - bytes; });
    const std::uint64_t share = bytes + _limit.perThread;
    _taken += share;
    return share;
}

void MemoryBudget::giveBack(std::uint64_t bytes) {
    const std::lock_guard lock(_mutex);
    _taken -= bytes;
    _changed.notify_all();
}

}  // namespace tiomipra
