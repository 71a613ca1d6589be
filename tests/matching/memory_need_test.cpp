// How much memory is asked for, against counts by hand, and what happens when it is not there.
#include "matching/memory_need.hpp"

#include <gmock/gmock.h>

#include "base/errors.hpp"
#include "matching/matcher_presets.hpp"
#include "matching/matcher_setup.hpp"
#include "matching/pair_matcher.hpp"
#include "sample_rig.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Disparities 1 to 64 leave 576 of 640 columns. A row of costs of 16 bits is 576 * 64 * 2 bytes.
TEST(MatcherMemory, IsThatOfTheCosts) {
    const cv::Size size(640, 480);
    constexpr std::uint64_t images = 8 * 640 * 480;
    constexpr std::uint64_t row = 576 * 64 * 2;
    const auto memory = [&](std::map<std::string, int> values) {
        values["disparity-number"] = 64;
        return matcherMemory(*makeStereo(settingsOf(values), size), stepsOf(settingsOf(values)),
                             size);
    };
    EXPECT_EQ(memory({{"algorithm", vision::Stereo::SGBM}, {"window-size", 5}}), images + 17 * row);
    EXPECT_EQ(memory({{"algorithm", vision::Stereo::SGBM}, {"window-size", 21}, {"full-dp", 1}}),
              images + (33 + 2 * 480) * row);
    EXPECT_EQ(memory({{"window-size", 21}, {"full-dp", 1}}), images + 480 * 64 * (21 + 6));
    EXPECT_EQ(memory({{"window-size", 21}, {"three-way", 3}}), memory({{"window-size", 21}}));
    // The same columns with 65 more, of which all 640 and one can be matched.
    EXPECT_EQ(memory({{"algorithm", vision::Stereo::SGBM}, {"three-way", 3}}),
              8 * (640 + 65) * 480 + (3 + 12) * 641 * 64 * 2U);
    std::map<std::string, int> quick{{"algorithm", vision::Stereo::SGBM},
                                     {"three-way", 3},
                                     {"quick-right", 1},
                                     {"window-size", 21},
                                     {"full-dp", 1}};
    EXPECT_EQ(memory(quick), 8 * (640 + 65) * 480 + (3 + 12) * 641 * 64 * 2U);
    quick["left-right-check"] = 1;
    EXPECT_EQ(memory(quick), 8 * (640 + 65) * 480 + (21 + 12) * 641 * 64 * 2U);
    // At half the size there are 16 disparities less, from 0 to 47, and 273 columns of 320.
    const auto stereo = makeStereo(
        settingsOf({{"algorithm", vision::Stereo::SGBM}, {"disparity-number", 64}}), size);
    EXPECT_EQ(matcherMemory(*stereo, {}, {320, 240}), 8 * 320 * 240 + (19 + 12) * 273 * 48 * 2);
    EXPECT_EQ(
        pairMemory(*stereo, {}, size, {320, 240}, true) - matcherMemory(*stereo, {}, {320, 240}),
        96U * 640 * 480);
}

TEST(MemoryLimits, AreKeptByThePairMatcher) {
    const cv::Mat image(480, 640, CV_8UC1, cv::Scalar(7));
    const Frame frame{"1", "a.png", "b.png", {}, [&] { return StereoImages{image, image}; }};
    const MatcherSettings settings =
        settingsOf({{"algorithm", vision::Stereo::SGBM}, {"window-size", 5}, {"full-dp", 1}});
    MatcherSettings withThreeWay = settings;
    withThreeWay.values["three-way"] = 3;
    PairMatcher matcher(settings, std::nullopt, [](const std::string&) {});
    const std::uint64_t need = matcher.memoryFor(image.size(), "a.png");
    MemoryLimit limit{need - 1, "the patience of this test"};
    std::uint64_t taken = 0;
    const auto take = [&](std::uint64_t bytes) {
        taken += bytes;
        return limit;
    };
    // 2 * 2 * 560 * 480 * 80 bytes of costs and 40 for every pixel.
    EXPECT_THAT([&] { matcher.match(frame, take); },
                ThrowsMessage<InputError>(
                    AllOf(HasSubstr("'a.png', 640x480 with 80 disparities, takes about 0.0998 GB"),
                          HasSubstr("at most 0.0998 GB, the patience of this test; fewer "
                                    "disparities, five directions in place of eight"))));
    EXPECT_THAT(
        [&] {
            requireMemoryToMatch("a", {640, 480}, *makeStereo(settings, image.size()),
                                 stepsOf(withThreeWay), need, limit);
        },
        ThrowsMessage<InputError>(testing::Not(HasSubstr("full-dp"))));
    limit.bytes = need;
    EXPECT_NO_THROW(matcher.match(frame, take));
    EXPECT_EQ(taken, 2 * need) << "asked for each pair";
    EXPECT_EQ(describeBytes(13123456789), "13.1 GB");
}

TEST(MemoryLimits, AreFoundByTrying) {
    EXPECT_NO_THROW(requireAllocatable(1 << 24));
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' allocators end the process";
#endif
    EXPECT_THAT([] { requireAllocatable(std::uint64_t{1} << 50U); },
                ThrowsMessage<InputError>(HasSubstr("not enough memory left")));
}

}  // namespace
}  // namespace tiomipra::test
