// Judging a rig by matches whose true geometry is known, and finding matches in photographs.
#include "rigs/rig_check.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <opencv2/calib3d.hpp>
#include <random>

#include "base/errors.hpp"
#include "files/image_files.hpp"
#include "support/photographs.hpp"
#include "support/rigs.hpp"
#include "support/scenes.hpp"
#include "synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

// The rotation of a camera by degrees about an axis, seen from the axis' start: clockwise.
cv::Matx33d turnAbout(int axis, double degrees) {
    cv::Vec3d vector;
    vector[axis] = degrees * CV_PI / 180;
    cv::Matx33d turn;
    cv::Rodrigues(vector, turn);
    return turn;
}

void addNoise(Matches& matches, double deviation, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::normal_distribution<float> error(0, static_cast<float>(deviation));
    for (auto* const side : {&matches.left, &matches.right}) {
        for (cv::Point2f& point : *side)
            point += cv::Point2f(error(random), error(random));
    }
}

double errorOf(const Angle& angle, double truth) {
    return std::abs(angle.degrees - truth);
}

class CheckRig : public testing::Test {
  protected:
    // The right camera turned in the rectified frame since it was calibrated.
    Matches seeTurned(int axis, double degrees, const PointScene& scene) const {
        const cv::Matx33d rectifying = cv::Mat_<double>(_rig.right.rectificationMatrix);
        const cv::Matx33d back = rectifying.t() * turnAbout(axis, degrees).t() * rectifying;
        RigModel moved = _model;
        moved.rightFromLeftRotation = back * moved.rightFromLeftRotation;
        moved.rightFromLeftTranslation = back * moved.rightFromLeftTranslation;
        return see(moved, scene);
    }

    RigCheck check(const Matches& matches, double maxRowDifference = 0.75) const {
        return checkRig(matches, _rig.left, _rig.right, maxRowDifference);
    }

    // The matches with the rows of every `every`th right point, of those that `isMoved` takes,
    // moved down by `pixels`.
    Matches moveRows(double pixels, std::size_t every = 1,
                     const std::function<bool(const cv::Point2f&)>& isMoved = {}) const {
        Matches moved = _matches;
        for (std::size_t i = 0; i < moved.left.size(); i += every) {
            if (!isMoved || isMoved(moved.left[i]))
                moved.right[i].y += static_cast<float>(pixels);
        }
        return moved;
    }

    const RigModel _model = makeModel();
    const PointScene _scene = makeScene(_model, 600);
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

// Each limit from both sides. The rows of the corner are a ninth of all.
TEST_F(CheckRig, LimitsDecide) {
    const auto inCorner = [](const cv::Point2f& p) { return p.x > 430 && p.y > 325; };
    const struct {
        Matches matches;
        std::string complaint;
    } cases[] = {{moveRows(0.36), ""},
                 {moveRows(-0.36), ""},
                 {moveRows(0.44), "the median row difference is 0.4"},
                 {moveRows(-0.44), "the median row difference is 0.4"},
                 {moveRows(0.7, 1, inCorner), ""},
                 {moveRows(0.95, 1, inCorner), "in one region the median row difference is"},
                 {moveRows(-0.95, 1, inCorner), "in one region the median row difference is"},
                 {moveRows(0.95, 25), ""},
                 {moveRows(0.95, 15), "95 % of the row differences are up to "},
                 {moveRows(-0.95, 15), "95 % of the row differences are up to "}};
    for (const auto& test : cases) {
        const RigCheck result = check(test.matches, 0.4);
        EXPECT_EQ(result.state == RigState::calibrated, test.complaint.empty()) << test.complaint;
        EXPECT_THAT(result.reason, HasSubstr(test.complaint));
    }
    const RigCheck result = check(moveRows(0.95, 1, inCorner), 0.4);
    EXPECT_LT(result.rowDifferences.median, 0.1);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 2), -0.95, 0.15);
    EXPECT_NEAR(result.regionMedians.at<float>(2, 0), 0, 0.05);
    EXPECT_EQ(result.fineMedians.size(), cv::Size(8, 6));
    EXPECT_NEAR(result.fineMedians.at<float>(4, 6), -0.95, 0.15);
}

TEST_F(CheckRig, MeasuresTheTurnOfACamera) {
    Angle CameraTurn::*const angles[] = {&CameraTurn::aboutX, &CameraTurn::aboutY,
                                         &CameraTurn::aboutZ};
    for (const double degrees : {0.1, -0.25, 0.5, -3.}) {
        for (int axis = 0; axis < 3; ++axis) {
            Matches matches = seeTurned(axis, degrees, _scene);
            const CameraTurn exact = check(matches).turn;
            addNoise(matches, 0.3);
            const CameraTurn noisy = check(matches).turn;
            for (int i = 0; i < 3; ++i) {
                const double truth = i == axis ? degrees : 0;
                EXPECT_LT(errorOf(exact.*angles[i], truth), 0.003) << axis << i << degrees;
                EXPECT_LT(errorOf(noisy.*angles[i], truth), 0.09) << axis << i << degrees;
            }
        }
    }
}

// Of forty estimates about 38 are within the uncertainty, and it is not larger than needed.
TEST_F(CheckRig, KnowsHowWellItKnowsTheTurn) {
    int within = 0;
    int withinHalf = 0;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        Matches matches = seeTurned(1, 0.2, _scene);
        addNoise(matches, 0.3, seed);
        const Angle angle = check(matches).turn.aboutY;
        within += errorOf(angle, 0.2) < angle.uncertainty ? 1 : 0;
        withinHalf += errorOf(angle, 0.2) < angle.uncertainty / 2 ? 1 : 0;
    }
    EXPECT_GE(within, 35);
    EXPECT_LE(withinHalf, 34);
}

TEST_F(CheckRig, TurnAboutYThatRowsHardlyShowIsFound) {
    const double limit = 3;  // of rows, pixels: turns alone decide
    for (const double degrees : {0., 0.2, -0.2, 0.3, -0.3, 2.}) {
        Matches matches = seeTurned(1, degrees, _scene);
        addNoise(matches, 0.1);
        const RigCheck result = check(matches, limit);
        EXPECT_EQ(result.state == RigState::calibrated, std::abs(degrees) < 0.25) << degrees;
        EXPECT_EQ(hasTurned(result.turn.aboutY), std::abs(degrees) > 0.25) << degrees;
        // What a rectified pixel in the middle moves by, and what that does to a disparity.
        const double focal = _rig.left.projectionMatrix.at<float>(0, 0);
        const double moved = focal * std::tan(degrees * CV_PI / 180);
        EXPECT_NEAR(result.depthError.disparity, moved, 0.35) << degrees;
        const double disparity =
            focal * cv::norm(_model.rightFromLeftTranslation) / result.depthError.depth;
        const double trueDepth = result.depthError.depth * disparity / (disparity - moved);
        EXPECT_NEAR(result.depthError.share, result.depthError.depth / trueDepth - 1, 0.02);
    }
    EXPECT_THAT(check(seeTurned(1, -0.4, _scene)).reason,
                HasSubstr("has turned by -0.40 +-0.00 degrees about y, may have by 0.25 at most"));
}

// In the middle of the image a turn about y moves no rows.
TEST_F(CheckRig, SaysWhenATurnAboutYIsNotDetermined) {
    PointScene middle;
    for (const cv::Point3d& point : _scene)
        middle.emplace_back(point.x / 5, point.y / 5, point.z);
    for (const double degrees : {0., 0.5, -6.}) {
        Matches matches = seeTurned(1, degrees, middle);
        addNoise(matches, 0.3);
        const RigCheck result = check(matches, 2);
        EXPECT_GT(result.turn.aboutY.uncertainty, 0.25) << degrees;
        EXPECT_FALSE(isTurnKnown(result.turn.aboutY));
        if (degrees < -1) {
            EXPECT_GT(result.behindShare, 0.5);
            EXPECT_THAT(result.reason, HasSubstr("% of the points lie behind the cameras"));
        } else {
            EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
            EXPECT_THAT(result.advice, HasSubstr("and a turn about y is not determined"));
        }
    }
}

// On a wall many geometries fit, and with them wrong matches.
TEST_F(CheckRig, WrongMatchesOnAWallDoNotCount) {
    PointScene wall;
    for (const cv::Point3d& point : _scene)
        wall.push_back(point * (1.5 / point.z));
    for (unsigned seed = 1; seed <= 5; ++seed) {
        Matches matches = see(_model, wall);
        addNoise(matches, 0.2, seed);
        std::mt19937 random(seed);
        std::uniform_real_distribution<float> anywhere(0, 480);
        for (std::size_t i = 0; i < matches.right.size(); i += 3)
            matches.right[i] = {anywhere(random), anywhere(random)};
        const RigCheck result = check(matches);
        EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
        EXPECT_LT(result.rowDifferences.maximum, 3);
    }
}

// Far points have disparities below 0 where the principal points differ.
TEST(CheckRigOfTwoCentres, DisparityAtInfinityCounts) {
    RigOptions options;
    options.isDistorted = false;
    options.rightCentreX = 340;
    const CalibrationPair rig = makeRig(options);
    const cv::Mat_<double> left = rig.left.projectionMatrix;
    const cv::Mat_<double> right = rig.right.projectionMatrix;
    Matches matches;
    for (const cv::Point3d& point : makeScene(makeModel(), 300)) {
        const auto project = [&](const cv::Mat_<double>& projection) {
            const cv::Mat_<double> p =
                projection * (cv::Mat_<double>(4, 1) << point.x, point.y, 2 * point.z, 1);
            return cv::Point2d(p(0) / p(2), p(1) / p(2));
        };
        matches.left.push_back(project(left));
        matches.right.push_back(project(right));
    }
    const RigCheck result = checkRig(matches, rig.left, rig.right, 0.75);
    EXPECT_EQ(result.state, RigState::calibrated) << result.reason;
    EXPECT_EQ(result.behindShare, 0);
    EXPECT_NEAR(result.turn.aboutY.degrees, 0, 0.01);
}

// What cameras see of textured walls, matched as photographs are.
TEST(CheckRigOfPictures, FindsATurnedCamera) {
    const CalibrationPair rig = makeRig();
    const Scene scene =
        renderScene({{640, 480}, {{45, 0, 0, 200}, {25, 0.02F, 200, 450}, {12, 0, 450}}});
    const cv::Mat left = renderRawView(scene.left, rig.left);
    Angle CameraTurn::*const angles[] = {&CameraTurn::aboutX, &CameraTurn::aboutY,
                                         &CameraTurn::aboutZ};
    // The focal length of 500 pixels makes 0.1 degrees about x 0.87 rows.
    const struct {
        int axis;
        double degrees;
        RigState state;
    } cases[] = {{0, 0.1, RigState::notCalibrated},
                 {1, 0.1, RigState::calibrated},
                 {1, -0.25, RigState::calibrated},
                 {1, 0.5, RigState::notCalibrated},
                 {2, -0.25, RigState::calibrated}};
    for (const auto& test : cases) {
        vision::Calibration turned = rig.right;
        turned.rectificationMatrix = cv::Mat(turnAbout(test.axis, test.degrees)) *
                                     cv::Mat_<double>(rig.right.rectificationMatrix);
        const RigCheck result = checkRig(matchFeatures(left, renderRawView(scene.right, turned)),
                                         rig.left, rig.right, 0.75);
        EXPECT_EQ(result.state, test.state) << test.axis << test.degrees << result.reason;
        for (int i = 0; i < 3; ++i)
            EXPECT_LT(errorOf(result.turn.*angles[i], i == test.axis ? test.degrees : 0), 0.03)
                << test.axis << i << test.degrees;
    }
}

TEST_F(CheckRig, KnowsExchangedImages) {
    std::swap(_matches.left, _matches.right);
    // Exchanged, the views of two cameras that differ little fit nearly as well.
    const RigCheck result = check(_matches, 40);
    EXPECT_EQ(result.state, RigState::swapped);
    EXPECT_GT(result.behindShare, 0.9);
}

TEST_F(CheckRig, NeedsEnoughThatIsConsistent) {
    EXPECT_THROW(check(see(_model, makeScene(_model, 29))), InputError);
    std::shuffle(_matches.right.begin(), _matches.right.end(), std::mt19937(1));
    EXPECT_THROW(check(_matches), InputError);
}

TEST_F(CheckRig, AsksForMoreWhereItSawLittle) {
    PointScene corner;
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
