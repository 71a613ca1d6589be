#include <atomic>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <thread>

#include "block_matching.hpp"
#include "row_pipeline.hpp"
#include "semi_global_matching.hpp"
#include "shared/speckle_filter.hpp"
#include "support/matrices.hpp"

namespace tiomipra::test {
namespace {

using vision::BlockMatching;
using vision::InstructionSet;
using vision::SemiGlobalMatching;

struct Pair {
    cv::Mat left;
    cv::Mat right;
};

// Sets OpenCV's number of threads and puts it back.
class Threads {
  public:
    explicit Threads(int number) { cv::setNumThreads(number); }
    ~Threads() { cv::setNumThreads(_before); }

  private:
    int _before = cv::getNumThreads();
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

SemiGlobalMatching makePathSettings(cv::RNG& random) {
    const BlockMatching blocks = makeSettings(random);
    const bool isUsual = random.uniform(0, 3) != 0;
    const int windowSize = random.uniform(-1, isUsual ? 12 : 60);
    const int most = isUsual ? 40 * windowSize * windowSize + 2 : 70000;
    return {windowSize,
            blocks.minDisparity,
            random.uniform(1, 7) * 16,
            blocks.preFilterCap,
            blocks.uniquenessRatio,
            blocks.speckleWindowSize,
            blocks.speckleRange,
            random.uniform(0, most),
            random.uniform(0, 4 * most),
            random.uniform(-1, isUsual ? 3 : 100),
            random.uniform(0, 3) == 0};
}

cv::Mat match(const Pair& pair, const BlockMatching& settings, InstructionSet set) {
    return matchBlocks(pair.left, pair.right, settings, set);
}

cv::Mat match(const Pair& pair, const SemiGlobalMatching& settings, InstructionSet set) {
    return matchSemiGlobally(pair.left, pair.right, settings, set);
}

cv::Mat matchByOpenCv(const Pair& pair, const BlockMatching& settings) {
    return matchBlocksByOpenCv(pair.left, pair.right, settings);
}

cv::Mat matchByOpenCv(const Pair& pair, const SemiGlobalMatching& settings) {
    return matchSemiGloballyByOpenCv(pair.left, pair.right, settings);
}

std::string describe(const BlockMatching& settings) {
    return "texture " + std::to_string(settings.textureThreshold);
}

std::string describe(const SemiGlobalMatching& settings) {
    return "P1 " + std::to_string(settings.P1) + ", P2 " + std::to_string(settings.P2) +
           ", left-right " + std::to_string(settings.disp12MaxDiff) +
           (settings.fullDP ? ", full" : "");
}

// With each instruction set that the processor has, on one thread and on more; OpenCV's result
// depends on chance with more than one.
template <typename Settings>
void expectWhatOpenCvGives(const Pair& pair, const Settings& settings) {
    const cv::Mat expected = [&] {
        const Threads one(1);
        return matchByOpenCv(pair, settings);
    }();
    for (const auto set :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (set > vision::findInstructionSet())
            break;
        for (const int number : {1, 3}) {
            const Threads threads(number);
            ASSERT_THAT(match(pair, settings, set), IsSameMatrix(expected))
                << name(set) << ", " << pair.left.size() << ", window " << settings.windowSize
                << ", " << settings.disparityNumber << " disparities from " << settings.minDisparity
                << ", cap " << settings.preFilterCap << ", uniqueness " << settings.uniquenessRatio
                << ", speckles " << settings.speckleWindowSize << " and " << settings.speckleRange
                << ", " << describe(settings);
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

TEST(BlockMatching, LeavesToOpenCvWhatItRefuses) {
    const cv::Mat image = makeNoise({60, 40}, CV_8UC1, 1);
    const BlockMatching sound{9, 0, 16, 31, 9, 10, 15, 0, 0};
    EXPECT_TRUE(canMatchBlocks(sound, image.size()));
    const std::pair<int BlockMatching::*, int> faults[] = {
        {&BlockMatching::windowSize, 8},      {&BlockMatching::windowSize, 3},
        {&BlockMatching::windowSize, 41},     {&BlockMatching::disparityNumber, 8},
        {&BlockMatching::disparityNumber, 0}, {&BlockMatching::preFilterCap, 0},
        {&BlockMatching::preFilterSize, 4},   {&BlockMatching::textureThreshold, -1},
        {&BlockMatching::uniquenessRatio, -1}};
    for (const auto& [member, value] : faults) {
        BlockMatching settings = sound;
        settings.*member = value;
        EXPECT_FALSE(canMatchBlocks(settings, image.size())) << value;
        EXPECT_THROW(matchBlocksByOpenCv(image, image, settings), cv::Exception) << value;
    }
}

TEST(SemiGlobalMatching, GivesTheBitsOfOpenCv) {
    cv::RNG random(3);
    int matched = 0;
    for (int i = 0; i < 100; ++i) {
        const Pair pair = makePair({random.uniform(1, 250), random.uniform(1, 50)}, random);
        const SemiGlobalMatching settings = makePathSettings(random);
        if (!canMatchSemiGlobally(settings, pair.left.size()))
            continue;
        ++matched;
        ASSERT_NO_FATAL_FAILURE(expectWhatOpenCvGives(pair, settings));
    }
    EXPECT_GT(matched, 50);
}

// The images differ as much as they can, so that all costs do not fit, whichever comes first.
TEST(SemiGlobalMatching, OverflowsAsOpenCvDoes) {
    Pair pair{cv::Mat(60, 200, CV_8UC1), cv::Mat(60, 200, CV_8UC1)};
    for (int x = 0; x < 200; ++x) {
        pair.left.col(x) = x % 4 < 2 ? 0 : 255;
        pair.right.col(x) = x % 4 < 2 ? 255 : 0;
    }
    cv::randu(pair.right.rowRange(20, 40), 0, 256);
    for (const int window : {13, 21, 51, 101}) {
        for (const int uniqueness : {0, 10, 100})
            expectWhatOpenCvGives(pair, SemiGlobalMatching{window, -3, 32, 63, uniqueness, 0, 0,
                                                           8 * window, 32 * window, 0, false});
    }
}

TEST(SemiGlobalMatching, LeavesToOpenCvWhatItDoesOtherwise) {
    const SemiGlobalMatching sound{173, 0, 16, 63, 10, 0, 0, 8, 32, 1, false};
    EXPECT_TRUE(canMatchSemiGlobally(sound, {103, 1}));
    EXPECT_FALSE(canMatchSemiGlobally(sound, {102, 1})) << "half a window of columns";
    const std::pair<int SemiGlobalMatching::*, int> others[] = {
        {&SemiGlobalMatching::windowSize, 174},
        {&SemiGlobalMatching::disparityNumber, 8},
        {&SemiGlobalMatching::disparityNumber, 0},
        {&SemiGlobalMatching::preFilterCap, 64},
        {&SemiGlobalMatching::uniquenessRatio, -1},
        {&SemiGlobalMatching::uniquenessRatio, 101},
        {&SemiGlobalMatching::P1, std::numeric_limits<int>::max()}};
    for (const auto& [member, value] : others) {
        SemiGlobalMatching settings = sound;
        settings.*member = value;
        EXPECT_FALSE(canMatchSemiGlobally(settings, {400, 300})) << value;
    }
}

TEST(RowPipeline, DoesStepsWhenWhatTheyNeedIsDone) {
    using Steps = std::vector<vision::RowPipeline::Step>;
    const Steps steps{{0, {{2, 3}}}, {0, {{0, 0}, {2, 1}}}, {1, {{1, 0}}}};
    std::atomic<int> done[3]{};
    std::atomic<int> faults = 0;
    vision::RowPipeline pipeline(steps, 300);
    const auto work = [&](int part) {
        pipeline.work(part, [&](int step, int row) {
            bool isReady = row == done[step];
            for (const auto& [needed, rowsBefore] : steps[static_cast<std::size_t>(step)].needs)
                isReady = isReady && done[needed] > row - rowsBefore;
            faults += isReady ? 0 : 1;
            std::this_thread::yield();
            ++done[step];
        });
    };
    std::thread threads[] = {std::thread(work, 1), std::thread(work, 0)};
    work(0);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(faults, 0);
    EXPECT_EQ(done[2], 300);
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
