#include "row_pipeline.hpp"

#include <algorithm>

namespace vision {

RowPipeline::RowPipeline(const Shape& shape)
    : _shape(shape),
      _groups((shape.rows + shape.groupSize - 1) / shape.groupSize),
      _progress(static_cast<std::size_t>(shape.steps), Progress{0, false}) {}

void RowPipeline::work(const Run& run) {
    std::unique_lock<std::mutex> lock(_mutex);
    while (!isDone()) {
        const int step = findReadyStep();
        if (step < 0) {
            _changed.wait(lock);
            continue;
        }
        Progress& progress = _progress[static_cast<std::size_t>(step)];
        progress.isRunning = true;
        lock.unlock();
        runGroup(run, step, progress.groups);
        lock.lock();
        progress.isRunning = false;
        ++progress.groups;
        _changed.notify_all();
    }
}

bool RowPipeline::isReady(std::size_t step) const {
    const Progress& progress = _progress[step];
    if (progress.isRunning || progress.groups == _groups)
        return false;
    return step == 0 ? progress.groups < _progress.back().groups + _shape.places
                     : progress.groups < _progress[step - 1].groups;
}

// The last first, so that places become free.
int RowPipeline::findReadyStep() const {
    int step = _shape.steps - 1;
    while (step >= 0 && !isReady(static_cast<std::size_t>(step)))
        --step;
    return step;
}

void RowPipeline::runGroup(const Run& run, int step, int group) const {
    const int begin = group * _shape.groupSize;
    const int end = std::min(begin + _shape.groupSize, _shape.rows);
    for (int row = begin; row < end; ++row)
        run(step, row);
}

}  // namespace vision
