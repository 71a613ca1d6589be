// Runs out of memory at each allocation of an operation in turn: the object is as it was promised
// to be.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <vision/stereo.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

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

class FailedAllocations : public testing::Test {
  protected:
    void SetUp() override { cv::setNumThreads(1); }

    // Calls `operation` until no allocation of it fails, `check` after each failure; `isThrown`
    // says whether it came out as an exception.
    static void failEach(const std::function<void()>& operation,
                         const std::function<void(bool isThrown)>& check) {
        operation();  // The first call may allocate what stays.
        int failures = 0;
        for (bool isDone = false; !isDone; ++failures) {
            allocationsLeft = failures;
            bool isThrown = false;
            try {
                operation();
                isDone = allocationsLeft >= 0;  // Otherwise one failed, without an exception.
            } catch (const std::exception&) {
                isThrown = true;
            }
            allocationsLeft = -1;
            check(isThrown);
        }
        EXPECT_GT(failures, 2);
    }

    const CalibrationPair _rig = makeRig({{64, 48}, 50.F, {32.F, 24.F}, 32.F});
    LogCapture _log;
};

TEST_F(FailedAllocations, OfCalibrationsTransformsAndCategoriesLeaveWhatWasThere) {
    OpenStereo stereo(_rig);
    const CalibrationPair other = makeRig({{64, 48}, 60.F});
    const cv::Mat disparity(48, 64, CV_32FC1, cv::Scalar(7));
    int count = 0;
    failEach(
        [&] {
            tevo::log::addCategory("allocations." + std::to_string(count++));
            stereo.setCalibrations(_rig.left, _rig.right);
            stereo.setCalibrations(other.left, other.right);
            stereo.computeDepth(disparity);
        },
        [&](bool) {
            tevo::log::setLevel(tevo::LogLevel::warning);  // of all categories
            const auto [left, right] = stereo.getCalibrations();
            EXPECT_TRUE((left == _rig.left && right == _rig.right) ||
                        (left == other.left && right == other.right));
            EXPECT_THAT(stereo.computeDepth(disparity),
                        IsSameMatrix(OpenStereo({left, right}).computeDepth(disparity)));
        });
}

TEST_F(FailedAllocations, OfLoadAndSaveAreLoggedAndLeaveAUsableRecord) {
    const ScratchFolder folder;
    const std::string loaded = folder.path("a.yml");
    const std::string saved = folder.path("b.yml");
    _rig.left.save(loaded);
    vision::Calibration record;
    failEach(
        [&] {
            _log.takeLines();
            record.load(loaded);
            record.save(saved);
        },
        [&](bool isThrown) {
            const auto lines = _log.takeLines();
            const bool isLogged = !lines.empty() && lines.back().find("error vision.") == 0;
            EXPECT_EQ(isLogged, isThrown);
        });
    record.load(saved);
    EXPECT_EQ(record, _rig.left);
}

}  // namespace
}  // namespace tiomipra::test
