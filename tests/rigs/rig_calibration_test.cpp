// Calibrating rigs that are known by rendered boards and by exact or noisy corners; what the result
// is worth: coverage, grades, faults.
#include "rigs/rig_calibration.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/errors.hpp"
#include "rigs/board_search.hpp"
#include "rigs/bundle_adjustment.hpp"
#include "rigs/calibration_verdict.hpp"
#include "rigs/fisheye_rays.hpp"
#include "rigs/rig_model_files.hpp"
#include "rigs/row_differences.hpp"
#include "support/rigs.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

const Board board{Pattern::chessboard, {9, 6}, 0.02, 0, "", "m"};

RigSolution calibrate(const std::vector<PairDetection>& views,
                      const RigCalibrationOptions& options = {}) {
    return calibrateRig(views, board, {640, 480}, options);
}

// Corners are rounded to the precision of floats.
TEST(CalibrateRig, FindsTheRigThatSeesTheCorners) {
    const RigModel truth = makeModel();
    const RigSolution solution = calibrate(seeBoard(truth, board, 12));
    for (const auto side : {&RigModel::left, &RigModel::right}) {
        const CameraModel &found = solution.model.*side, &expected = truth.*side;
        EXPECT_LT(cv::norm(found.cameraMatrix - expected.cameraMatrix), 0.01);
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(found.lens.coefficients.at(i), expected.lens.coefficients[i], 1e-3);
    }
    EXPECT_LT(cv::norm(solution.model.rightFromLeftRotation - truth.rightFromLeftRotation), 1e-5);
    EXPECT_LT(cv::norm(solution.model.rightFromLeftTranslation - truth.rightFromLeftTranslation),
              1e-6);
    EXPECT_LT(solution.left.error + solution.right.error + solution.pairError, 1e-3);
}

// The same minimum as OpenCV's, which takes the variance of what is left per point, not per
// coordinate. With nine views the one focal length is less certain, with four the other.
TEST(Adjust, CamerasAndTheirUncertaintiesAreAsForOpenCv) {
    for (const int count : {9, 4}) {
        const auto views = seeBoard(makeModel(), board, count, 0.2);
        const std::vector boards(views.size(), boardPoints(board));
        std::vector<std::vector<cv::Point2f>> images;
        for (const PairDetection& view : views)
            images.push_back(view.left.points);
        cv::Mat matrix, lens, deviations;
        std::vector<cv::Mat> turns, shifts;
        const double error = cv::calibrateCamera(boards, images, {640, 480}, matrix, lens, turns,
                                                 shifts, deviations, cv::noArray(), cv::noArray());
        EXPECT_NEAR(calibrate(views).left.error, error, 1e-6);
        Bundle bundle{{{{640, 480}, matrix, {LensKind::radialTangential, lens}}}, {}, {}};
        Sightings sightings(1);
        for (std::size_t i = 0; i < images.size(); ++i) {
            bundle.boards.push_back({cv::Vec3d(turns[i]), cv::Vec3d(shifts[i])});
            sightings[0].push_back(
                {{boards[i].begin(), boards[i].end()}, {images[i].begin(), images[i].end()}});
        }
        const BundleFit fit = adjust(bundle, sightings, Adjusted::camerasAndPoses, {});
        const double points = 54. * count;
        const double unknowns = 9 + 6. * count;
        const double perCoordinate = std::sqrt((points - unknowns) / (2 * points - unknowns));
        const double along[] = {deviations.at<double>(0) / matrix.at<double>(0, 0),
                                deviations.at<double>(1) / matrix.at<double>(1, 1)};
        EXPECT_EQ(along[0] < along[1], count == 4);
        EXPECT_NEAR(fit.focalUncertainties.at(0), perCoordinate * std::max(along[0], along[1]),
                    1e-6);
    }
}

double meanSquare(const std::vector<double>& values) {
    return std::inner_product(values.begin(), values.end(), values.begin(), 0.) /
           static_cast<double>(values.size());
}

// Noise of 0.2 pixels along x and y is an error of 0.28; the fit takes a little of it away. The
// difference of two such rows has this deviation, and 0.8 times of it as its mean size.
TEST(CalibrateRig, ErrorsOfKnownCamerasAreThoseOfTheNoise) {
    const RigModel model = makeModel();
    RigCalibrationOptions options;
    options.knownCameras = {model.left, model.right};
    const RigSolution solution = calibrate(seeBoard(model, board, 15, 0.2), options);
    EXPECT_LT(cv::norm(solution.model.rightFromLeftTranslation - model.rightFromLeftTranslation),
              1e-3);
    constexpr double expected = 0.2 * M_SQRT2;
    for (const CameraFit* fit : {&solution.left, &solution.right}) {
        EXPECT_NEAR(fit->error, expected, 0.02);
        EXPECT_NEAR(meanSquare(fit->viewErrors), fit->error * fit->error, 1e-6);
        EXPECT_EQ(fit->focalUncertainty, 0);
    }
    EXPECT_NEAR(solution.pairError, expected, 0.02);
    EXPECT_NEAR(meanSquare(solution.pairViewErrors), solution.pairError * solution.pairError, 1e-6);
    EXPECT_NEAR(solution.rowDifferences.mean, 0.8 * expected, 0.03);
    const auto& ofViews = solution.viewRowDifferences;
    EXPECT_NEAR(std::accumulate(ofViews.begin(), ofViews.end(), 0.) / 15,
                solution.rowDifferences.mean, 1e-9);
}

// The first guess is far off, boards are first taken to be tilted the other way, and the way is
// long.
TEST(CalibrateRig, ReachesWideLenses) {
    const std::pair<double, double> cases[] = {{-0.28, 0.9}, {-0.31, 0.9}, {-0.31, 0.5}};
    for (const auto& [bend, reach] : cases) {
        RigModel model = makeModel();
        for (CameraModel* camera : {&model.left, &model.right}) {
            camera->imageSize = {752, 480};
            camera->cameraMatrix(0, 0) = camera->cameraMatrix(1, 1) = 366;
            camera->cameraMatrix(0, 2) += 50;
            camera->lens.coefficients = {bend, 0.07, 0.0005, -0.0003, 0};
        }
        const auto views = seeBoard(model, board, 18, 0.1, {0.3, reach});
        const RigSolution solution = calibrateRig(views, board, model.left.imageSize, {});
        EXPECT_NEAR(solution.model.left.cameraMatrix(0, 0), 366, 3) << bend << reach;
        for (const double error : {solution.left.error, solution.right.error, solution.pairError})
            EXPECT_NEAR(error, 0.1 * M_SQRT2, 0.01) << bend << reach;
        EXPECT_NEAR(solution.rowDifferences.mean, 0.8 * 0.1 * M_SQRT2, 0.04) << bend << reach;
    }
}

RigModel wideAngleModel(double degrees) {
    RigModel model = makeModel();
    for (CameraModel* camera : {&model.left, &model.right}) {
        camera->cameraMatrix(0, 0) = camera->cameraMatrix(1, 1) = 640 / toRadians(degrees);
        camera->lens = {LensKind::fisheye, {-0.012, 0.021, -0.013, 0.002}};
    }
    return model;
}

// Boards all over the image of such lenses.
std::vector<PairDetection> seeBoardAround(const RigModel& model, double degrees) {
    return seeBoard(model, board, 24, 0.1, {0.3, 0.1, 2, toRadians(0.4 * degrees)});
}

// By how much the cameras image the same rays at other pixels, where the boards were.
double pixelsApart(const CameraModel& found, const CameraModel& expected) {
    std::vector<cv::Point2d> pixels, rays, again;
    for (int i = 0; i < 100; ++i)
        pixels.emplace_back(320 + 2.5 * i * std::cos(i), 240 + 2.5 * i * std::sin(i));
    cv::fisheye::undistortPoints(pixels, rays, expected.cameraMatrix, expected.lens.coefficients);
    PointScene scene;
    for (const cv::Point2d& ray : rays)
        scene.emplace_back(ray.x, ray.y, 1);
    cv::fisheye::projectPoints(scene, again, cv::Vec3d(), cv::Vec3d(), found.cameraMatrix,
                               found.lens.coefficients);
    return cv::norm(pixels, again, cv::NORM_L2) / std::sqrt(100);
}

TEST(CalibrateRig, FindsWideAngleLensesByItself) {
    for (const double degrees : {130., 145., 160.}) {
        const RigModel model = wideAngleModel(degrees);
        const RigSolution solution = calibrate(seeBoardAround(model, degrees));
        SCOPED_TRACE(testing::Message() << degrees << ": " << solution.lensReason);
        const RigModel& found = solution.model;
        ASSERT_EQ(lensOf(found.left), Lens::fisheye);
        EXPECT_LT(pixelsApart(found.left, model.left), 0.3);
        EXPECT_LT(pixelsApart(found.right, model.right), 0.3);
        EXPECT_NEAR(solution.pairError, 0.1 * M_SQRT2, 0.01);
        EXPECT_LT(cv::norm(found.rightFromLeftTranslation - model.rightFromLeftTranslation), 2e-4);
        EXPECT_NEAR(fieldOfViewOf(found.left).horizontal, fieldOfViewOf(model.left).horizontal, 1);
        EXPECT_LT(solution.pinholes.value().residual, 0.1);
        EXPECT_LT(solution.rowDifferences.p95, 0.5);
        EXPECT_NE(judge(solution, seeBoardAround(model, degrees)).grade, Grade::redo);
    }
    RigCalibrationOptions options;
    options.wideAngle = {150, 1e-6};
    EXPECT_EQ(lensOf(calibrate(seeBoardAround(wideAngleModel(160), 160), options).model.left),
              Lens::pinhole);
    options.lens = Lens::fisheye;
    EXPECT_THAT([&] { calibrate(seeBoardAround(wideAngleModel(160), 160), options); },
                testing::ThrowsMessage<InputError>(HasSubstr("at most 0.000001 (max-residual)")));
}

// As in images that are turned clockwise by 90 degrees.
void turn(std::vector<PairDetection>& views, int height) {
    for (PairDetection& view : views) {
        for (Detection* camera : {&view.left, &view.right}) {
            for (cv::Point2f& point : camera->points)
                point = {static_cast<float>(height - 1) - point.y, point.x};
        }
    }
}

// Rectified they share columns, for which they are to be turned; then rows.
TEST(CalibrateRig, FindsWideAngleLensesAboveEachOther) {
    RigModel model = wideAngleModel(140);
    model.rightFromLeftTranslation = {0.001, 0.06, 0.002};
    std::vector<PairDetection> views = seeBoardAround(model, 140);
    RigCalibrationOptions options;
    options.lens = Lens::fisheye;
    const RigSolution upright = calibrate(views, options);
    EXPECT_LT(cv::norm(upright.model.rightFromLeftTranslation - model.rightFromLeftTranslation),
              2e-4);
    EXPECT_THAT(judge(upright, views).faults.at(0).remedy, HasSubstr("turn the images of both"));
    const PointScene scene = makeScene(model, 200);
    const Matches seen = see(model, scene);
    const auto left = rectifyPoints(seen.left, upright.rectified.left);
    const auto right = rectifyPoints(seen.right, upright.rectified.right);
    const cv::Rect2d image(0, 0, 640, 480);
    for (std::size_t i = 0; i < scene.size(); ++i) {
        if (image.contains(left[i]) && image.contains(right[i])) {
            EXPECT_NEAR(left[i].x, right[i].x, 0.3) << left[i];
        }
    }

    turn(views, 480);
    const RigSolution turned = calibrateRig(views, board, {480, 640}, {});
    EXPECT_EQ(lensOf(turned.model.left), Lens::fisheye) << turned.lensReason;
    EXPECT_NEAR(turned.baseline(), upright.baseline(), 2e-4);
    EXPECT_LT(turned.rowDifferences.p95, 0.5);
    EXPECT_NE(judge(turned, views).grade, Grade::redo);
}

// The last lens bends as one of 140 degrees does, and is not mounted straight.
TEST(CalibrateRig, TakesTheLensThatTheViewsAskFor) {
    RigModel tilted = wideAngleModel(140);
    for (CameraModel* camera : {&tilted.left, &tilted.right})
        camera->lens = {LensKind::radialTangential,
                        {0.6, 0.007, 0.004, -0.006, -0.0016, 0.94, 0.114, -0.0066}};
    const std::pair<Lens, std::vector<PairDetection>> cases[] = {
        {Lens::pinhole, seeBoard(makeModel(), board, 12, 0.2)},
        {Lens::fisheye, seeBoardAround(wideAngleModel(140), 140)},
        {Lens::rational, seeBoardAround(tilted, 140)}};
    for (const auto& [lens, views] : cases) {
        const RigSolution solution = calibrate(views);
        RigCalibrationOptions options;
        options.lens = lens;
        EXPECT_EQ(encodeRigModel(solution.model), encodeRigModel(calibrate(views, options).model))
            << nameOf(lens) << solution.lensReason;
        EXPECT_THAT(solution.lensReason, HasSubstr("along the radius"));
        EXPECT_EQ(lensOf(solution.model.right), lens);
    }
}

// The last point lies behind the camera, where OpenCV's function sees none.
TEST(Project, SeesWhatOpenCvSeesAndBeyond) {
    const CameraModel camera = wideAngleModel(150).left;
    const Pose pose{{0.3, -0.2, 0.1}, {0.05, -0.02, 0.1}};
    const std::vector<cv::Point3d> points{
        {0.1, 0.2, 0.3}, {-0.5, 0.1, 0}, {0, 0, 0.1}, {1, 0.5, -0.6}};
    cv::Mat derivatives;
    const auto found = project(camera, pose, points, &derivatives);
    std::vector<cv::Point2d> expected;
    cv::fisheye::projectPoints(points, expected, pose.turn, pose.shift, camera.cameraMatrix,
                               camera.lens.coefficients);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_LT(cv::norm(found[i] - expected[i]), 1e-9) << i;
    const cv::Vec3d behind = rotationOf(pose) * cv::Vec3d(points[3]) + pose.shift;
    ASSERT_LT(behind[2], 0);
    EXPECT_LT(cv::norm(rayOf(camera, found[3]) - cv::normalize(behind)), 1e-9);

    constexpr double step = 1e-6;
    for (int column = 0; column < derivatives.cols; ++column) {
        CameraModel moved = camera;
        Pose turned = pose;
        double* const numbers[] = {&turned.turn[0],           &turned.turn[1],
                                   &turned.turn[2],           &turned.shift[0],
                                   &turned.shift[1],          &turned.shift[2],
                                   &moved.cameraMatrix(0, 0), &moved.cameraMatrix(1, 1),
                                   &moved.cameraMatrix(0, 2), &moved.cameraMatrix(1, 2)};
        (column < 10 ? *numbers[column] : moved.lens.coefficients.at(column - 10)) += step;
        const cv::Mat difference = cv::Mat(project(moved, turned, points)) - cv::Mat(found);
        EXPECT_LT(
            cv::norm(difference.reshape(1, derivatives.rows) / step - derivatives.col(column)),
            0.05)
            << column;
    }
}

// The board of view 4 has moved between the two images.
TEST(CalibrateRig, LeavesOutViewsAboveTheLimit) {
    std::vector<PairDetection> views = seeBoard(makeModel(), board, 8, 0.05);
    views[4].right = views[7].right;
    RigCalibrationOptions options;
    options.rejectAbove = 0.5;
    const RigSolution solution = calibrate(views, options);
    EXPECT_THAT(solution.used, testing::ElementsAre(0, 1, 2, 3, 5, 6, 7));
    EXPECT_EQ(solution.rejected.at(0).index, 4U);
    EXPECT_GT(solution.rejected[0].error, 0.5);
    EXPECT_NEAR(solution.baseline(), 0.06, 1e-3);
    options.knownCameras = {makeModel().left, makeModel().right};
    options.rejectAbove = 0.001;
    EXPECT_THROW(calibrate(views, options), InputError);
}

TEST(CalibrateRig, IsWatchedAndEndedByItsCaller) {
    const auto views = seeBoard(makeModel(), board, 6, 0.1);
    RigCalibrationOptions options;
    std::vector<double> errors;
    options.onStep = [&](double error) { errors.push_back(error); };
    const RigSolution solution = calibrate(views, options);
    EXPECT_NEAR(errors.back(), solution.pairError, 1e-6);
    options.onStep = [](double) { throw std::out_of_range("the caller has enough"); };
    EXPECT_THROW(calibrate(views, options), std::out_of_range);
}

TEST(CalibrateRig, RefusesWhatDeterminesNoRig) {
    std::vector<PairDetection> oneCamera = seeBoard(makeModel(), board, 6);
    for (PairDetection& pair : oneCamera)
        pair.right = pair.left;
    EXPECT_THAT([&] { calibrate(oneCamera); },
                testing::ThrowsMessage<InputError>(HasSubstr("cameras are in the same place")));
}

// Squares from 5 pixels on. With windows of 2 pixels the error is 0.113; those of 4 reach beyond
// the next corners, which makes it 0.49.
TEST(DetectBoard, FindsCornersOfSmallSquares) {
    const RigModel rig = makePinholeModel({268, 201}, 252);
    RigCalibrationOptions options;
    options.knownCameras = {rig.left, rig.right};
    std::vector<PairDetection> views;
    for (const StereoImages& pair : renderBoard(rig, board, 14, {0.45, 0.2, 2.5}))
        views.push_back({detectBoard(pair.left, board), detectBoard(pair.right, board)});
    EXPECT_LT(calibrateRig(views, board, rig.left.imageSize, options).pairError, 0.1);
}

// As printed. Half a turn changes nothing on the 9x7 and the 7x7 board and on the grid of circles;
// a quarter neither on the 7x7 one. One reaches beyond the images' edges.
TEST(CalibrateRig, FindsRenderedRigsWithBoardsOfAllPatterns) {
    const struct {
        Board board;
        double reach = 0;
    } cases[] = {{{Pattern::chessboard, {9, 7}, 0.02, 0, "", "m"}, 0.2},
                 {{Pattern::chessboard, {7, 7}, 0.02, 0, "", "m"}, 0.2},
                 {{Pattern::circles, {8, 6}, 0.02, 0, "", "m"}, 0.2},
                 {{Pattern::asymmetricCircles, {4, 11}, 0.015, 0, "", "m"}, 0.2},
                 {{Pattern::charuco, {8, 6}, 0.02, 0.015, "5x5_250", "m"}, 0.35}};
    const RigModel rig = makePinholeModel({640, 480}, 600);
    for (const auto& [pattern, reach] : cases) {
        SCOPED_TRACE(testing::Message() << nameOf(pattern.pattern) << pattern.corners);
        std::vector<PairDetection> views;
        for (const StereoImages& pair : renderBoard(rig, pattern, 12, {0.45, reach, 2.5})) {
            const SearchedPair found = searchPair({}, pair, pattern);
            EXPECT_EQ(found.largerBoard, "");
            const auto& [left, right] = found.detection;
            if (determinePose(sharedPoints(left, right).ids, pattern))
                views.push_back(found.detection);
        }
        EXPECT_GE(views.size(), 11U) << "OpenCV misses one of the asymmetric grids";
        const RigSolution solution = calibrateRig(views, pattern, rig.left.imageSize, {});
        const RigModel& model = solution.model;
        for (const CameraModel* camera : {&model.left, &model.right})
            EXPECT_NEAR(camera->cameraMatrix(0, 0), 600, 6);
        EXPECT_NEAR(model.rightFromLeftTranslation[0], -0.06, 0.0006);
        EXPECT_LT(solution.rowDifferences.mean, 0.15);
        EXPECT_NE(judge(solution, views).grade, Grade::redo);
    }
}

// Found with all 15 views, each camera and all rows as good as can be, the boards tilted by turns.
RigSolution goodSolution() {
    const CalibrationPair rig = makeRig();
    RigSolution solution;
    solution.model = makeModel();
    solution.used.resize(15);
    std::iota(solution.used.begin(), solution.used.end(), std::size_t{0});
    for (const std::size_t i : solution.used)
        solution.boards.push_back({{0, i % 2 == 0 ? 0.3 : -0.3, 0}, {}});
    solution.left.focalUncertainty = 1e-3;
    solution.rectified = {rig.left, rig.right};
    return solution;
}

// Which of the 8x6 cells of 80 pixels, in the order of rows, show a corner in each view.
using Cells = std::function<bool(int)>;

std::vector<cv::Point2f> cellCentres(const Cells& isSeen) {
    std::vector<cv::Point2f> points;
    for (int i = 0; i < 48; ++i) {
        if (isSeen(i))
            points.emplace_back(80 * (i % 8) + 40, 80 * (i / 8) + 40);
    }
    return points;
}

const Cells everywhere = [](int) { return true; };

std::vector<PairDetection> viewsOf(const Cells& left = everywhere,
                                   const Cells& right = everywhere) {
    return std::vector<PairDetection>(15, {{{}, cellCentres(left)}, {{}, cellCentres(right)}});
}

const Criterion& criterionOf(const CalibrationVerdict& verdict, const std::string& name) {
    return *std::find_if(verdict.criteria.begin(), verdict.criteria.end(),
                         [&](const Criterion& criterion) { return criterion.name == name; });
}

// Where it is usable, no other criterion decides.
TEST(Judge, IsAsGoodAsTheWorstCriterion) {
    const struct {
        std::string criterion;
        std::function<void(RigSolution&)> worsen;
        double value;
        std::string advice;
    } cases[] = {
        {"pairs used", [](auto& s) { s.used.resize(7); }, 7, "take more pairs"},
        {"pair error", [](auto& s) { s.pairError = 0.75; }, 0.75, "leave them out"},
        {"mean row difference", [](auto& s) { s.rowDifferences.mean = 0.5; }, 0.5,
         "leave them out"},
        {"95 % of row differences within", [](auto& s) { s.rowDifferences.p95 = 1.5; }, 1.5,
         "leave them out"},
        {"focal length uncertain by", [](auto& s) { s.right.focalUncertainty = 0.02; }, 2, "tilt"},
        {"mean angle between boards",
         [](auto& s) {
             for (std::size_t i = 0; i < 15; ++i)
                 s.boards[i].turn = {i == 0 ? 7.5 * 7.5 * CV_PI / 180 : 0, 0, 0};
         },
         7.5, "tilt the board by 20 to 40 degrees"}};
    for (const auto& [name, worsen, value, advice] : cases) {
        RigSolution solution = goodSolution();
        worsen(solution);
        const CalibrationVerdict verdict = judge(solution, viewsOf());
        EXPECT_EQ(verdict.grade, Grade::usable) << name;
        EXPECT_NEAR(criterionOf(verdict, name).value, value, 1e-9) << name;
        EXPECT_EQ(criterionOf(verdict, name).grade(), Grade::usable) << name;
        EXPECT_THAT(criterionOf(verdict, name).advice, HasSubstr(advice));
    }
}

// By the camera that saw less, each in turn; of nine regions each is 2.7 cells wide and 2 high.
TEST(Judge, CoverageIsThatOfTheWorseCamera) {
    const struct {
        Cells isSeen;
        double share;  // %
        std::vector<std::string> empty;
        Grade grade;
    } cases[] = {
        {[](int i) { return i % 2 == i / 8 % 2; }, 50, {}, Grade::good},
        {[](int i) { return i % 2 == i / 8 % 2 && i != 0; }, 2300. / 48, {}, Grade::usable},
        {[](int i) { return i >= 16 || i % 8 < 5; }, 87.5, {"top right"}, Grade::usable},
        {[](int i) { return i < 16; },
         100. / 3,
         {"left", "centre", "right", "bottom left", "bottom", "bottom right"},
         Grade::redo},
        {[](int i) { return i % 5 == 0 && i < 45; }, 18.75, {"top", "bottom right"}, Grade::redo}};
    for (const auto& [isSeen, share, empty, grade] : cases) {
        for (const std::string side : {"left", "right"}) {
            const auto views = side == "left" ? viewsOf(isSeen) : viewsOf(everywhere, isSeen);
            const CalibrationVerdict verdict = judge(goodSolution(), views);
            const Criterion& regions = criterionOf(verdict, "regions with corners, of nine");
            EXPECT_DOUBLE_EQ(criterionOf(verdict, "image covered by corners").value, share);
            EXPECT_EQ(regions.value, 9 - static_cast<double>(empty.size()));
            EXPECT_EQ(verdict.grade, grade) << share;
            for (const std::string& region : empty)
                EXPECT_THAT(regions.advice, HasSubstr(" " + region + " of the " + side + " image"));
        }
    }
}

TEST(Judge, NamesWhatMayBeBehindErrors) {
    const struct {
        std::function<void(RigSolution&)> change;
        std::string cause;
    } cases[] = {{[](auto&) {}, "look at the views with the largest errors"},
                 {[](auto& s) { s.pairError = 5 * (s.left.error = 0.3); }, "look at the views"},
                 {[](auto& s) { s.pairError = 1.1; }, "each camera alone fits the board: are the"},
                 {[](auto& s) { s.pairError = s.right.error = 0.6; }, "not even each camera alone"},
                 {[](auto& s) { s.rectified.left.cameraMatrix.template at<float>(0, 0) = 200; },
                  "lenses as wide as these"},
                 {[](auto& s) { s.left.focalUncertainty = 0.04; }, "first tilt the board"}};
    for (const auto& [change, cause] : cases) {
        RigSolution solution = goodSolution();
        change(solution);
        EXPECT_THAT(criterionOf(judge(solution, viewsOf()), "pair error").advice,
                    testing::StartsWith(cause));
    }
}

TEST(Judge, LooksAtViewsUsedAndAtPlacesOfCamerasWithUsableErrors) {
    RigSolution solution = goodSolution();
    auto views = viewsOf();
    views[1].right.points = {{5, 5}};
    EXPECT_EQ(judge(solution, views).grade, Grade::good);
    solution.used = {1, 1};
    EXPECT_DOUBLE_EQ(judge(solution, views).right.share, 1. / 48);
    for (const double error : {0.9, 40., std::nan("")}) {
        solution = goodSolution();
        std::swap(solution.rectified.left, solution.rectified.right);
        solution.pairError = error;
        const CalibrationVerdict verdict = judge(solution, viewsOf());
        EXPECT_EQ(verdict.faults.size(), error < 1 ? 1U : 0U) << error;
        EXPECT_EQ(verdict.grade, Grade::redo) << error;
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
         "the cameras lie above each other (offset of 0.1 along y)", "turn the images of both"},
        {[](auto& rig) { rig.left.projectionMatrix.template at<float>(0, 3) = 5; },
         "left projectionMatrix has an offset of 5 at row 0, column 3", "calibrate"},
        {[](auto& rig) { rig.right.projectionMatrix.template at<float>(1, 2) += 1; },
         "differ in the principal point along y (left 236.5, right 237.5)", "take both files"},
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
        {[](auto& rig) { rig.left.height = -3; }, "left image size is 640x-3", "restore the file"},
        {[](auto& rig) { rig.right.projectionMatrix.template at<float>(0, 3) = -5e-28F; },
         "the baseline is 1e-30, must be from 1e-09 to 1e+09", "calibrate"},
        {[](auto& rig) { rig.left.cameraMatrix = cv::Mat::ones(3, 3, CV_32F); },
         "left cameraMatrix, rectificationMatrix and projectionMatrix together show 0.0003",
         "restore the file"},
        {[](auto& rig) {
             rig.right.projectionMatrix.colRange(0, 2) *= 0.03;
             rig.right.projectionMatrix.template at<float>(0, 3) *= 0.03F;
             rig.left.projectionMatrix.colRange(0, 2) *= 0.03;
         },
         "together fill", "restore the file"},
        {[](auto& rig) { rig.right.distortion.template at<float>(0) = 100; },
         "right distortion leaves 3.", "restore the file"}};
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
