// Linked into whatever the thread sanitizer checks: runs OpenCV's loops on threads that it can see
// into. Those of TBB, which is not instrumented, look like races of all that they touch.
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
