// Judging a rig by matches whose true geometry is known, and finding matches in photographs.
#include "rigs/rig_check.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "support/photographs.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

// The rotation of a camera by degrees about an axis, clockwise as seen from the axis' start.
cv::Matx33d turnAbout(int axis, double degrees) {
    cv::Vec3d vector;
    vector[axis] = degrees * CV_PI / 180;
    return turnBy(vector);
}

// Makes the first `count` matches wrong.
void spoil(Matches& matches, std::size_t count) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> anywhere(0, 480);
    for (std::size_t i = 0; i < count; ++i)
        matches.right[i] = {anywhere(random), anywhere(random)};
}

constexpr Angle CameraTurn::*angles[] = {&CameraTurn::aboutX, &CameraTurn::aboutY,
                                         &CameraTurn::aboutZ};

class CheckRig : public testing::Test {
  protected:
    // The right camera turned in the rectified frame since it was calibrated.
    Matches seeTurned(int axis, double degrees, const PointScene& scene) const {
        const cv::Matx33d rectifying = cv::Mat_<double>(_rig.right.rectificationMatrix);
        const cv::Matx33d back = rectifying.t() * turnAbout(axis, -degrees) * rectifying;
        RigModel moved = _model;
        moved.rightFromLeftRotation = back * moved.rightFromLeftRotation;
        moved.rightFromLeftTranslation = back * moved.rightFromLeftTranslation;
        return see(moved, scene);
    }

    RigCheck check(const Matches& matches, double maxRowDifference = 0.75) const {
        return checkRig(matches, _rig.left, _rig.right, maxRowDifference);
    }

    // The matches with every `every`th right point from (`x`, `y`) on moved down by `pixels`.
    Matches moveRows(double pixels, std::size_t every = 1, float x = 0, float y = 0) const {
        Matches moved = _matches;
        for (std::size_t i = 0; i < moved.left.size(); i += every) {
            if (moved.left[i].x > x && moved.left[i].y > y)
                moved.right[i].y += static_cast<float>(pixels);
        }
        return moved;
    }

    const RigModel _model = makeModel();
    const PointScene _scene = makeScene(_model, 600);
    const RectifiedRig _rig = rectify(_model, 0);
    std::mt19937 _random{1};
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
    EXPECT_EQ(result.turnLimit, 0.25);
    // A turn of this limit moves the point in the corner by half a row.
    const CalibrationPair longLens = makeRig({{640, 480}, 1000});
    const double limit = checkRig(_matches, longLens.left, longLens.right, 0.75).turnLimit;
    const cv::Vec3d corner = turnAbout(1, -limit) * cv::Vec3d(320, 240, 1000);
    EXPECT_NEAR(std::abs(1000 * corner[1] / corner[2] - 240), 0.5, 0.01);
}

// Each limit from both sides; the corner is a ninth of the image.
TEST_F(CheckRig, LimitsDecide) {
    const auto moveCorner = [this](double pixels) { return moveRows(pixels, 1, 430, 325); };
    RigModel refocused = _model;
    refocused.right.cameraMatrix(1, 1) *= 1.1;
    const struct {
        Matches matches;
        std::string complaint;
    } cases[] = {{moveRows(0.36), ""},
                 {moveRows(-0.36), ""},
                 {moveRows(0.44), "the median row difference is 0.4"},
                 {moveRows(-0.44), "the median row difference is 0.4"},
                 {see(refocused, _scene), "the median row difference is "},
                 {moveCorner(0.7), ""},
                 {moveCorner(0.95), "in one region the median row difference is"},
                 {moveCorner(-0.95), "in one region the median row difference is"},
                 {moveRows(0.95, 25), ""},
                 {moveRows(0.95, 15), "95 % of the row differences are up to "},
                 {moveRows(-0.95, 15), "95 % of the row differences are up to "}};
    for (const auto& test : cases) {
        const RigCheck result = check(test.matches, 0.4);
        EXPECT_EQ(result.state == RigState::calibrated, test.complaint.empty()) << test.complaint;
        EXPECT_THAT(result.reason, HasSubstr(test.complaint));
        EXPECT_GT(result.consistent, 530U) << test.complaint;
    }
    const RigCheck result = check(moveCorner(0.95), 0.4);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 2), -0.95, 0.15);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 0), 0, 0.05);
    EXPECT_NEAR(check(moveRows(0.44)).signedMedian, -0.44, 0.05);
    EXPECT_EQ(result.fineMedians.size(), cv::Size(8, 6));
    EXPECT_NEAR(result.fineMedians.at<float>(4, 6), -0.95, 0.15);
}

// With noise, about 34 of 36 estimates are within the uncertainty, and 25 within half of it.
TEST_F(CheckRig, MeasuresTheTurnOfACamera) {
    int within = 0;
    int withinHalf = 0;
    for (const double degrees : {0.1, -0.25, 0.5, -3.}) {
        for (int axis = 0; axis < 3; ++axis) {
            Matches matches = seeTurned(axis, degrees, _scene);
            const CameraTurn exact = check(matches).turn;
            addNoise(matches, 0.3, _random);
            const CameraTurn noisy = check(matches).turn;
            for (int i = 0; i < 3; ++i) {
                const double truth = i == axis ? degrees : 0;
                EXPECT_NEAR((exact.*angles[i]).degrees, truth, 0.003) << axis << i << degrees;
                const Angle found = noisy.*angles[i];
                EXPECT_NEAR(found.degrees, truth, 0.09) << axis << i << degrees;
                const double share = std::abs(found.degrees - truth) / found.uncertainty;
                within += share < 1 ? 1 : 0;
                withinHalf += share < 0.5 ? 1 : 0;
            }
        }
    }
    EXPECT_GE(within, 32);
    EXPECT_LE(withinHalf, 31);
}

TEST_F(CheckRig, TurnAboutYIsFoundThoughRowsHardlyShowIt) {
    const double focal = _rig.left.projectionMatrix.at<float>(0, 0);
    for (const double degrees : {0., 0.2, -0.2, 0.3, -0.3, 2.}) {
        Matches matches = seeTurned(1, degrees, _scene);
        addNoise(matches, 0.1, _random);
        const RigCheck result = check(matches, 3);
        EXPECT_EQ(result.state == RigState::calibrated, std::abs(degrees) < 0.25) << degrees;
        // What a rectified pixel in the middle moves by, and what that does to a disparity.
        const DepthError& error = result.depthError;
        const double moved = focal * std::tan(degrees * CV_PI / 180);
        EXPECT_NEAR(error.disparity, moved, 0.35) << degrees;
        const double timesDepth = focal * cv::norm(_model.rightFromLeftTranslation);
        const double trueDepth = timesDepth / (timesDepth / error.depth - moved);
        EXPECT_NEAR(error.share, error.depth / trueDepth - 1, 0.02) << degrees;
    }
    EXPECT_THAT(check(seeTurned(1, -0.4, _scene)).reason,
                HasSubstr("has turned by -0.40 +-0.00 degrees about y, may have by 0.25 at most"));
}

// In the middle of the image a turn about y moves no rows.
TEST_F(CheckRig, AsksForMoreWhereItSawLittle) {
    PointScene middle;
    for (const cv::Point3d& point : _scene)
        middle.emplace_back(point.x / 5, point.y / 5, point.z);
    for (const double degrees : {0., 0.5, -6.}) {
        Matches matches = seeTurned(1, degrees, middle);
        addNoise(matches, 0.3, _random);
        const RigCheck result = check(matches, 2);
        EXPECT_FALSE(isTurnKnown(result)) << degrees;
        EXPECT_TRUE(std::isnan(result.regionMedians.at<float>(2, 2)));
        EXPECT_EQ(result.state == RigState::calibrated, degrees > -1) << result.reason;
        EXPECT_THAT(result.reason + result.advice,
                    HasSubstr(degrees > -1 ? "only 1 of 9 regions could be judged, and a turn about"
                                           : "% of the points lie behind the cameras"));
    }
}

// Far points have disparities below 0 where the principal points differ.
TEST_F(CheckRig, DisparityAtInfinityCounts) {
    RigOptions options;
    options.isDistorted = false;
    options.rightCentreX = 340.25F;
    const CalibrationPair rig = makeRig(options);
    for (std::size_t i = 0; i < _scene.size(); ++i) {
        const double disparity = -20 + 500 * 0.125 / (3 * _scene[i].z);
        _matches.right[i] = _matches.left[i] - cv::Point2f(static_cast<float>(disparity), 0);
    }
    const RigCheck result = checkRig(_matches, rig.left, rig.right, 0.75);
    EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
    EXPECT_EQ(result.behindShare, 0);
    EXPECT_NEAR(result.turn.aboutY.degrees, 0, 0.01);
}

// What cameras see of textured walls, matched as photographs are. With the focal length of 250
// pixels, 0.25 degrees about x are 1.1 rows.
TEST(CheckRigOfPictures, FindsATurnedCamera) {
    const CalibrationPair rig = makeRig({{320, 240}, 250, {160.25F, 118.5F}, 160.25F});
    const Scene scene =
        renderScene({{320, 240}, {{30, 0, 0, 100}, {17, 0.02F, 100, 225}, {8, 0, 225}}});
    const cv::Mat left = renderRawView(scene.left, rig.left);
    const struct {
        int axis;
        double degrees;
        bool isCalibrated;
    } cases[] = {{0, 0.25, false}, {1, 0.1, true}, {1, -0.5, false}, {2, -0.25, true}};
    for (const auto& [axis, degrees, isCalibrated] : cases) {
        vision::Calibration turned = rig.right;
        turned.rectificationMatrix =
            cv::Mat(turnAbout(axis, degrees)) * cv::Mat_<double>(rig.right.rectificationMatrix);
        const RigCheck result = checkRig(matchFeatures(left, renderRawView(scene.right, turned)),
                                         rig.left, rig.right, 0.75);
        EXPECT_EQ(result.state == RigState::calibrated, isCalibrated) << axis << degrees;
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR((result.turn.*angles[i]).degrees, i == axis ? degrees : 0, 0.04) << axis;
    }
}

// Exchanged, the views of two cameras that differ little fit nearly as well. With the right camera
// turned about x, the rows fit if exchanged, but then all points lie behind the cameras.
TEST_F(CheckRig, KnowsExchangedImages) {
    EXPECT_EQ(check(seeTurned(0, 4.8, _scene), 8).state, RigState::notCalibrated);
    std::swap(_matches.left, _matches.right);
    const RigCheck result = check(_matches, 40);
    EXPECT_EQ(result.state, RigState::swapped);
    EXPECT_GT(result.behindShare, 0.9);
}

// On a wall many geometries fit, and with them wrong matches.
TEST_F(CheckRig, WrongMatchesDoNotCount) {
    PointScene wall;
    for (const cv::Point3d& point : _scene)
        wall.push_back(point * (1.5 / point.z));
    for (Matches matches : {_matches, see(_model, wall)}) {
        spoil(matches, 200);
        const RigCheck result = check(matches);
        EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
        EXPECT_NEAR(static_cast<double>(result.consistent), 400, 20);
        EXPECT_LT(result.rowDifferences.maximum, 3);
    }
    spoil(_matches, 600);
    EXPECT_THROW(check(_matches), InputError);
    EXPECT_THROW(check(see(_model, makeScene(_model, 29))), InputError);
}

TEST(MatchPair, RefusesAnImageWithItself) {
    const cv::Mat image = toGrey(readImage(photograph("left01.jpg")));
    const Frame frame{"a", "aL", "aR", {}, [&] { return StereoImages{image, image}; }};
    const RectifiedRig rig = rectify(makeModel(), 0);
    const Rig files{rig.left, rig.right, "left.yml", "right.yml", ""};
    EXPECT_THAT([&] { matchPair(frame, files); },
                ThrowsMessage<InputError>(HasSubstr("'aL' and 'aR' show the same image")));
}

// Matches of every third point are of another pair, whose rows are off.
TEST_F(CheckRig, TellsTheRowsOfEachPair) {
    Matches matches = moveRows(-0.5, 3);
    for (std::size_t i = 0; i < matches.left.size(); ++i)
        matches.pairs.push_back(i % 3 == 0 ? 1 : 0);
    const RigCheck result = check(matches);
    ASSERT_EQ(result.rows.size(), result.consistent);
    for (const auto& [place, difference, pair] : result.rows) {
        const auto found = std::find(matches.left.begin(), matches.left.end(), place);
        ASSERT_NE(found, matches.left.end());
        EXPECT_EQ(pair, (found - matches.left.begin()) % 3 == 0 ? 1U : 0U);
        EXPECT_NEAR(difference, pair == 1 ? 0.5 : 0, 0.1);
    }
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
    EXPECT_THAT(collection.matches().pairs, ElementsAre(0, 1));
    EXPECT_EQ(collection.pairs().at(1).left, "bL");
    EXPECT_THAT(collection.failures(), ElementsAre(HasSubstr("'cL' is 320x240, 'aL' is 640x480")));
}

}  // namespace
}  // namespace tiomipra::test
