// One rig in the words of every format: what is imported sees the same points at the same places.
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <opencv2/calib3d.hpp>

#include "base/errors.hpp"
#include "formats/rig_exporter.hpp"
#include "formats/rig_importer.hpp"
#include "rigs/fisheye_lens.hpp"
#include "support/matrices.hpp"
#include "support/scratch_folder.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

struct Case {
    std::string format;
    RigModel model;
    std::vector<std::string> files;
    ImportSettings settings = {};
};

template <typename Matrix>
std::string numbers(const Matrix& matrix, const char* separator = ", ") {
    return fmt::format("{}", fmt::join(matrix.val, matrix.val + Matrix::channels, separator));
}

std::string numbers(const std::vector<double>& values, const char* separator = ", ") {
    return fmt::format("{}", fmt::join(values, separator));
}

cv::Matx44d motion(const cv::Matx33d& turn, const cv::Vec3d& shift) {
    cv::Matx44d result = cv::Matx44d::eye();
    cv::Mat(turn).copyTo(cv::Mat(4, 4, CV_64F, result.val)(cv::Rect(0, 0, 3, 3)));
    cv::Mat(shift).copyTo(cv::Mat(4, 4, CV_64F, result.val)(cv::Rect(3, 0, 1, 3)));
    return result;
}

cv::Matx44d rightFromLeft(const RigModel& model) {
    return motion(model.rightFromLeftRotation, model.rightFromLeftTranslation);
}

// The same rig with the lenses that most formats have.
RigModel makePlainModel() {
    RigModel model = makeModel();
    for (CameraModel* camera : {&model.left, &model.right})
        camera->lens.coefficients.pop_back();
    return model;
}

// Without distortion, side by side, with the same focal lengths: its pictures are rectified.
RigModel makeRectifiedModel() {
    RigModel model;
    model.left = {{1242, 375}, {721.5, 0, 609.5, 0, 721.5, 172.75, 0, 0, 1}, {}};
    model.right = model.left;
    model.right.cameraMatrix(0, 2) += 20;
    model.rightFromLeftTranslation = {-0.53725, 0, 0};
    return model;
}

const cv::Matx44d someplace = motion(turnBy({0.3, -1.2, 0.5}), {0.1, -0.2, 0.7});

// OpenCV's matrix in YAML.
template <typename Matrix>
std::string opencv(const char* key, const Matrix& matrix) {
    return fmt::format("{}: !!opencv-matrix\n   rows: {}\n   cols: {}\n   dt: d\n   data: [ {} ]\n",
                       key, matrix.rows, matrix.cols, numbers(matrix));
}

std::string opencvLens(const char* key, const LensModel& lens) {
    return opencv(key, cv::Matx<double, 1, 5>(lens.coefficients.data()));
}

Case opencvCase() {
    const RigModel model = makeModel();
    const std::string start = "%YAML:1.0\n---\n";
    Case one{"opencv",
             model,
             {start + opencv("R", model.rightFromLeftRotation) +
                  opencv("T", 1000 * model.rightFromLeftTranslation),
              start + opencv("M1", model.left.cameraMatrix) + opencvLens("D1", model.left.lens) +
                  opencv("M2", model.right.cameraMatrix) + opencvLens("D2", model.right.lens)}};
    one.settings.imageSize = model.left.imageSize;
    one.settings.unit = "mm";
    return one;
}

Case tutorialCase() {
    const RigModel model = makeModel();
    cv::Vec3d vector;
    cv::Rodrigues(model.rightFromLeftRotation, vector);
    Case one{
        "opencv", model, {R"(<?xml version="1.0"?><opencv_storage><image_width>640</image_width>
<image_height>480</image_height>)"}};
    const auto add = [&](const char* key, const std::string& data, int columns) {
        one.files[0] += fmt::format(
            "<{0} type_id=\"opencv-matrix\"><rows>{1}</rows><cols>{2}</cols><dt>d</dt><data>{3}"
            "</data></{0}>\n",
            key, columns == 3 ? 3 : 1, columns, data);
    };
    one.settings.unit = "m";
    add("cameraMatrixL", numbers(model.left.cameraMatrix, " "), 3);
    add("distCoeffsL", numbers(model.left.lens.coefficients, " "), 5);
    add("cameraMatrixR", numbers(model.right.cameraMatrix, " "), 3);
    add("distCoeffsR", numbers(model.right.lens.coefficients, " "), 5);
    one.files[0] += fmt::format("<rotation>{}</rotation><translation>{}</translation>",
                                numbers(vector, " "), numbers(model.rightFromLeftTranslation, " "));
    one.files[0] += "</opencv_storage>\n";
    return one;
}

// `data` of a file and of a printed message.
Case rosCase(bool isMessage) {
    const RigModel model = makeModel();
    const RectifiedRig rectified = rectify(model, 0.5);
    Case one{"ros", model, {}};
    for (const bool isLeft : {true, false}) {
        const CameraModel& camera = isLeft ? model.left : model.right;
        const auto& calibration = isLeft ? rectified.left : rectified.right;
        const cv::Matx33d turn = cv::Mat_<double>(calibration.rectificationMatrix);
        cv::Matx34d projection = cv::Mat_<double>(calibration.projectionMatrix);
        projection(0, 3) += 5;  // the origin is elsewhere
        const std::string lens = numbers(camera.lens.coefficients);
        one.files.push_back(
            isMessage
                ? fmt::format("header:\n  stamp: 0\nheight: 480\nwidth: 640\n"
                              "distortion_model: plumb_bob\nd:\n- {}\nk: [{}]\nr: [{}]\np: [{}]\n"
                              "binning_x: 0\n---\n",
                              fmt::join(camera.lens.coefficients, "\n- "),
                              numbers(camera.cameraMatrix), numbers(turn), numbers(projection))
                : fmt::format("image_width: 640\nimage_height: 480\ncamera_name: narrow/left\n"
                              "camera_matrix:\n  rows: 3\n  cols: 3\n  data: [{}]\n"
                              "distortion_model: plumb_bob\n"
                              "distortion_coefficients: {{rows: 1, cols: 5, data: [{}]}}\n"
                              "rectification_matrix: {{rows: 3, cols: 3, data: [{}]}}\n"
                              "projection_matrix: {{rows: 3, cols: 4, data: [{}]}}\n",
                              numbers(camera.cameraMatrix), lens, numbers(turn),
                              numbers(projection)));
    }
    return one;
}

// The right camera first.
Case swappedRosCase() {
    Case one = rosCase(false);
    std::swap(one.files[0], one.files[1]);
    one.settings.isSwapped = true;
    return one;
}

// 62 degrees to the left, 71 into the corners.
RigModel makeWideModel() {
    RigModel model = makeModel();
    for (CameraModel* camera : {&model.left, &model.right}) {
        camera->cameraMatrix(0, 0) = 300;
        camera->cameraMatrix(1, 1) = 299;
        camera->lens = {LensKind::fisheye, {-0.012, 0.021, -0.013, 0.002}};
    }
    return model;
}

std::string kalibrCamera(const CameraModel& camera, const cv::Matx44d& fromPrevious, int number) {
    const cv::Matx33d& matrix = camera.cameraMatrix;
    std::string text = fmt::format("cam{}:\n", number);
    if (number > 0) {
        text += "  T_cn_cnm1:\n";
        for (int row = 0; row < 4; ++row)
            text += fmt::format("  - [{}]\n", numbers(cv::Matx14d(fromPrevious.row(row))));
    }
    return text + fmt::format(
                      "  camera_model: pinhole\n  distortion_coeffs: [{}]\n"
                      "  distortion_model: {}\n  intrinsics: [{}, {}, {}, {}]\n"
                      "  resolution: [640, 480]\n  rostopic: /cam0/image_raw\n",
                      numbers(camera.lens.coefficients),
                      camera.lens.kind == LensKind::fisheye ? "equidistant" : "radtan",
                      matrix(0, 0), matrix(1, 1), matrix(0, 2), matrix(1, 2));
}

// The left camera is the last of three, the right one the first.
Case kalibrCase() {
    const RigModel model = makePlainModel();
    const cv::Matx44d leftFromRight = rightFromLeft(model).inv();
    Case one{"kalibr",
             model,
             {kalibrCamera(model.right, {}, 0) + kalibrCamera(model.left, someplace, 1) +
              kalibrCamera(model.left, leftFromRight * someplace.inv(), 2)}};
    one.settings.cameras = {"cam2", "cam0"};
    return one;
}

// The first camera is the right one.
Case swappedCase(const RigModel& model) {
    Case one{"kalibr",
             model,
             {kalibrCamera(model.right, {}, 0) +
              kalibrCamera(model.left, rightFromLeft(model).inv(), 1)}};
    one.settings.isSwapped = true;
    return one;
}

Case sensorCase() {
    const RigModel model = makePlainModel();
    Case one{"sensor", model, {}};
    for (const auto& [camera, place] :
         {std::pair{model.left, someplace},
          std::pair{model.right, someplace * rightFromLeft(model).inv()}}) {
        const cv::Matx33d& matrix = camera.cameraMatrix;
        one.files.push_back(fmt::format(
            "sensor_type: camera\nT_BS:\n  cols: 4\n  rows: 4\n  data: [{}]\nrate_hz: 20\n"
            "resolution: [640, 480]\ncamera_model: pinhole\nintrinsics: [{}, {}, {}, {}] #fu\n"
            "distortion_model: radial-tangential\ndistortion_coefficients: [{}]\n",
            numbers(place), matrix(0, 0), matrix(1, 1), matrix(0, 2), matrix(1, 2),
            numbers(camera.lens.coefficients)));
    }
    return one;
}

Case svoCase() {
    const RigModel model = makePlainModel();
    Case one{"svo", model, {"label: \"rig\"\ncameras:\n"}};
    for (const auto& [camera, place] :
         {std::pair{model.left, someplace},
          std::pair{model.right, someplace * rightFromLeft(model).inv()}}) {
        const cv::Matx33d& matrix = camera.cameraMatrix;
        one.files[0] += fmt::format(
            "- camera:\n    image_height: 480\n    image_width: 640\n    type: pinhole\n"
            "    distortion:\n      type: radial-tangential\n      parameters:\n"
            "        cols: 1\n        rows: 4\n        data: [{}]\n"
            "    intrinsics:\n      cols: 1\n      rows: 4\n      data: [{}, {}, {}, {}]\n"
            "  T_B_C:\n    cols: 4\n    rows: 4\n    data: [{}]\n",
            numbers(camera.lens.coefficients), matrix(0, 0), matrix(1, 1), matrix(0, 2),
            matrix(1, 2), numbers(place));
    }
    return one;
}

Case vinsCase(const RigModel& model) {
    const cv::Matx44d right = someplace * rightFromLeft(model).inv();
    Case one{"vins",
             model,
             {"%YAML:1.0\nestimate_extrinsic: 0\n" + opencv("body_T_cam0", someplace) +
              opencv("body_T_cam1", right) + "cam0_calib: \"there/file2\"\ncam1_calib: file1\n"}};
    for (const CameraModel& camera : {model.right, model.left}) {
        const cv::Matx33d& matrix = camera.cameraMatrix;
        const auto& lens = camera.lens.coefficients;
        const bool isWide = camera.lens.kind == LensKind::fisheye;
        constexpr auto wide =
            "%YAML:1.0\n---\nmodel_type: KANNALA_BRANDT\ncamera_name: camera\nimage_width: 640\n"
            "image_height: 480\nprojection_parameters:\n   k2: {}\n   k3: {}\n   k4: {}\n"
            "   k5: {}\n   mu: {}\n   mv: {}\n   u0: {}\n   v0: {}\n";
        constexpr auto plain =
            "%YAML:1.0\n---\nmodel_type: PINHOLE\ncamera_name: camera\nimage_width: 640\n"
            "image_height: 480\ndistortion_parameters:\n   k1: {}\n   k2: {}\n   p1: {}\n"
            "   p2: {}\nprojection_parameters:\n   fx: {}\n   fy: {}\n   cx: {}\n   cy: {}\n";
        one.files.push_back(fmt::format(fmt::runtime(isWide ? wide : plain), lens[0], lens[1],
                                        lens[2], lens[3], matrix(0, 0), matrix(1, 1), matrix(0, 2),
                                        matrix(1, 2)));
    }
    return one;
}

// By quaternions, of the vector along the axis.
Case basaltCase() {
    RigModel model = makePlainModel();
    const auto place = [](const cv::Vec3d& turn, const cv::Vec3d& shift) {
        const double angle = cv::norm(turn);
        const cv::Vec3d axis = turn * (std::sin(angle / 2) / angle);
        return nlohmann::json{
            {"px", shift[0]}, {"py", shift[1]}, {"pz", shift[2]},           {"qx", axis[0]},
            {"qy", axis[1]},  {"qz", axis[2]},  {"qw", std::cos(angle / 2)}};
    };
    const cv::Vec3d leftTurn(0.3, -1.2, 0.5), rightTurn(0.31, -1.19, 0.52), leftPlace(0.1, 0, 0.7);
    const cv::Matx33d left = turnBy(leftTurn), right = turnBy(rightTurn);
    const cv::Vec3d rightPlace = leftPlace + left * cv::Vec3d(0.06, 0.001, 0);
    model.rightFromLeftRotation = right.t() * left;
    model.rightFromLeftTranslation = right.t() * (leftPlace - rightPlace);
    nlohmann::json json;
    json["value0"]["T_imu_cam"] = {place(leftTurn, leftPlace), place(rightTurn, rightPlace)};
    for (const CameraModel& camera : {model.left, model.right}) {
        const cv::Matx33d& matrix = camera.cameraMatrix;
        const auto& lens = camera.lens.coefficients;
        json["value0"]["intrinsics"].push_back({{"camera_type", "pinhole-radtan8"},
                                                {"intrinsics",
                                                 {{"fx", matrix(0, 0)},
                                                  {"fy", matrix(1, 1)},
                                                  {"cx", matrix(0, 2)},
                                                  {"cy", matrix(1, 2)},
                                                  {"k1", lens[0]},
                                                  {"k2", lens[1]},
                                                  {"p1", lens[2]},
                                                  {"p2", lens[3]},
                                                  {"k3", 0},
                                                  {"k4", 0},
                                                  {"k5", 0},
                                                  {"k6", 0}}}});
        json["value0"]["resolution"].push_back({640, 480});
    }
    return {"basalt", model, {json.dump(1)}};
}

Case middleburyCase() {
    const RigModel model = makeRectifiedModel();
    return {"middlebury",
            model,
            {"cam0=[721.5 0 609.5; 0 721.5 172.75; 0 0 1]\n"
             "cam1=[721.5 0 629.5; 0 721.5 172.75; 0 0 1]\n"
             "doffs=20\nbaseline=537.25\nwidth=1242\nheight=375\nndisp=170\nisint=0\n"}};
}

// Raw and rectified cameras, the left one away from the origin of both.
std::string kittiText(const RigModel& raw, const RigModel& rectified) {
    std::string text = "calib_time: 09-Jan-2012 13:57:47\ncorner_dist: 9.950000e-02\n";
    const cv::Matx44d left = someplace, right = rightFromLeft(raw) * someplace;
    for (const auto& [name, camera, place, projected, last] :
         {std::tuple{2, raw.left, left, rectified.left, 44.5},
          std::tuple{3, raw.right, right, rectified.right, 44.5 - 0.53725 * 721.5}}) {
        const cv::Matx33d& matrix = projected.cameraMatrix;
        text += fmt::format(
            "S_0{0}: 6.400000e+02 4.800000e+02\nK_0{0}: {1}\nD_0{0}: {2}\nR_0{0}: {3}\n"
            "T_0{0}: {4} {5} {6}\nS_rect_0{0}: 1242 375\nR_rect_0{0}: 1 0 0 0 1 0 0 0 1\n"
            "P_rect_0{0}: {7} 0 {8} {9} 0 {7} {10} 0 0 0 1 0\n",
            name, numbers(camera.cameraMatrix, " "), numbers(camera.lens.coefficients, " "),
            numbers(cv::Matx33d(place.get_minor<3, 3>(0, 0)), " "), place(0, 3), place(1, 3),
            place(2, 3), matrix(0, 0), matrix(0, 2), last, matrix(1, 2));
    }
    return text + "P_rect_00: 1 0 0 0 0 1 0 0 0 0 1 0\n";
}

Case kittiCase(bool isRaw) {
    const RigModel raw = makeModel(), rectified = makeRectifiedModel();
    Case one{"kitti", isRaw ? raw : rectified, {kittiText(raw, rectified)}};
    one.settings.cameras = {"2", "3"};
    if (isRaw)
        one.settings.imageSize = raw.left.imageSize;
    return one;
}

Case odometryCase() {
    Case one{"kitti-odometry",
             makeRectifiedModel(),
             {"P0: 721.5 0 609.5 0 0 721.5 172.75 0 0 0 1 0\n"
              "P1: 721.5 0 629.5 -387.625875 0 721.5 172.75 0 0 0 1 0\n"}};
    one.settings.imageSize = one.model.left.imageSize;
    return one;
}

Case zedCase() {
    RigModel model = makeModel();
    cv::Vec3d turn;
    cv::Rodrigues(model.rightFromLeftRotation, turn);
    for (CameraModel* camera : {&model.left, &model.right}) {
        camera->imageSize = {1280, 720};
        camera->cameraMatrix = cv::Matx33d::diag({2, 2, 1}) * camera->cameraMatrix;
    }
    std::string text = "\xEF\xBB\xBF[STEREO]\r\n";
    text += fmt::format("Baseline={}\nTY={}\nTZ={}\nCV_HD={}\nRX_HD={}\nRZ_HD={}\nCV_VGA=9\n",
                        -1000 * model.rightFromLeftTranslation[0],
                        1000 * model.rightFromLeftTranslation[1],
                        1000 * model.rightFromLeftTranslation[2], turn[1], turn[0], turn[2]);
    for (const auto& [name, camera] :
         {std::pair{"LEFT_CAM", model.left}, std::pair{"RIGHT_CAM", model.right}}) {
        const cv::Matx33d& matrix = camera.cameraMatrix;
        const auto& lens = camera.lens.coefficients;
        text += fmt::format(
            "\r\n[{0}_HD]\r\nfx={1}\nfy={2}\ncx={3}\ncy={4}\nk1={5}\nk2={6}\nk3={9}\np1={7}\n"
            "p2={8}\n[{0}_VGA]\nfx=1\n",
            name, matrix(0, 0), matrix(1, 1), matrix(0, 2), matrix(1, 2), lens[0], lens[1], lens[2],
            lens[3], lens[4]);
    }
    Case one{"zed", model, {text}};
    one.settings.imageSize = model.left.imageSize;
    return one;
}

std::vector<Case> allCases() {
    return {swappedCase(makeWideModel()),
            vinsCase(makeWideModel()),
            opencvCase(),
            tutorialCase(),
            rosCase(false),
            rosCase(true),
            kalibrCase(),
            swappedCase(makePlainModel()),
            swappedRosCase(),
            sensorCase(),
            svoCase(),
            vinsCase(makePlainModel()),
            basaltCase(),
            middleburyCase(),
            kittiCase(true),
            kittiCase(false),
            odometryCase(),
            zedCase()};
}

ImportedRig importCase(const Case& one, const ScratchFolder& folder) {
    std::vector<std::string> paths;
    for (const std::string& file : one.files)
        paths.push_back(folder.write(fmt::format("file{}", paths.size()), file));
    return importRig(paths, one.settings);
}

cv::Point2d project(const cv::Vec3d& point, const CameraModel& camera) {
    std::vector<cv::Point2d> pixels;
    const std::vector<cv::Point3d> points{cv::Point3d(point)};
    if (camera.lens.kind == LensKind::fisheye)
        cv::fisheye::projectPoints(points, pixels, cv::Vec3d(), cv::Vec3d(), camera.cameraMatrix,
                                   camera.lens.coefficients);
    else
        cv::projectPoints(points, cv::Vec3d(), cv::Vec3d(), camera.cameraMatrix,
                          camera.lens.coefficients, pixels);
    return pixels[0];
}

// Of a point in the camera's own frame.
cv::Point2d rectify(const cv::Vec3d& point, const vision::Calibration& camera) {
    const cv::Matx33d turn = cv::Mat_<double>(camera.rectificationMatrix);
    const cv::Matx33d matrix = cv::Mat_<double>(camera.projectionMatrix.colRange(0, 3));
    const cv::Vec3d pixel = matrix * turn * point;
    return {pixel[0] / pixel[2], pixel[1] / pixel[2]};
}

// By the model, and by the calibrations that follow from it.
void expectSameRig(const ImportedRig& rig, const RigModel& expected) {
    const auto& [left, right] = rig.rectified;
    const cv::Mat& projection = right.projectionMatrix;
    const double offset = projection.at<float>(0, 2) - left.projectionMatrix.at<float>(0, 2);
    for (const cv::Vec3d point : makeScene(expected, 50)) {
        const cv::Vec3d there =
            expected.rightFromLeftRotation * point + expected.rightFromLeftTranslation;
        const cv::Vec3d found =
            rig.model.rightFromLeftRotation * point + rig.model.rightFromLeftTranslation;
        EXPECT_LT(cv::norm(project(point, rig.model.left) - project(point, expected.left)), 1e-3);
        EXPECT_LT(cv::norm(project(found, rig.model.right) - project(there, expected.right)), 1e-3);
        for (const bool isLeft : {true, false}) {
            const vision::Calibration& camera = isLeft ? left : right;
            EXPECT_LT(
                cv::norm(project(isLeft ? point : there, cameraModelOf(camera)) -
                         project(isLeft ? point : there, isLeft ? expected.left : expected.right)),
                5e-3);
        }
        const cv::Point2d onLeft = rectify(point, left), onRight = rectify(there, right);
        const cv::Matx33d turn = cv::Mat_<double>(left.rectificationMatrix);
        const double baseline = (onLeft.x - onRight.x + offset) * (turn * point)[2];
        EXPECT_NEAR(onLeft.y, onRight.y, 0.01);
        EXPECT_NEAR(baseline / -projection.at<float>(0, 3), 1, 1e-3);
    }
    EXPECT_EQ(left.width, expected.left.imageSize.width);
    EXPECT_EQ(rig.model.unit, "m");
}

TEST(RigFormats, AllTellOfTheSameRig) {
    const ScratchFolder folder;
    for (const Case& one : allCases()) {
        SCOPED_TRACE(one.format + "\n" + one.files[0]);
        const ImportedRig rig = importCase(one, folder);
        EXPECT_EQ(rig.format, one.format);
        expectSameRig(rig, one.model);
    }
}

// A rectified image without empty pixels can't show more; what it shows is told and limited.
TEST(RigFormats, WideAngleLensesShowWhatIsAskedFor) {
    const ScratchFolder folder;
    Case one = swappedCase(makeWideModel());
    const auto viewAcross = [&](double alpha, std::optional<double> fieldOfView) {
        one.settings.alpha = alpha;
        one.settings.wideAngle.fieldOfView = fieldOfView;
        const ImportedRig rig = importCase(one, folder);
        EXPECT_THAT(rig.notes, testing::ElementsAre(HasSubstr("pinholes with 8 coefficients")));
        const double focal = rig.rectified.left.projectionMatrix.at<float>(0, 0);
        return 2 * std::atan(640 / (2 * focal)) * 180 / CV_PI;
    };
    const auto isFull = [&] {
        const ImportedRig rig = importCase(one, folder);
        cv::Mat first, second, shown;
        for (const vision::Calibration* camera : {&rig.rectified.left, &rig.rectified.right}) {
            cv::initUndistortRectifyMap(camera->cameraMatrix, camera->distortion,
                                        camera->rectificationMatrix, camera->projectionMatrix,
                                        {640, 480}, CV_32FC1, first, second);
            cv::remap(cv::Mat(480, 640, CV_8U, 255), shown, first, second, cv::INTER_NEAREST);
            if (cv::countNonZero(shown) < 640 * 480)
                return false;
        }
        return true;
    };
    const double full = viewAcross(0, {});
    EXPECT_TRUE(isFull());
    EXPECT_NEAR(viewAcross(0, full + 0.5), full + 0.5, 1e-3);
    EXPECT_FALSE(isFull());
    EXPECT_NEAR(viewAcross(0.5, {}), (full + viewAcross(1, {})) / 2, 0.01);
    EXPECT_GT(viewAcross(1, {}), full + 5);
    one.settings.wideAngle.maxResidual = 1e-4;
    one.settings.wideAngle.fieldOfView = 130;
    EXPECT_THAT([&] { importCase(one, folder); },
                ThrowsMessage<InputError>(HasSubstr("must be by at most 0.0001 (max-residual)")));
    one.settings.wideAngle.fieldOfView = 151;
    EXPECT_THAT([&] { importCase(one, folder); },
                ThrowsMessage<SettingError>(HasSubstr("must be from 10 to 150")));
}

TEST(RigFormats, WhatIsExportedComesBack) {
    const ScratchFolder folder;
    const RigModel model = makePlainModel(), wide = makeWideModel();
    const RectifiedRig rectified = rectify(model, 0.3);
    const Rectification wideRectification = rectifyFisheye(wide, {});
    const RectifiedRig wideRectified =
        rectify(asPinholes(wide, wideRectification).model, wideRectification);
    for (const ExportFormat& format : exportFormats()) {
        SCOPED_TRACE(format.name);
        Case fisheye{format.name, wide, format.write(wide, wideRectified)};
        fisheye.settings.unit = "m";
        const RigModel back = importCase(fisheye, folder).model;
        EXPECT_EQ(back.left.lens.coefficients.size(), format.name == "opencv" ? 8U : 4U);
        EXPECT_LT(cv::norm(project({-0.9, 0.7, 1}, back.left) - project({-0.9, 0.7, 1}, wide.left)),
                  5e-3);
        Case one{format.name, model, format.write(model, rectified)};
        EXPECT_EQ(one.files.size(), format.files);
        one.settings.unit = "m";
        const ImportedRig rig = importCase(one, folder);
        EXPECT_EQ(rig.format, format.name);
        expectSameRig(rig, model);
        EXPECT_EQ(rig.model.left.cameraMatrix, model.left.cameraMatrix);
        if (rig.isRectifiedAsFound) {
            EXPECT_THAT(rig.rectified.right.projectionMatrix,
                        IsSameMatrix(rectified.right.projectionMatrix));
        }
    }
    RigModel rational = model;
    rational.left.lens.coefficients = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_THAT([&] { exportFormat("kalibr").write(rational, rectified); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("8 coefficients")));
    EXPECT_THAT(
        [] { exportFormat("x"); },
        ThrowsMessage<SettingError>("format is 'x', must be one of opencv, ros, kalibr, json"));
}

std::string replaced(std::string text, const std::string& found, const std::string& put) {
    const std::size_t place = text.find(found);
    EXPECT_NE(place, std::string::npos) << found;
    return text.replace(std::min(place, text.size()), found.size(), put);
}

// A fault of a file, and what is said about it.
struct Fault {
    Case from;
    std::string found;
    std::string put;
    std::string said;
};

TEST(RigFormats, WhatCannotBeUsedIsNamed) {
    const ScratchFolder folder;
    Case far = middleburyCase();
    Case reversed = swappedCase(makePlainModel());
    reversed.settings.isSwapped = false;
    Case sizeless = odometryCase();
    sizeless.settings.imageSize.reset();
    Case many = kalibrCase();
    many.settings.cameras.clear();
    Case unknown = many;
    unknown.settings.cameras = {"cam0", "cam7"};
    Case vinsByOrder = sensorCase();
    vinsByOrder.files.push_back(vinsByOrder.files[0]);
    vinsByOrder.settings.format = "vins";
    Case rosByName = sensorCase();
    rosByName.settings.format = "ros";
    Case tooMany = kalibrCase();
    tooMany.files.push_back(tooMany.files[0]);
    tooMany.settings.format = "kalibr";
    Case otherSize = rosCase(false);
    otherSize.settings.imageSize = cv::Size(500, 500);
    const RigModel model = makeModel();
    const Case furlongs{"json", model, exportFormat("json").write(model, rectify(model, 0))};
    const Case mixed{"opencv", model, exportFormat("opencv").write(model, rectify(model, 0))};
    const Case narrow = {"kalibr",
                         makeWideModel(),
                         {replaced(swappedCase(makeWideModel()).files[0], "325.75, ", "120, ")},
                         swappedCase(makeWideModel()).settings};
    const Fault faults[] = {
        {kalibrCase(), "resolution: [640, 480]", "resolution: [640]",
         "kalibr: cam0.resolution holds 1 numbers, must hold 2"},
        {kalibrCase(), "radtan", "equidistant", "one lens is a fisheye lens, must be both or none"},
        {kalibrCase(), "radtan", "fov", "cam0.distortion_model is 'fov', must be radtan, "},
        {kalibrCase(), "model: pinhole", "model: omni", "camera_model is 'omni', must be pinhole"},
        {swappedCase(makePlainModel()), "intrinsics: [608", "intrinsics: [.nan",
         "cam0.intrinsics is [\".nan\",603.0,325.75,231.5], element 0 must be a fin"},
        {swappedCase(makePlainModel()), "cam1", "other", "it has cam0 of the two cameras of a rig"},
        {many, "", "", "it has the cameras cam0, cam1, cam2; which two"},
        {unknown, "", "", "it has no camera 'cam7', must be of cam0, cam1, cam2"},
        {reversed, "", "", "the second camera is left of the first one"},
        {far, "baseline=537.25", "baseline=53725", "baseline is 53.73 m, must be from 0.002 to 10"},
        {far, "doffs=20", "doffs=0", "doffs is 0, must be the difference"},
        {far, "width=", "breadth=", "width is missing"},
        {sizeless, "", "", "for which size of images it is, which must be given (size)"},
        {rosCase(false), "image_width: 640", "image_width: 320",
         "the image sizes differ (left 320"},
        {sensorCase(), "T_BS", "T_CS", "none of the formats json, opencv, ros"},
        {vinsCase(makePlainModel()), "body_T_cam1", "body_T", "body_T_cam1 is missing"},
        {basaltCase(), "\"qw\": ", "\"qw\": 1", "has a quaternion of length"},
        {zedCase(), "Baseline=", "Baseline=-", "the second camera is left of the first one"},
        {vinsByOrder, "", "", "none of them has body_T_cam0"},
        {rosByName, "", "", "file0' has none of the keys camera_matrix, K and k"},
        {rosCase(true), "k: [", "k: [\"1\", ", "file0' k holds 10 numbers"},
        {tooMany, "", "", "there are 2 files, must be 1: a camera chain"},
        {zedCase(), "RX_HD", "RX_FHD", "STEREO.RX_HD is missing"},
        {zedCase(), "[STEREO]", "TY=1\n[TY]", "must be a key, '=' and values"},
        {otherSize, "", "", "the images are 500x500, the files are for 640x480; the aspect ratio"},
        {sensorCase(), "T_BS:\n  cols: 4\n  rows: 4\n  data: [", "T_BS:\n  data: [9",
         "T_BS has a rot"},
        {furlongs, "\"m\"", "\"furlong\"", "unit is 'furlong', must be 'm' or empty"},
        {mixed, "T: !!opencv-matrix\n   rows: 3\n   cols: 1\n   dt: d\n   data: [ -",
         "T: !!opencv-matrix\n   rows: 3\n   cols: 1\n   dt: d\n   data: [ -1",
         "R1, R2, P1 and P2 are of cameras at other places than R and T"},
        {narrow, "120", "-5000", "have empty pixels already"},
        {opencvCase(), "R: !!", "Q: !!", "there is none of the keys R, rotation, Rot"},
        {opencvCase(), "data: [ 0.", "data: [ 7.",
         "the rotation between the cameras is not a rot"}};
    for (const auto& [from, found, put, said] : faults) {
        Case one = from;
        one.files[0] = replaced(one.files[0], found, put);
        EXPECT_THAT(
            [&] { importCase(one, folder); },
            ThrowsMessage<InputError>(AllOf(HasSubstr(folder.path("file0")), HasSubstr(said))));
    }
}

// What takes the time or the memory of all, or the stack.
TEST(RigFormats, HostileFilesAreRefused) {
    const ScratchFolder folder;
    std::string bomb = "a0: &a0 [1, 1]\n";
    for (int i = 1; i < 40; ++i)
        bomb += fmt::format("a{0}: &a{0} [*a{1}, *a{1}]\n", i, i - 1);
    for (const std::string& file :
         {bomb, "{\"M1\":" + std::string(50000, '[') + std::string(50000, ']') + ",\"D1\":[]}",
          std::string(100000, '['), std::string(100000, '{'), std::string(2 << 20, ' '),
          std::string("\0\1\2", 3), std::string(), std::string("- 1\n-"), std::string("[a]\nb"),
          std::string("<?xml version=\"1.0\"?>\n<a>"), std::string("a: *b")})
        EXPECT_THROW(importRig({folder.write("file", file)}, {}), InputError) << file.substr(0, 80);
}

}  // namespace
}  // namespace tiomipra::test
