// Runs out of memory at each allocation of an operation in turn: the object is as it was promised
// to be, and nothing leaks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <utility>
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

// OpenCV's own allocator for the buffers of matrices, but for the one that has to fail.
class FailingAllocator : public cv::MatAllocator {
  public:
    cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* data,
                           std::size_t* steps, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        if (isToFail())
            throw cv::Exception(cv::Error::StsNoMem, "no memory", "", "", 0);
        // OpenCV's allocator leaks the buffer when the description of it can't be allocated.
        const long left = std::exchange(allocationsLeft, -1);
        cv::UMatData* const buffer = cv::Mat::getStdAllocator()->allocate(
            dimensions, sizes, type, data, steps, flags, usage);
        allocationsLeft = left;
        return buffer;
    }
    bool allocate(cv::UMatData* data, cv::AccessFlag flags,
                  cv::UMatUsageFlags usage) const override {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
    }
    void deallocate(cv::UMatData* data) const override {
        cv::Mat::getStdAllocator()->deallocate(data);
    }
};

class FailedAllocations : public testing::Test {
  protected:
    void SetUp() override {
        cv::setNumThreads(1);
        // Never deleted, as OpenCV may keep matrices for itself.
        static auto* const allocator = new FailingAllocator;
        cv::Mat::setDefaultAllocator(allocator);
    }
    void TearDown() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }

    // Calls `operation` until no allocation of it fails, `check` after each failure.
    static void failEach(
        const std::function<void()>& operation, const std::function<void()>& check = [] {}) {
        operation();  // The first call may allocate what stays.
        int failures = 0;
        for (bool isDone = false; !isDone; ++failures) {
            allocationsLeft = failures;
            try {
                operation();
                isDone = allocationsLeft >= 0;  // Otherwise one failed, without an exception.
            } catch (const std::exception&) {   // NOLINT(bugprone-empty-catch): as it should.
            }
            allocationsLeft = -1;
            check();
        }
        EXPECT_GT(failures, 2);
    }

    const CalibrationPair _rig = makeRig({{64, 48}, 50.F, {32.F, 24.F}, 32.F});
    LogCapture _log;
};

TEST_F(FailedAllocations, OfConstructingAndScalingLeaveNothing) {
    failEach([this] {
        OpenStereo stereo(_rig);
        _rig.left.scaleTo(32, 24);
    });
}

TEST_F(FailedAllocations, OfSetCalibrationsLeaveTheOldOnes) {
    OpenStereo stereo(_rig);
    const CalibrationPair other = makeRig({{64, 48}, 60.F});
    failEach(
        [&] {
            stereo.setCalibrations(_rig.left, _rig.right);
            stereo.setCalibrations(other.left, other.right);
        },
        [&] {
            const auto [left, right] = stereo.getCalibrations();
            EXPECT_TRUE((left == _rig.left && right == _rig.right) ||
                        (left == other.left && right == other.right));
        });
}

TEST_F(FailedAllocations, OfTransformsAndDepthLeaveTheCache) {
    OpenStereo stereo(_rig);
    const cv::Mat disparity(48, 64, CV_32FC1, cv::Scalar(7));
    const cv::Mat expected = stereo.computeDepth(disparity);
    failEach(
        [&] {
            stereo._transforms.clear();
            stereo.computeDepth(disparity);
        },
        [&] {
            EXPECT_LE(stereo._transforms.size(), 1);
            EXPECT_EQ(firstDifference(stereo.computeDepth(disparity), expected), "");
        });
}

TEST_F(FailedAllocations, OfACategoryLeaveTheOthers) {
    int count = 0;
    failEach([&] { tevo::log::addCategory("allocations." + std::to_string(count++)); },
             [] { tevo::log::setLevel(tevo::LogLevel::warning); });
}

TEST_F(FailedAllocations, OfLoadAndSaveLeaveAUsableRecord) {
    const ScratchFolder folder;
    _rig.left.save(folder.path("a.yml"));
    vision::Calibration record;
    failEach([&] {
        record.load(folder.path("a.yml"));
        record.save(folder.path("b.yml"));
    });
    record.load(folder.path("b.yml"));
    EXPECT_EQ(record, _rig.left);
}

}  // namespace
}  // namespace tiomipra::test
