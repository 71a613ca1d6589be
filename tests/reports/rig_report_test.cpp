// What is told of a rig, by results made of numbers: its calibration, its geometry, its check.
#include "reports/rig_report.hpp"

#include <gmock/gmock.h>

#include <limits>
#include <opencv2/core.hpp>

#include "json_values.hpp"
#include "reports/calibration_report.hpp"
#include "reports/check_report.hpp"
#include "reports/pictures.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

Frame frame(const std::string& name) {
    return {name, "photos/" + name + "L.png", "photos/" + name + "R.png", {}, {}};
}

// Pairs a, c and d show the board in the top left quarter; b can't be read.
BoardSearch makeSearch() {
    Detection detection;
    for (const float y : {20.F, 100.F, 180.F}) {
        for (const float x : {20.F, 100.F, 180.F}) {
            detection.ids.push_back(static_cast<int>(detection.ids.size()));
            detection.points.emplace_back(x, y);
        }
    }
    const SearchedPair pair{{640, 480}, {detection, detection}, ""};
    BoardSearch search({Pattern::chessboard, {3, 3}});
    search.add(frame("a"), pair);
    search.addFailure(frame("b"), "'bL' is not an image");
    search.add(frame("c"), pair);
    search.add(frame("d"), pair);
    search.sort();
    return search;
}

// Found with d and a, c rejected.
RigSolution makeSolution() {
    const CalibrationPair rig = makeRig();
    RigSolution solution;
    solution.model.left.imageSize = solution.model.right.imageSize = {640, 480};
    solution.model.left.cameraMatrix(0, 0) = 520.25;
    solution.model.rightFromLeftTranslation = {-3, 0, 4};
    solution.lensReason = "as asked for";
    solution.used = {2, 0};
    solution.rejected = {{1, 1.23456}};
    solution.left = {0.111, {0.1, 0.2}, 0.0125};
    solution.right = {0.333, {0.3, 0.4}, 0.0025};
    solution.pairError = 0.5;
    solution.pairViewErrors = {0.5, 0.75};
    solution.boards.assign(2, {{}, {0, 0, 1}});
    solution.viewRowDifferences = {0.6, 0.7};
    solution.rowDifferences = {0.1, 0.2, 0.35, 0.4};
    solution.rectified = {rig.left, rig.right};
    return solution;
}

const CalibrationReport report = makeReport(makeSolution(), makeSearch());

// The worst view first, with the errors of that view; two pairs are too few.
TEST(CalibrationReport, TellsAllNumbers) {
    const Json json = toJson(report);
    EXPECT_THAT(json, HoldsValues(R"({
        "verdict": "redo", "baseline": 5,
        "left": {"focalLength": 520.25, "focalLengthUncertainty": 0.0125},
        "right": {"reprojectionError": 0.333},
        "rowDifference": {"mean": 0.1, "median": 0.2, "p95": 0.35, "maximum": 0.4},
        "coverage": {"left": {"share": 0.1875}}})"));
    EXPECT_THAT(json["criteria"][0], HoldsValues(R"({"value": 2, "grade": "redo"})"));
    EXPECT_EQ(json["coverage"]["left"]["counts"].size(), 6U);
    EXPECT_EQ(json["coverage"]["left"]["counts"][0], Json({2, 2, 2, 0, 0, 0, 0, 0}));
    EXPECT_THAT(json["views"][0], HoldsValues(R"({
        "left": "photos/aL.png", "right": "photos/aR.png", "pairError": 0.75,
        "leftError": 0.2, "rightError": 0.4, "meanRowDifference": 0.7})"));
    EXPECT_EQ(json["leftOut"][0]["reason"], "'bL' is not an image");
    EXPECT_EQ(json["leftOut"][1]["left"], "photos/cL.png");
    for (const char* part : {("    pair    left   right    rows\n"
                              "   0.750   0.200   0.400   0.700  aL.png  aR.png\n"
                              "   0.500   0.100   0.300   0.600  dL.png  dR.png\n"),
                             "  cL.png  cR.png: pair error 1.235 pixels is above the limit\n",
                             "left camera   0.111 pixels; focal length 520.2 pixels (+-1.25 %)",
                             "Lenses: pinhole (as asked for)\n",
                             "mean 0.100, 95 % up to 0.350, largest 0.400 pixels\n", "Baseline: 5 ",
                             "left image: 19 % of 8x6 cells", "Verdict: redo\n"})
        EXPECT_THAT(toText(report), HasSubstr(part));
}

// A fault may be the reason for numbers that are not good, and those that are good need none.
TEST(CalibrationReport, AdvisesOnWhatIsToBeDone) {
    CalibrationReport faulty = report;
    EXPECT_THAT(toText(faulty), HasSubstr("What to do: take more pairs."));
    EXPECT_THAT(toText(faulty), Not(HasSubstr("look at the views with the largest")));
    faulty.verdict.faults = {{"one camera is upside down", "turn it"}};
    EXPECT_THAT(toText(faulty), HasSubstr("upside down.\n          What to do: turn it.\n"));
    EXPECT_THAT(toText(faulty), Not(HasSubstr("take more pairs")));
}

TEST(CalibrationReport, DoesNotListHundreds) {
    CalibrationReport many = report;
    many.skipped.resize(20, many.skipped.back());
    many.alike.assign(7, {"eL.png", "eR.png"});
    EXPECT_THAT(
        toText(many),
        HasSubstr(
            "limit\n  7 more that show the board, in views that differ less than the 3 above"));
    many.skipped.resize(350, many.skipped.back());
    EXPECT_THAT(toText(many), HasSubstr("limit\n  330 more that the JSON report lists\n  7 more"));
    EXPECT_EQ(toJson(many)["leftOut"].size(), 350U);
    EXPECT_EQ(toJson(many)["leftOutAlike"].size(), 7U);
    EXPECT_EQ(toJson(many)["leftOutAlike"][6]["right"], "eR.png");
}

TEST(CalibrationReport, PicturesShowBothCameras) {
    const cv::Mat coverage = drawCoverage(report);
    EXPECT_EQ(coverage.size(), cv::Size(640 + 16 + 640, 480 + 70));  // and the colour bar
    // Cells without a point are dark, those with one are not.
    EXPECT_EQ(coverage.at<cv::Vec3b>(475, 635), cv::Vec3b(48, 48, 48));
    EXPECT_NE(coverage.at<cv::Vec3b>(3, 3), cv::Vec3b(48, 48, 48));
    EXPECT_EQ(coverage.at<cv::Vec3b>(3, 656 + 3), coverage.at<cv::Vec3b>(3, 3));

    const CalibrationPair rig = makeRig();
    const cv::Mat left = makeNoise({640, 480}, CV_8UC1, 3), right = ~left;
    OpenStereo stereo(rig);
    const StereoImages rectified = rectifyPair({rig.left, rig.right}, {left, right});
    EXPECT_THAT(rectified.left, IsSameMatrix(stereo.rectifyImageLeft(left)));
    EXPECT_THAT(rectified.right, IsSameMatrix(stereo.rectifyImageRight(right)));
}

TEST(RigReport, TellsTheGeometry) {
    RigGeometry geometry;
    geometry.left = {{640, 480}, {500, 501}, {3, -4}, {65.25, 51.5, 77.5}};
    geometry.right = {{641, 481}, {502, 503}, {5, 6}, {64, 50, 76}};
    geometry.baseline = 0.123456;
    geometry.rectifiedFocal = 499;
    geometry.rectifiedFieldOfView = {60, 45, 70};
    geometry.disparity = {-7.5, 60};
    geometry.depthSteps = {{0.5, 120, 0.00026}, {20, 3, 0.41}};
    for (const char* part :
         {"500.0 x 501.0     502.0 x 503.0\n", "baseline 0.1235 m, rectified focal",
          "infinitely far away -7.5 pixels\n", "0.5        120.0          0.00026\n"})
        EXPECT_THAT(toText(geometry, "m"), HasSubstr(part));
    EXPECT_THAT(toJson(geometry), HoldsValues(R"({
        "left": {"size": [640, 480], "focalLength": [500, 501], "principalPointOffset": [3, -4],
                 "fieldOfViewDegrees": {"horizontal": 65.25, "vertical": 51.5, "diagonal": 77.5}},
        "right": {"focalLength": [502, 503]},
        "baseline": 0.123456, "rectifiedFocalLength": 499,
        "rectifiedFieldOfViewDegrees": {"vertical": 45}, "disparityAtInfinity": -7.5,
        "depths": [{"depth": 0.5, "disparity": 120, "resolution": 0.00026},
                   {"depth": 20, "disparity": 3, "resolution": 0.41}]})"));
}

RigCheck makeCheck() {
    constexpr float none = std::numeric_limits<float>::quiet_NaN();
    RigCheck check;
    check.reason = "it is askew";
    check.advice = "do it again";
    check.matches = 200;
    check.consistent = 150;
    check.rowDifferences = {2, 1.25, 3.5, 9};
    check.signedMedian = -1.25;
    check.turn = {{0.126, 0.01}, {-0.5, 0.0625}, {0.3, 0.004}};
    check.turnLimit = 0.25;
    check.depthError = {-3.6, 0.815, 0.068};
    check.behindShare = 0.02;
    check.regionMedians = (cv::Mat_<float>(3, 3) << -1.5F, none, 2, 3, 4, 5, 6, 7, 8.25F);
    check.regionsJudged = 8;
    check.fineMedians = cv::Mat(6, 8, CV_32FC1, cv::Scalar(none));
    check.fineMedians.at<float>(0, 0) = -2;
    return check;
}

TEST(CheckReport, TellsTheAnswerAndTheNumbers) {
    for (const char* part : {"150 of 200 matches", "median 1.250, 95 % up to 3.500 pixels\n",
                             "8 of 9 judged:\n    -1.50        -     2.00\n     3.00     4.00",
                             "Verdict: not calibrated: it is askew.\n",
                             "about y, + is to the right     -0.500 +-0.062\n",
                             "about y makes disparities 3.60 pixels too small, depths 6.8 % too "
                             "large at 0.815 m (the median).\n",
                             "What to do: do it again.\n"})
        EXPECT_THAT(toText(makeCheck(), "m"), HasSubstr(part));
    RigCheck check = makeCheck();
    check.depthError.depth = -1;
    EXPECT_THAT(toText(check, ""), HasSubstr("3.60 pixels too small.\n"));
    check.turn.aboutY.uncertainty = 0.3;
    EXPECT_THAT(toText(check, ""), HasSubstr("do not determine that about y.\n"));
    check.state = RigState::swapped;
    EXPECT_THAT(toText(check, ""), Not(HasSubstr("Turn")));
    EXPECT_TRUE(toJson(check)["turn"].is_null());
    EXPECT_THAT(toJson(makeCheck()), HoldsValues(R"({
        "verdict": "not calibrated", "matches": 200, "consistentMatches": 150,
        "rowDifference": {"median": 1.25, "p95": 3.5, "signedMedian": -1.25, "regionsJudged": 8,
                          "regionMedians": [[-1.5, null, 2], [3, 4, 5], [6, 7, 8.25]]},
        "turn": {"aboutX": {"degrees": 0.126, "uncertainty": 0.01},
                 "aboutY": {"degrees": -0.5, "uncertainty": 0.0625},
                 "aboutZ": {"degrees": 0.3, "uncertainty": 0.004},
                 "aboutYLimit": 0.25, "isAboutYKnown": true, "disparityError": -3.6,
                 "medianDepth": 0.815, "depthErrorShare": 0.068},
        "shareBehindCameras": 0.02})"));
}

TEST(CheckReport, TellsTheRowsOfEachPair) {
    RigCheck check = makeCheck();
    check.rows = {{{1, 1}, -3, 0}, {{2, 2}, 1, 0}, {{3, 3}, 2, 0}, {{4, 4}, -4, 2}};
    const Json pairs = pairRowsToJson(check, {{"aL", "aR"}, {"bL", "bR"}, {"cL", "cR"}});
    EXPECT_THAT(pairs[0], HoldsValues(R"({"left": "aL", "right": "aR", "consistentMatches": 3,
        "median": 2, "signedMedian": 1})"));
    EXPECT_THAT(pairs[1], HoldsValues(R"({"left": "bL", "consistentMatches": 0})"));
    EXPECT_TRUE(pairs[1]["p95"].is_null());
    EXPECT_EQ(pairs[2]["p95"], 4);
}

TEST(CheckReport, PictureTintsWhatWasMeasured) {
    const cv::Mat image(480, 640, CV_8UC1, cv::Scalar(200));
    const cv::Mat picture = drawRowDifferences(makeCheck(), image);
    EXPECT_EQ(picture.at<cv::Vec3b>(470, 630), cv::Vec3b(200, 200, 200));
    // Half the image, half the colour of the smallest value: a dark, reddish blue.
    const auto tinted = picture.at<cv::Vec3b>(2, 2);
    EXPECT_NEAR(tinted[0], 100 + 59 / 2, 2);
    EXPECT_NEAR(tinted[1], 100 + 18 / 2, 2);
    EXPECT_NEAR(tinted[2], 100 + 48 / 2, 2);
}

}  // namespace
}  // namespace tiomipra::test
