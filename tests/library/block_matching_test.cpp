#include "block_matching.hpp"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "speckle_filter.hpp"
#include "support/matrices.hpp"

namespace tiomipra::test {
namespace {

using vision::BlockMatching;
using vision::InstructionSet;

struct Pair {
    cv::Mat left;
    cv::Mat right;
};

// Noise of few or many grey levels, smooth or not, that moves by a few pixels; at times with other
// noise on top, or in views of larger images.
Pair makePair(const cv::Size& size, cv::RNG& random) {
    cv::Mat texture(size.height, size.width + 40, CV_8UC1);
    random.fill(texture, cv::RNG::UNIFORM, 0, random.uniform(1, 257));
    if (random.uniform(0, 2) == 0)
        cv::GaussianBlur(texture, texture, {}, 1.5);
    const int shift = random.uniform(0, 41);
    Pair pair{texture.colRange(20, 20 + size.width), texture.colRange(shift, shift + size.width)};
    if (random.uniform(0, 2) == 0) {
        cv::Mat noise(size, CV_8UC1);
        random.fill(noise, cv::RNG::UNIFORM, 0, random.uniform(1, 60));
        pair.right = pair.right + noise;
    }
    return pair;
}

BlockMatching makeSettings(cv::RNG& random) {
    const bool isUsual = random.uniform(0, 3) != 0;
    BlockMatching settings{};
    settings.windowSize = random.uniform(2, isUsual ? 8 : 30) * 2 + 1;
    settings.minDisparity = random.uniform(0, 4) == 0 ? 0 : random.uniform(-70, 70);
    settings.disparityNumber = random.uniform(1, 10) * 16;
    settings.preFilterCap = random.uniform(1, 64);
    settings.preFilterSize = 5;
    settings.textureThreshold = random.uniform(0, isUsual ? 100 : 10001);
    settings.uniquenessRatio = random.uniform(0, isUsual ? 10 : 101);
    settings.speckleWindowSize = random.uniform(0, 3) == 0 ? 0 : random.uniform(0, 200);
    settings.speckleRange = random.uniform(0, 32);
    return settings;
}

// With each instruction set that the processor has, on one thread and on two; OpenCV's result
// depends on chance with more than one.
void expectWhatOpenCvGives(const Pair& pair, const BlockMatching& settings) {
    cv::setNumThreads(1);
    const cv::Mat expected = matchBlocksByOpenCv(pair.left, pair.right, settings);
    for (const auto set :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (set > vision::findInstructionSet())
            break;
        for (const int number : {1, 2}) {
            cv::setNumThreads(number);
            ASSERT_THAT(matchBlocks(pair.left, pair.right, settings, set), IsSameMatrix(expected))
                << name(set) << ", " << pair.left.size() << ", window " << settings.windowSize
                << ", " << settings.disparityNumber << " disparities from " << settings.minDisparity
                << ", cap " << settings.preFilterCap << ", texture " << settings.textureThreshold
                << ", uniqueness " << settings.uniquenessRatio << ", speckles "
                << settings.speckleWindowSize << " and " << settings.speckleRange;
        }
    }
}

TEST(BlockMatching, GivesTheBitsOfOpenCv) {
    cv::RNG random(1);
    int matched = 0;
    for (int i = 0; i < 300; ++i) {
        const Pair pair = makePair({random.uniform(1, 300), random.uniform(1, 70)}, random);
        const BlockMatching settings = makeSettings(random);
        if (!canMatchBlocks(settings, pair.left.size()))
            continue;
        ++matched;
        ASSERT_NO_FATAL_FAILURE(expectWhatOpenCvGives(pair, settings));
    }
    EXPECT_GT(matched, 100);
}

// The slope is as steep as it can be in one image where it is as steep the other way in the other.
TEST(BlockMatching, TakesTheLargestSumsThatFit16Bits) {
    Pair pair{cv::Mat(60, 200, CV_8UC1), cv::Mat(60, 200, CV_8UC1)};
    for (int x = 0; x < 200; ++x) {
        pair.left.col(x) = x % 4 < 2 ? 0 : 255;
        pair.right.col(x) = x % 4 < 2 ? 255 : 0;
    }
    BlockMatching settings{23, 0, 32, 61, 5, 0, 0, 0, 0};
    for (const int uniquenessRatio : {0, 1, 100}) {
        settings.uniquenessRatio = uniquenessRatio;
        EXPECT_TRUE(canMatchBlocks(settings, pair.left.size()));
        expectWhatOpenCvGives(pair, settings);
    }
    settings.preFilterCap = 62;
    EXPECT_FALSE(canMatchBlocks(settings, pair.left.size()));
}

TEST(SpeckleFilter, RemovesWhatOpenCvRemoves) {
    cv::RNG random(2);
    for (int i = 0; i < 300; ++i) {
        cv::Mat disparities(random.uniform(1, 60), random.uniform(1, 300), CV_16SC1);
        // Regions of all sizes, and numbers whose difference doesn't fit 16 bits.
        const bool isWild = random.uniform(0, 4) == 0;
        random.fill(disparities, cv::RNG::UNIFORM, isWild ? -32768 : -2, isWild ? 32768 : 40);
        cv::Mat smooth;
        cv::blur(disparities, smooth, {random.uniform(1, 9), random.uniform(1, 9)});
        const auto missing = static_cast<std::int16_t>(random.uniform(-2, 20));
        smooth.setTo(missing, makeNoise(smooth.size(), CV_8UC1, i) > 200);
        cv::Mat expected = smooth.clone();
        const int size = random.uniform(0, 300);
        const int range = random.uniform(0, 32);
        cv::filterSpeckles(expected, missing, size, range);
        vision::filterSpeckles(smooth, missing, size, range);
        ASSERT_THAT(smooth, IsSameMatrix(expected)) << size << ", " << range;
    }
}

}  // namespace
}  // namespace tiomipra::test
