#include "row_pipeline.hpp"

#include <algorithm>
#include <thread>
#include <utility>

namespace vision {

RowPipeline::RowPipeline(std::vector<Step> steps, int rows)
    : _steps(std::move(steps)),
      _rows(rows),
      _rowsToDo(rows * static_cast<int>(_steps.size())),
      _progress(_steps.size(), Progress{0, false}) {}

void RowPipeline::work(int part, const Run& run) {
    std::unique_lock<std::mutex> lock(_mutex);
    while (!isDone()) {
        const int step = findReadyStep(part);
        if (step < 0) {
            // Not for long: steps take some microseconds, less than it takes to wake up a thread.
            lock.unlock();
            std::this_thread::yield();
            lock.lock();
            continue;
        }
        Progress& progress = _progress[static_cast<std::size_t>(step)];
        progress.isRunning = true;
        lock.unlock();
        run(step, progress.rows);
        lock.lock();
        progress.isRunning = false;
        ++progress.rows;
        --_rowsToDo;
    }
}

bool RowPipeline::isReady(std::size_t step) const {
    const auto& [rows, isRunning] = _progress[step];
    const std::vector<Need>& needs = _steps[step].needs;
    return !isRunning && rows < _rows &&
           std::all_of(needs.begin(), needs.end(), [&, row = rows](const Need& need) {
               return _progress[static_cast<std::size_t>(need.step)].rows > row - need.rowsBefore;
           });
}

int RowPipeline::findReadyStep(int part) const {
    int found = -1;
    for (std::size_t step = 0; step < _steps.size(); ++step) {
        const bool isElsewhere = _steps[step].part != part;
        if (isReady(step) && (found < 0 || !isElsewhere))
            found = static_cast<int>(step);
    }
    return found;
}

}  // namespace vision
