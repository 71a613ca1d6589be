// Work on many items as the subcommands do it: in threads, with progress, until it is done or a
// signal ends it.
#ifndef TIOMIPRA_RUNS_WORK_ON_ALL_HPP
#define TIOMIPRA_RUNS_WORK_ON_ALL_HPP

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runs/interruption.hpp"
#include "runs/ordered_work.hpp"
#include "runs/progress.hpp"

namespace tiomipra {

struct WorkOptions {
    std::size_t count = 0;  // of the items, 0 if it is unknown
    unsigned jobs = 0;      // how many to work on at the same time, 0: as many as processors
    ProgressOutput progress;
    std::string things = "pairs";  // what the items are called
};

// Calls `makeWorker` once for each thread, from this one, and the workers for the items that `next`
// gives; then `accept(item, outcome, progress)` in their order, which must tell `progress` of each.
// Throws `Interrupted` when a signal to end came before all was done.
template <typename Item, typename Result, typename Next, typename MakeWorker, typename Accept>
void workOnAll(const WorkOptions& options, Next next, MakeWorker makeWorker, Accept accept) {
    using Work = OrderedWork<Item, Result>;
    const InterruptionWatch watch;
    std::vector<typename Work::Worker> workers(countWorkers(options.jobs, options.count));
    std::generate(workers.begin(), workers.end(), makeWorker);
    Progress progress(options.progress, options.count);
    Work work(
        next,
        [&](const Item& item, const Outcome<Result>& outcome) { accept(item, outcome, progress); },
        [&watch] { return watch.isInterrupted(); });
    if (!work.run(workers))
        throw Interrupted(fmt::format("interrupted after {} {}", work.accepted(), options.things));
}

}  // namespace tiomipra

#endif
