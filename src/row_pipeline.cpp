#include "row_pipeline.hpp"

namespace vision {

RowPipeline::RowPipeline(const Shape& shape)
    : _shape(shape), _progress(static_cast<std::size_t>(shape.steps), Progress{0, false}) {}

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
        run(step, progress.rows);
        lock.lock();
        progress.isRunning = false;
        ++progress.rows;
        _changed.notify_all();
    }
}

bool RowPipeline::isReady(std::size_t step) const {
    const Progress& progress = _progress[step];
    if (progress.isRunning || progress.rows == _shape.rows)
        return false;
    return step == 0 ? progress.rows < _progress.back().rows + _shape.places
                     : progress.rows < _progress[step - 1].rows;
}

// The last first, so that places become free.
int RowPipeline::findReadyStep() const {
    int step = _shape.steps - 1;
    while (step >= 0 && !isReady(static_cast<std::size_t>(step)))
        --step;
    return step;
}

}  // namespace vision
