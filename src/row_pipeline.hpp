// Steps for each row of an image, over several threads.
#ifndef VISION_ROW_PIPELINE_HPP
#define VISION_ROW_PIPELINE_HPP

#include <functional>
#include <mutex>
#include <vector>

namespace vision {

// Each step is done for one row after the other, as soon as those that it needs are done.
class RowPipeline {
  public:
    // That `step` is done for the row that comes `rowsBefore` rows before.
    struct Need {
        int step;
        int rowsBefore;
    };
    struct Step {
        int part;  // of the image
        std::vector<Need> needs;
    };
    using Run = std::function<void(int step, int row)>;

    RowPipeline(std::vector<Step> steps, int rows);

    // Does what there is to do until all is done, rather in `part`, as it may be in the caches, and
    // there rather the last step. To be called by as many threads as there are; as it waits for
    // threads alone that have begun, they may also come one after the other. `run` must not throw:
    // the others would wait forever.
    void work(int part, const Run& run);

  private:
    // Of a step.
    struct Progress {
        int rows;  // done
        bool isRunning;
    };

    bool isReady(std::size_t step) const;
    int findReadyStep(int part) const;
    bool isDone() const { return _rowsToDo == 0; }

    std::vector<Step> _steps;
    int _rows;
    int _rowsToDo;  // of all steps
    std::vector<Progress> _progress;
    std::mutex _mutex;
};

}  // namespace vision

#endif
