// Every allocation fails once: what was promised holds, and nothing leaks.
#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vision/stereo.hpp>

#include "support/failing_new.hpp"
#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

namespace {

// Fails the buffers of matrices, otherwise those of OpenCV's own allocator.
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

class Allocations : public testing::Test {
  protected:
    void SetUp() override {
        cv::setNumThreads(1);
        // Lives on: OpenCV may keep matrices for itself.
        static auto* const allocator = new FailingAllocator;
        cv::Mat::setDefaultAllocator(allocator);
    }
    void TearDown() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }

    // Calls `operation` until no allocation of it fails, `check` after each failure.
    void failEach(const std::function<void()>& operation, const std::function<void()>& check) {
        operation();  // What is allocated once and for all.
        int failures = 0;
        for (bool isDone = false; !isDone; ++failures) {
            allocationsLeft = failures;
            try {
                operation();
                isDone = allocationsLeft >= 0;  // Else an allocation failed without harm.
            } catch (const std::exception&) {
                isDone = false;
            }
            allocationsLeft = -1;
            check();
        }
        EXPECT_GT(failures, 3);
    }

    const Rig _rig = makeRig([] {
        RigOptions options;
        options.size = {64, 48};
        options.leftCentre = {32.F, 24.F};
        options.rightCentreX = 32.F;
        options.focalLength = 50.F;
        return options;
    }());
    LogCapture _log;
};

TEST_F(Allocations, OfConstructingLeaveNothing) {
    failEach([this] { OpenStereo stereo(_rig); }, [] {});
}

TEST_F(Allocations, OfScalingLeaveNothing) {
    failEach([this] { _rig.left.scaleTo(32, 24); }, [] {});
}

TEST_F(Allocations, OfSetCalibrationsLeaveTheOldOnes) {
    OpenStereo stereo(_rig);
    Rig other = _rig;
    for (vision::Calibration* calibration : {&other.left, &other.right})
        calibration->cameraMatrix *= 2;
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

TEST_F(Allocations, OfTransformsLeaveTheCache) {
    OpenStereo stereo(_rig);
    const cv::Mat frame = makeNoise({64, 48}, CV_8UC1, 1);
    const auto expected = stereo.rectifyImages(frame, frame);
    failEach(
        [&] {
            stereo._transforms.clear();
            stereo.rectifyImages(frame, frame);
        },
        [&] {
            EXPECT_LE(stereo._transforms.size(), 1);
            EXPECT_THAT(stereo.rectifyImageRight(frame), IsSameMatrix(expected.second));
        });
}

TEST_F(Allocations, OfDepthLeaveNothing) {
    OpenStereo stereo(_rig);
    const cv::Mat disparity(48, 64, CV_32FC1, cv::Scalar(7));
    const cv::Mat expected = stereo.computeDepth(disparity);
    failEach([&] { stereo.computeDepth(disparity); },
             [&] { EXPECT_THAT(stereo.computeDepth(disparity), IsSameMatrix(expected)); });
}

TEST_F(Allocations, OfLoadAndSaveLeaveAUsableRecord) {
    const ScratchFolder folder;
    _rig.left.save(folder.path("a.yml"));
    failEach(
        [&] {
            vision::Calibration record;
            record.load(folder.path("a.yml"));
            record.save(folder.path("b.yml"));
        },
        [] {});
    vision::Calibration record;
    record.load(folder.path("b.yml"));
    EXPECT_EQ(record, _rig.left);
}

}  // namespace
