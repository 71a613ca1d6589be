// Long use and use from many threads.
#include <gtest/gtest.h>
#include <malloc.h>

#include <opencv2/core/utility.hpp>
#include <thread>
#include <vision/stereo.hpp>

#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using vision::Stereo;

const cv::Size sizes[] = {{96, 64}, {48, 32}, {72, 48}, {60, 40}};

void configure(Stereo& stereo, int variant) {
    const float focalLength = variant % 2 == 0 ? 60.F : 80.F;
    const CalibrationPair rig = makeRig({{96, 64}, focalLength, {48.F, 32.F}, 48.F});
    stereo.setCalibrations(rig.left, rig.right);
    stereo.setStereoAlgorithm(variant % 3 == 0 ? Stereo::SGBM : Stereo::BM);
    stereo.setWindowSize(7);
    stereo.setDisparityNumber(16);
    stereo.setSpeckleWindowSize(30);
}

cv::Mat process(const Stereo& stereo, unsigned frame) {
    const cv::Mat image = makeNoise(sizes[frame % 4], CV_8UC1, frame);
    const auto [left, right] = stereo.rectifyImages(image, image);
    return stereo.computeDepth(stereo.computeDisparity(left, right));
}

std::size_t countBytesInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Each thread has an object of its own, and all of them match with another.
TEST(Soak, TenThousandFramesInThreadsLeaveMemoryAndResultsAsTheyWere) {
    cv::setNumThreads(1);  // OpenCV computes in the calling thread, so that no others run.
    Stereo shared;
    configure(shared, 0);
    const cv::Mat image = makeNoise(sizes[0], CV_8UC1, 1);
    const cv::Mat disparity = shared.computeDisparity(image, image);
    Stereo own[8];
    const auto processFrames = [&](int variant) {
        configure(own[variant], variant);
        for (unsigned frame = 0; frame < 25; ++frame) {
            const cv::Mat points = process(own[variant], frame);
            if (frame >= std::size(sizes))
                continue;
            Stereo fresh;
            configure(fresh, variant);
            EXPECT_THAT(points, IsSameMatrix(process(fresh, frame)));
            EXPECT_THAT(shared.computeDisparity(image, image), IsSameMatrix(disparity));
        }
    };
    std::size_t afterFirstRound = 0;
    for (int round = 0; round < 50; ++round) {
        std::vector<std::thread> threads;
        for (int variant = 0; variant < 8; ++variant)
            threads.emplace_back(processFrames, variant);
        for (std::thread& thread : threads)
            thread.join();
        if (round == 0)
            afterFirstRound = countBytesInUse();
    }
    EXPECT_LT(countBytesInUse(), afterFirstRound + 65536);
}

}  // namespace
}  // namespace tiomipra::test
