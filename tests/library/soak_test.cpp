// Long use and use from many threads.
#include <gtest/gtest.h>
#include <malloc.h>

#include <opencv2/core/utility.hpp>
#include <thread>
#include <vision/stereo.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

CalibrationPair makeSmallRig(float focalLength) {
    return makeRig({{96, 64}, focalLength, {48.F, 32.F}, 48.F});
}

void configure(Stereo& stereo, const CalibrationPair& rig, Stereo::StereoAlgorithm algorithm) {
    stereo.setCalibrations(rig.left, rig.right);
    stereo.setStereoAlgorithm(algorithm);
    stereo.setWindowSize(7);
    stereo.setDisparityNumber(16);
    stereo.setSpeckleWindowSize(30);
}

cv::Mat process(const Stereo& stereo, const cv::Size& size, unsigned seed) {
    const cv::Mat frame = makeNoise(size, CV_8UC1, seed);
    const auto [left, right] = stereo.rectifyImages(frame, frame);
    return stereo.computeDepth(stereo.computeDisparity(left, right));
}

cv::Mat processAfresh(const CalibrationPair& rig, Stereo::StereoAlgorithm algorithm,
                      const cv::Size& size, unsigned seed) {
    Stereo stereo;
    configure(stereo, rig, algorithm);
    return process(stereo, size, seed);
}

std::size_t countBytesInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

class Soak : public testing::Test {
  protected:
    // OpenCV computes in the calling thread, so that only threads of the tests run.
    void SetUp() override { cv::setNumThreads(1); }
};

TEST_F(Soak, TenThousandFramesLeaveMemoryAndResultsAsTheyWere) {
    constexpr int rounds = 50;
    constexpr int framesPerRound = 200;
    const cv::Size sizes[] = {{96, 64}, {48, 32}, {72, 48}, {60, 40}};
    Stereo stereo;
    std::size_t afterFirstRound = 0;
    for (int round = 0; round < rounds; ++round) {
        const CalibrationPair rig = makeSmallRig(round % 2 == 0 ? 60.F : 80.F);
        const auto algorithm = round % 3 == 0 ? Stereo::SGBM : Stereo::BM;
        configure(stereo, rig, algorithm);
        for (unsigned frame = 0; frame < framesPerRound; ++frame) {
            const cv::Size& size = sizes[frame % 4];
            const cv::Mat points = process(stereo, size, frame);
            if (frame >= 4)
                continue;
            ASSERT_THAT(points, IsSameMatrix(processAfresh(rig, algorithm, size, frame)));
        }
        if (round == 0)
            afterFirstRound = countBytesInUse();
    }
    EXPECT_LT(countBytesInUse(), afterFirstRound + 16384);
}

// Calls `work` with 0, 1, ..., each in a thread of its own, while messages are logged.
template <typename Work>
void runInThreads(int count, Work work) {
    const LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Soak, EightObjectsInEightThreadsDoNotMeet) {
    const CalibrationPair rigs[] = {makeSmallRig(60.F), makeSmallRig(80.F)};
    const cv::Size sizes[] = {{96, 64}, {48, 32}};
    runInThreads(8, [&](int index) {
        const CalibrationPair& rig = rigs[index % 2];
        const auto algorithm = index % 3 == 0 ? Stereo::SGBM : Stereo::BM;
        Stereo stereo;
        configure(stereo, rig, algorithm);
        for (unsigned frame = 0; frame < 40; ++frame) {
            EXPECT_THAT(process(stereo, sizes[frame % 2], frame),
                        IsSameMatrix(processAfresh(rig, algorithm, sizes[frame % 2], frame)));
        }
    });
}

TEST_F(Soak, FourThreadsMatchWithOneObject) {
    Stereo stereo;
    configure(stereo, makeSmallRig(60.F), Stereo::SGBM);
    const cv::Mat frame = makeNoise({96, 64}, CV_8UC1, 1);
    const cv::Mat expected = stereo.computeDisparity(frame, frame);
    runInThreads(4, [&](int) {
        for (int i = 0; i < 50; ++i)
            EXPECT_THAT(stereo.computeDisparity(frame, frame), IsSameMatrix(expected));
    });
}

}  // namespace
}  // namespace tiomipra::test
