// Memory that workers share. Each takes what its pair needs before it starts on it, and waits while
// others hold too much, so that none fails, or ends them all, because of the others.
#ifndef TIOMIPRA_RUNS_MEMORY_BUDGET_HPP
#define TIOMIPRA_RUNS_MEMORY_BUDGET_HPP

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <utility>

#include "matching/memory_need.hpp"

namespace tiomipra {

class MemoryBudget {
  public:
    // `limit` is what all of them may take together, known before any of them has taken some.
    explicit MemoryBudget(MemoryLimit limit) : _limit(std::move(limit)) {}
    MemoryBudget(const MemoryBudget&) = delete;
    MemoryBudget& operator=(const MemoryBudget&) = delete;

    const MemoryLimit& limit() const { return _limit; }

    // What one of them holds, until it goes.
    class Share {
      public:
        explicit Share(MemoryBudget& budget) : _budget(budget) {}
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        ~Share() { _budget.giveBack(_bytes); }

        // To be called once. Waits until `bytes` fit beside what others hold, or these hold
        // nothing. Takes nothing if they are more than all. Returns the limit.
        MemoryLimit take(std::uint64_t bytes);

      private:
        MemoryBudget& _budget;
        std::uint64_t _bytes = 0;
    };

  private:
    std::uint64_t take(std::uint64_t bytes);
    void giveBack(std::uint64_t bytes);

    const MemoryLimit _limit;
    std::mutex _mutex;  // guards what follows
    std::condition_variable _changed;
    std::uint64_t _taken = 0;
};

}  // namespace tiomipra

#endif
