// Calibrating rigs that are known by rendered boards and by exact or noisy corners; what the result
// is worth: coverage, grades, faults.
#include "rigs/rig_calibration.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "base/errors.hpp"
#include "rigs/board_search.hpp"
#include "rigs/calibration_verdict.hpp"
#include "support/rendered_boards.hpp"
#include "support/rigs.hpp"
#include "synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

const Board board{Pattern::chessboard, {9, 6}, 0.02, 0, "", "m"};

RigSolution calibrate(const std::vector<PairDetection>& views,
                      const RigCalibrationOptions& options = {}) {
    return calibrateRig(views, board, {640, 480}, options);
}

TEST(CalibrateRig, FindsEveryNumberOfTheRig) {
    const RigModel model = makeModel();
    const RigSolution solution = calibrate(seeBoard(model, board, 15));
    for (const auto side : {&RigModel::left, &RigModel::right}) {
        const CameraModel& actual = solution.model.*side;
        const CameraModel& expected = model.*side;
        EXPECT_LT(cv::norm(actual.cameraMatrix - expected.cameraMatrix), 0.05);
        EXPECT_NEAR(actual.lens.coefficients.at(0), expected.lens.coefficients[0], 1e-3);
        EXPECT_NEAR(actual.lens.coefficients.at(3), expected.lens.coefficients[3], 1e-4);
    }
    EXPECT_LT(cv::norm(solution.model.rightFromLeftRotation - model.rightFromLeftRotation), 1e-4);
    EXPECT_LT(cv::norm(solution.model.rightFromLeftTranslation - model.rightFromLeftTranslation),
              1e-5);
    EXPECT_NEAR(solution.baseline(), cv::norm(model.rightFromLeftTranslation), 1e-5);
    EXPECT_EQ(solution.model.unit, "m");
    EXPECT_LT(solution.pairError, 1e-3);
    EXPECT_LT(solution.rowDifferences.maximum, 0.01);
}

double meanSquare(const std::vector<double>& values) {
    return std::inner_product(values.begin(), values.end(), values.begin(), 0.) /
           static_cast<double>(values.size());
}

// Noise of 0.2 pixels along x and y is an error of 0.28; the fit takes a little of it away. Of the
// difference of two such rows the mean size is 0.8 times, the 95 % quantile twice its deviation.
void expectErrorsOfNoise(const RigSolution& solution) {
    constexpr double expected = 0.2 * M_SQRT2;
    for (const CameraFit* fit : {&solution.left, &solution.right}) {
        EXPECT_NEAR(fit->error, expected, 0.02);
        EXPECT_NEAR(meanSquare(fit->viewErrors), fit->error * fit->error, 1e-6);
    }
    EXPECT_NEAR(solution.pairError, expected, 0.02);
    EXPECT_NEAR(meanSquare(solution.pairViewErrors), solution.pairError * solution.pairError, 1e-6);
    const Spread& rows = solution.rowDifferences;
    EXPECT_NEAR(rows.mean, 0.8 * expected, 0.03);
    EXPECT_NEAR(rows.median, 0.674 * expected, 0.03);
    EXPECT_NEAR(rows.p95, 1.96 * expected, 0.08);
    EXPECT_GT(rows.maximum, 3 * expected);
    EXPECT_NEAR(std::accumulate(solution.viewRowDifferences.begin(),
                                solution.viewRowDifferences.end(), 0.) /
                    15,
                rows.mean, 1e-9);
}

TEST(CalibrateRig, ErrorsAreThoseOfTheNoise) {
    const RigModel model = makeModel();
    RigCalibrationOptions options;
    const RigSolution solution = calibrate(seeBoard(model, board, 15, 0.2), options);
    expectErrorsOfNoise(solution);
    EXPECT_GT(solution.left.focalUncertainty, 1e-4);
    EXPECT_LT(solution.left.focalUncertainty, 0.01);

    options.knownCameras = {model.left, model.right};
    const RigSolution known = calibrate(seeBoard(model, board, 15, 0.2), options);
    expectErrorsOfNoise(known);
    EXPECT_EQ(known.model.left.cameraMatrix, model.left.cameraMatrix);
    EXPECT_EQ(known.model.right.lens.coefficients, model.right.lens.coefficients);
    EXPECT_EQ(known.left.focalUncertainty, 0);
    EXPECT_LT(cv::norm(known.model.rightFromLeftTranslation - model.rightFromLeftTranslation),
              1e-3);
}

// The board of view 4 has moved between the two images.
TEST(CalibrateRig, LeavesOutViewsAboveTheLimit) {
    std::vector<PairDetection> views = seeBoard(makeModel(), board, 12, 0.05);
    views[4].right = views[7].right;
    RigCalibrationOptions options;
    options.knownCameras = {makeModel().left, makeModel().right};
    options.rejectAbove = 0.5;
    const RigSolution solution = calibrate(views, options);
    ASSERT_EQ(solution.rejected.size(), 1U);
    EXPECT_EQ(solution.rejected[0].index, 4U);
    EXPECT_GT(solution.rejected[0].error, 0.5);
    EXPECT_THAT(solution.used, testing::ElementsAre(0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11));
    EXPECT_NEAR(solution.baseline(), 0.06, 1e-3);

    options.rejectAbove = RigCalibrationOptions().rejectAbove;
    const RigSolution spoilt = calibrate(views, options);
    EXPECT_TRUE(spoilt.rejected.empty());
    EXPECT_GT(spoilt.pairError, 1);
    options.rejectAbove = 0.001;
    EXPECT_THROW(calibrate(views, options), InputError);
}

TEST(CalibrateRig, RefusesWhatDeterminesNoRig) {
    std::vector<PairDetection> oneCamera = seeBoard(makeModel(), board, 6);
    for (PairDetection& pair : oneCamera)
        pair.right = pair.left;
    EXPECT_THAT([&] { calibrate(oneCamera); },
                testing::ThrowsMessage<InputError>(HasSubstr("cameras are in the same place")));
}

struct BoardCase {
    Board board;
    double overhang;
};

class CalibrateRendered : public testing::TestWithParam<BoardCase> {};

TEST_P(CalibrateRendered, FindsTrueRig) {
    const auto& [pattern, overhang] = GetParam();
    const RenderedRig rig;
    std::vector<PairDetection> views;
    for (const RenderedPair& pair : renderViews(pattern, rig, 12, overhang)) {
        Frame frame;
        frame.read = [&pair] { return StereoImages{pair.left, pair.right}; };
        const SearchedPair found = searchPair(frame, pattern);
        EXPECT_EQ(found.largerBoard, "");
        const auto& [left, right] = found.detection;
        ASSERT_TRUE(determinePose(sharedPoints(left, right).ids, pattern));
        views.push_back(found.detection);
    }
    const RigSolution solution = calibrateRig(views, pattern, rig.imageSize, {});
    const RigModel& model = solution.model;
    for (const CameraModel* camera : {&model.left, &model.right})
        EXPECT_NEAR(camera->cameraMatrix(0, 0), rig.focalLength, 0.01 * rig.focalLength);
    EXPECT_NEAR(model.rightFromLeftTranslation[0], -rig.baseline, 0.01 * rig.baseline);
    EXPECT_LT(solution.rowDifferences.mean, 0.15);
    EXPECT_NE(judge(solution, views).grade, Grade::redo);
}

// Half a turn changes nothing on the 9x7 and the 7x7 board and on the grid of circles; a quarter
// neither on the 7x7 one.
const BoardCase boardCases[] = {{{Pattern::chessboard, {9, 7}, 0.02}, 0},
                                {{Pattern::chessboard, {7, 7}, 0.02}, 0},
                                {{Pattern::circles, {8, 6}, 0.02}, 0},
                                {{Pattern::asymmetricCircles, {4, 11}, 0.015}, 0},
                                {{Pattern::charuco, {8, 6}, 0.02, 0.015}, 0.15}};

INSTANTIATE_TEST_SUITE_P(Boards, CalibrateRendered, testing::ValuesIn(boardCases));

// In an image whose cells are 10 x 20, the first from -0.5; points outside count for the next cell.
TEST(Coverage, CountsPointsPerCell) {
    const Coverage coverage =
        measureCoverage({{-5, 5}, {9.4F, 19.4F}, {90, 5}, {39.4F, 130}}, {80, 120});
    EXPECT_EQ(coverage.counts.size(), cv::Size(8, 6));
    EXPECT_EQ(coverage.counts.at<int>(0, 0), 2);
    EXPECT_EQ(coverage.counts.at<int>(0, 7), 1);
    EXPECT_EQ(coverage.counts.at<int>(5, 3), 1);
    EXPECT_DOUBLE_EQ(coverage.share, 3. / 48);
    EXPECT_THAT(coverage.emptyRegions, testing::ElementsAre("top", "left", "centre", "right",
                                                            "bottom left", "bottom right"));
}

TEST(Criterion, GradesByItsLimits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const auto gradeOf = [](double value, double good, double usable) {
        return Criterion{"", "", value, good, usable, ""}.grade();
    };
    EXPECT_EQ(gradeOf(0.5, 0.5, 1), Grade::good);
    EXPECT_EQ(gradeOf(1, 0.5, 1), Grade::usable);
    EXPECT_EQ(gradeOf(1.1, 0.5, 1), Grade::redo);
    EXPECT_EQ(gradeOf(nan, 0.5, 1), Grade::redo);
    EXPECT_EQ(gradeOf(50, 50, 25), Grade::good);
    EXPECT_EQ(gradeOf(25, 50, 25), Grade::usable);
    EXPECT_EQ(gradeOf(24, 50, 25), Grade::redo);
}

// Found with all 15 views, each camera and all rows as good as can be.
RigSolution goodSolution() {
    const CalibrationPair rig = makeRig();
    RigSolution solution;
    solution.model = makeModel();
    solution.used.resize(15);
    solution.rectified = {rig.left, rig.right};
    return solution;
}

std::vector<PairDetection> viewsAllOver() {
    PairDetection view;
    for (int y = 40; y < 480; y += 80) {
        for (int x = 40; x < 640; x += 80)
            view.left.points.emplace_back(static_cast<float>(x), static_cast<float>(y));
    }
    view.right = view.left;
    return std::vector<PairDetection>(15, view);
}

TEST(Judge, IsAsGoodAsTheWorstCriterion) {
    const struct {
        std::function<void(RigSolution&)> change;
        std::string criterion;
        Grade grade;
        std::string advice;
    } cases[] = {
        {[](auto& s) { s.used.resize(10); }, "pairs used", Grade::good, ""},
        {[](auto& s) { s.used.resize(9); }, "pairs used", Grade::usable, "take more pairs"},
        {[](auto& s) { s.used.resize(4); }, "pairs used", Grade::redo, "take more pairs"},
        {[](auto& s) { s.pairError = 0.6; }, "pair error", Grade::usable, "look at the views"},
        {[](auto& s) { s.pairError = 1.1; }, "pair error", Grade::redo,
         "each camera alone fits the board"},
        {[](auto& s) { s.pairError = 5 * (s.left.error = 0.3); }, "pair error", Grade::redo,
         "look at the views"},
        {[](auto& s) { s.pairError = s.right.error = 1.1; }, "pair error", Grade::redo,
         "not even each camera alone fits the board"},
        {[](auto& s) { s.rowDifferences.mean = 0.7; }, "mean row difference", Grade::usable, ""},
        {[](auto& s) { s.rowDifferences.p95 = 2.1; }, "95 % of row differences", Grade::redo, ""},
        {[](auto& s) { s.right.focalUncertainty = 0.02; }, "focal length", Grade::usable, ""}};
    for (const auto& test : cases) {
        RigSolution solution = goodSolution();
        test.change(solution);
        const CalibrationVerdict verdict = judge(solution, viewsAllOver());
        EXPECT_EQ(verdict.grade, test.grade) << test.criterion;
        const auto criterion =
            std::find_if(verdict.criteria.begin(), verdict.criteria.end(),
                         [&](const Criterion& c) { return c.name.find(test.criterion) == 0; });
        ASSERT_NE(criterion, verdict.criteria.end()) << test.criterion;
        EXPECT_EQ(criterion->grade(), test.grade) << test.criterion;
        EXPECT_THAT(criterion->advice, testing::StartsWith(test.advice));
    }
}

// By the camera that saw less; views that were left out don't count.
TEST(Judge, CoverageIsThatOfTheViewsUsed) {
    RigSolution solution = goodSolution();
    auto views = viewsAllOver();
    for (std::size_t i = 1; i < views.size(); ++i)
        views[i].right.points = {{5, 5}};
    EXPECT_EQ(judge(solution, views).grade, Grade::good);
    solution.used.assign(14, 1);
    const CalibrationVerdict verdict = judge(solution, views);
    EXPECT_EQ(verdict.left.share, 1);
    EXPECT_DOUBLE_EQ(verdict.right.share, 1. / 48);
    EXPECT_EQ(verdict.grade, Grade::redo);
    EXPECT_THAT(verdict.criteria[4].advice, HasSubstr("also top of the right image, top right of"));
}

TEST(Judge, LooksAtPlacesOfCamerasWithUsableErrorsOnly) {
    RigSolution solution = goodSolution();
    std::swap(solution.rectified.left, solution.rectified.right);
    for (const double error : {0.9, 40.}) {
        solution.pairError = error;
        const CalibrationVerdict verdict = judge(solution, viewsAllOver());
        EXPECT_EQ(verdict.faults.empty(), error > 1) << error;
        EXPECT_EQ(verdict.grade, Grade::redo);
    }
}

TEST(FindFaults, NamesWhatIsWrongAndWhatToDo) {
    using Change = std::function<void(CalibrationPair&)>;
    const struct {
        Change change;
        std::string problem;
        std::string remedy;
    } cases[] = {
        {[](auto& rig) { std::swap(rig.left, rig.right); },
         "left and right are swapped: the baseline is -0.125, must be above 0", "exchange the two"},
        {[](auto& rig) { rig.right = rig.left; }, "the baseline is 0", "two different cameras"},
        {[](auto& rig) { rig.right.projectionMatrix.template at<float>(1, 3) = -50; },
         "the cameras lie above each other (offset of 0.1 along y)", "turn both cameras"},
        {[](auto& rig) { rig.left.projectionMatrix.template at<float>(0, 3) = 5; },
         "left projectionMatrix has an offset of 5 at row 0, column 3", "calibrate"},
        {[](auto& rig) { rig.right.projectionMatrix.template at<float>(1, 2) += 1; },
         "differ in the principal point along y (left 236.5, right 237.5)", "take both files"},
        {[](auto& rig) { rig.right.projectionMatrix.template at<float>(1, 1) += 1; },
         "differ in the vertical focal length (left 500, right 501)", "take both files"},
        {[](auto& rig) { rig.left.cameraMatrix.template at<float>(1, 1) = -1; },
         "left cameraMatrix has a focal length of -1, must be above 0", "calibrate"},
        {[](auto& rig) { rig.right.rectificationMatrix *= 2; },
         "right rectificationMatrix is not a rotation", "calibrate"},
        {[](auto& rig) { rig.left.distortion.template at<float>(3) = std::nanf(""); },
         "left distortion is not finite at row 0, column 3", "calibrate"},
        {[](auto& rig) { rig.left.distortion = cv::Mat::zeros(1, 6, CV_32F); },
         "left distortion is 1x6 CV_32FC1, must be empty or a vector of 4", "restore the file"},
        {[](auto& rig) { rig.right.cameraMatrix.convertTo(rig.right.cameraMatrix, CV_64F); },
         "right cameraMatrix is 3x3 CV_64FC1, must be 3x3 CV_32FC1", "convert the matrix"},
        {[](auto& rig) { rig.left.projectionMatrix = cv::Mat(); },
         "left projectionMatrix is empty, must be 3x4 CV_32FC1", "restore the file"},
        {[](auto& rig) { rig.left.rectificationMatrix = cv::Mat::eye(2, 2, CV_32F); },
         "left rectificationMatrix is 2x2 CV_32FC1, must be 3x3 CV_32FC1 or", "restore the file"},
        {[](auto& rig) { rig.left.height = -3; }, "left image size is 640x-3", "restore the file"},
        {[](auto& rig) { rig.right.width = 320; },
         "the image sizes differ (left 640x480, right 320x480)", "take both files"}};
    for (const auto& [change, problem, remedy] : cases) {
        CalibrationPair rig = makeRig();
        ASSERT_TRUE(findFaults(rig.left, rig.right).empty());
        change(rig);
        const std::vector<Fault> faults = findFaults(rig.left, rig.right);
        ASSERT_FALSE(faults.empty()) << problem;
        EXPECT_THAT(faults.front().problem, HasSubstr(problem));
        EXPECT_THAT(faults.front().remedy, HasSubstr(remedy)) << problem;
        EXPECT_EQ(faults.front().isSwap, problem.find("swapped") != std::string::npos);
    }
}

}  // namespace
}  // namespace tiomipra::test
