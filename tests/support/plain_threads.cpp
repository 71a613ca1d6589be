// Runs OpenCV's parallel loops on std::thread instead of TBB. Linked into programs that the thread
// sanitizer checks: TBB is not instrumented, so that all that its threads do looks like a race.
#include <memory>
#include <opencv2/core/parallel/parallel_backend.hpp>
#include <thread>

namespace {

class PlainThreads : public cv::parallel::ParallelForAPI {
  public:
    void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
        std::thread second(body, tasks / 2, tasks, data);
        body(0, tasks / 2, data);
        second.join();
    }
    int getThreadNum() const override { return 0; }
    int getNumThreads() const override { return 2; }
    int setNumThreads(int) override { return 2; }
    const char* getName() const override { return "plain threads"; }
};

[[maybe_unused]] const bool isInstalled = [] {
    cv::parallel::setParallelForBackend(std::make_shared<PlainThreads>(), false);
    return true;
}();

}  // namespace
