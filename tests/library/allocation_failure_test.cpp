// Runs out of memory at each allocation of an operation in turn: the object is as it was promised
// to be.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vision/stereo.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace {

// How many more allocations of this thread succeed before one fails; none fails if negative.
thread_local long allocationsLeft = -1;

// Counts an allocation; true for the one that has to fail.
bool isToFail() {
    return allocationsLeft >= 0 && allocationsLeft-- == 0;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = isToFail() ? nullptr : std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace tiomipra::test {
namespace {

// The operation is repeated until no allocation of it fails.
TEST(FailedAllocations, OfCalibrationsTransformsAndCategoriesLeaveWhatWasThere) {
    cv::setNumThreads(1);
    const LogCapture log;
    const CalibrationPair rig = makeRig({{64, 48}, 50.F, {32.F, 24.F}, 32.F});
    const CalibrationPair other = makeRig({{64, 48}, 60.F});
    const cv::Mat disparity(48, 64, CV_32FC1, cv::Scalar(7));
    OpenStereo stereo(rig);
    int failures = -1;  // The first time none fails, as it may allocate what stays.
    for (bool isDone = false; !isDone; ++failures) {
        allocationsLeft = failures;
        try {
            tevo::log::addCategory("allocations." + std::to_string(failures));
            stereo.setCalibrations(rig.left, rig.right);
            stereo.setCalibrations(other.left, other.right);
            stereo.computeDepth(disparity);
            isDone = allocationsLeft >= 0;  // Otherwise one failed, without an exception.
        } catch (const std::exception&) {   // NOLINT(bugprone-empty-catch): it had to come.
        }
        allocationsLeft = -1;
        tevo::log::setLevel(tevo::LogLevel::warning);  // of all categories
        const auto [left, right] = stereo.getCalibrations();
        EXPECT_TRUE((left == rig.left && right == rig.right) ||
                    (left == other.left && right == other.right));
        EXPECT_THAT(stereo.computeDepth(disparity),
                    IsSameMatrix(OpenStereo({left, right}).computeDepth(disparity)));
    }
    EXPECT_GT(failures, 2);
}

}  // namespace
}  // namespace tiomipra::test
