// Several steps for each row of an image, over several threads.
#ifndef VISION_ROW_PIPELINE_HPP
#define VISION_ROW_PIPELINE_HPP

#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace vision {

// Each step is done for one row after the other, and for each row the steps follow each other, so
// that different steps run at the same time for different rows. The first step of a row waits until
// the last one of that `places` before it is done, for the place where results are kept.
class RowPipeline {
  public:
    struct Shape {
        int steps;
        int rows;
        int places;
    };
    using Run = std::function<void(int step, int row)>;

    explicit RowPipeline(const Shape& shape);

    // Does what there is to do until all is done; to be called by as many threads as there are. It
    // waits for threads alone that have begun, so that they may also come one after the other.
    void work(const Run& run);

  private:
    // Of a step.
    struct Progress {
        int rows;  // done
        bool isRunning;
    };

    bool isReady(std::size_t step) const;
    int findReadyStep() const;
    bool isDone() const { return _progress.back().rows == _shape.rows; }

    Shape _shape;
    std::vector<Progress> _progress;
    std::mutex _mutex;
    std::condition_variable _changed;
};

}  // namespace vision

#endif
