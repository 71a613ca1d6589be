// Judging a rig by matches whose true geometry is known, and finding matches in photographs.
#include "rigs/rig_check.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <opencv2/calib3d.hpp>
#include <random>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "support/photographs.hpp"
#include "synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

class CheckRig : public testing::Test {
  protected:
    // The right camera turned about its x axis since it was calibrated.
    RigCheck checkTurned(double degrees) const {
        RigModel moved = _model;
        cv::Matx33d turn;
        cv::Rodrigues(cv::Vec3d(degrees * CV_PI / 180, 0, 0), turn);
        moved.rightFromLeftRotation = turn * moved.rightFromLeftRotation;
        moved.rightFromLeftTranslation = turn * moved.rightFromLeftTranslation;
        return check(see(moved, _scene));
    }

    RigCheck check(const Matches& matches, double maxRowDifference = 0.75) const {
        return checkRig(matches, _rig.left, _rig.right, maxRowDifference);
    }

    const RigModel _model = makeModel();
    const Scene _scene = makeScene(_model, 600);
    const RectifiedRig _rig = rectify(_model, 0);
    Matches _matches = see(_model, _scene);
};

TEST_F(CheckRig, AcceptsItsOwnPoints) {
    const RigCheck result = check(_matches);
    EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
    EXPECT_EQ(result.matches, 600U);
    EXPECT_GT(result.consistent, 590U);
    EXPECT_LT(result.rowDifferences.maximum, 0.01);
    EXPECT_EQ(result.behindShare, 0);
    EXPECT_EQ(result.regionsJudged, 9);
    EXPECT_EQ(result.advice, "");
}

TEST_F(CheckRig, MeasuresTheTurnOfACamera) {
    for (const double degrees : {0.5, -0.5, 0.2, 2.}) {
        const RigCheck result = checkTurned(degrees);
        EXPECT_EQ(result.state, RigState::notCalibrated) << degrees;
        EXPECT_NEAR(result.turnDegrees, std::abs(degrees), 0.01 + 0.15 * std::abs(degrees));
        // Turned about x by a positive angle, towards the ground, it sees things higher up.
        EXPECT_EQ(result.signedMedian > 0, degrees > 0) << degrees;
        EXPECT_NEAR(std::abs(result.signedMedian), result.rowDifferences.median, 0.02);
    }
    EXPECT_EQ(checkTurned(0.02).state, RigState::calibrated);
}

TEST_F(CheckRig, LimitDecides) {
    RigModel moved = _model;
    moved.right.cameraMatrix(1, 2) += 0.5;
    const Matches matches = see(moved, _scene);
    const double median = check(matches).rowDifferences.median;
    EXPECT_NEAR(median, 0.5, 0.1);
    EXPECT_EQ(check(matches, median * 1.01).state, RigState::calibrated);
    EXPECT_EQ(check(matches, median * 0.99).state, RigState::notCalibrated);
}

// Rows that fit on the whole, but not where a lens has changed.
TEST_F(CheckRig, EachRegionMustFit) {
    for (std::size_t i = 0; i < _matches.left.size(); ++i) {
        if (_matches.left[i].x > 430 && _matches.left[i].y > 325)
            _matches.right[i].y += 0.9F;
    }
    const RigCheck result = check(_matches, 0.4);
    EXPECT_EQ(result.state, RigState::notCalibrated);
    EXPECT_THAT(result.reason, HasSubstr("in one region the median row difference is"));
    EXPECT_LT(result.rowDifferences.median, 0.1);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 2), -0.9, 0.15);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 0), 0, 0.05);
    EXPECT_EQ(result.fineMedians.size(), cv::Size(8, 6));
    EXPECT_NEAR(result.fineMedians.at<float>(4, 6), -0.9, 0.15);
}

TEST_F(CheckRig, KnowsExchangedImages) {
    std::swap(_matches.left, _matches.right);
    // Exchanged, the views of two cameras that differ little fit nearly as well.
    const RigCheck result = check(_matches, 40);
    EXPECT_EQ(result.state, RigState::swapped);
    EXPECT_GT(result.behindShare, 0.9);
}

// A quarter of all matches leads anywhere, and none of it counts.
TEST_F(CheckRig, WrongMatchesDoNotCount) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> anywhere(0, 480);
    for (std::size_t i = 0; i < _matches.right.size(); i += 4)
        _matches.right[i] = {anywhere(random), anywhere(random)};
    const RigCheck result = check(_matches);
    EXPECT_EQ(result.state, RigState::calibrated);
    EXPECT_NEAR(static_cast<double>(result.consistent), 450, 20);
    EXPECT_LT(result.rowDifferences.median, 0.05);
}

TEST_F(CheckRig, NeedsEnoughThatIsConsistent) {
    EXPECT_THROW(check(see(_model, makeScene(_model, 29))), InputError);
    std::shuffle(_matches.right.begin(), _matches.right.end(), std::mt19937(1));
    EXPECT_THROW(check(_matches), InputError);
}

TEST_F(CheckRig, AsksForMoreWhereItSawLittle) {
    Scene corner;
    std::copy_if(_scene.begin(), _scene.end(), std::back_inserter(corner),
                 [](const auto& point) { return point.x < 0 && point.y < 0; });
    const RigCheck result = check(see(_model, corner));
    EXPECT_EQ(result.state, RigState::calibrated);
    EXPECT_LT(result.regionsJudged, 5);
    EXPECT_THAT(result.advice, HasSubstr("give several pairs"));
    EXPECT_TRUE(std::isnan(result.regionMedians.at<float>(2, 2)));
}

TEST(MatchFeatures, FindsWhereThingsHaveGone) {
    const cv::Mat image = toGrey(readImage(photograph("left01.jpg")));
    const Matches matches = matchFeatures(image, image(cv::Rect(20, 7, 600, 460)));
    ASSERT_GT(matches.left.size(), 100U);
    int right = 0;
    for (std::size_t i = 0; i < matches.left.size(); ++i)
        right += cv::norm(matches.left[i] - matches.right[i] - cv::Point2f(20, 7)) < 0.5 ? 1 : 0;
    EXPECT_GT(right, 0.95 * static_cast<double>(matches.left.size()));
    EXPECT_TRUE(matchFeatures(image, cv::Mat::zeros(480, 640, CV_8UC1)).left.empty());
}

TEST(MatchPair, RefusesAnImageWithItself) {
    const cv::Mat image = toGrey(readImage(photograph("left01.jpg")));
    const Frame frame{"a", "aL", "aR", {}, [&] { return StereoImages{image, image}; }};
    const RectifiedRig rig = rectify(makeModel(), 0);
    EXPECT_THAT(
        [&] {
            matchPair(frame, {rig.left, rig.right, "left.yml", "right.yml", ""});
        },
        ThrowsMessage<InputError>(HasSubstr("'aL' and 'aR' show the same image")));
}

TEST(MatchCollection, AddsUpMatchesAndFailures) {
    const auto frame = [](const std::string& left) { return Frame{"", left, "", {}, {}}; };
    const cv::Mat first(480, 640, CV_8UC1);
    MatchCollection collection;
    EXPECT_THROW(collection.requirePairs(), InputError);
    collection.add(frame("aL"), {{{{1, 1}}, {{2, 2}}}, first});
    collection.add(frame("bL"), {{{{3, 3}}, {{4, 4}}}, cv::Mat(480, 640, CV_8UC3)});
    collection.add(frame("cL"), {{{{5, 5}}, {{6, 6}}}, cv::Mat(240, 320, CV_8UC1)});
    EXPECT_EQ(collection.firstImage().data, first.data);
    EXPECT_THAT(collection.matches().left, ElementsAre(cv::Point2f(1, 1), cv::Point2f(3, 3)));
    EXPECT_THAT(collection.matches().right, ElementsAre(cv::Point2f(2, 2), cv::Point2f(4, 4)));
    EXPECT_THAT(collection.failures(), ElementsAre(HasSubstr("'cL' is 320x240, 'aL' is 640x480")));
}

}  // namespace
}  // namespace tiomipra::test
