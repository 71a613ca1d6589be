#include "rig_inspection.hpp"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <numeric>
#include <sstream>
#include <vision/stereo.hpp>

#include "text.hpp"

namespace tiomipra {

namespace {

const std::string calibrateAgain = "calibrate the rig again with `tiomipra calibrate`";
const std::string repairFile =
    "restore the file, or calibrate the rig again with `tiomipra calibrate`";
const std::string exchangeFiles =
    "exchange the two calibration files, or calibrate again with --left and --right exchanged";

struct NamedCalibration {
    std::string name;
    const vision::Calibration& calibration;
};

struct NamedMatrix {
    std::string name;
    const cv::Mat& matrix;
};

std::string describe(const cv::Mat& matrix) {
    if (matrix.empty()) {
        return "empty";
    }
    return std::to_string(matrix.rows) + "x" + std::to_string(matrix.cols) + " " +
           cv::typeToString(matrix.type());
}

cv::Size sizeOf(const vision::Calibration& calibration) {
    return {calibration.width, calibration.height};
}

std::vector<NamedMatrix> matricesOf(const NamedCalibration& camera) {
    const vision::Calibration& calibration = camera.calibration;
    return {{camera.name + " cameraMatrix", calibration.cameraMatrix},
            {camera.name + " distortion", calibration.distortion},
            {camera.name + " rectificationMatrix", calibration.rectificationMatrix},
            {camera.name + " projectionMatrix", calibration.projectionMatrix}};
}

bool isFloating(const cv::Mat& matrix) {
    return matrix.type() == CV_32FC1 || matrix.type() == CV_64FC1;
}

// The library reads single elements of these as 32-bit floats and takes no other type.
void checkFloatMatrix(const NamedMatrix& item, const cv::Size& size, std::vector<Fault>& faults) {
    if (item.matrix.type() != CV_32FC1 || item.matrix.size() != size) {
        faults.push_back({item.name + " is " + describe(item.matrix) + ", must be " +
                              std::to_string(size.height) + "x" + std::to_string(size.width) +
                              " CV_32FC1",
                          item.matrix.type() == CV_64FC1
                              ? "convert the matrix to 32-bit floats (`dt: f` in the file)"
                              : repairFile});
    }
}

void checkRectification(const NamedMatrix& item, std::vector<Fault>& faults) {
    if (!isFloating(item.matrix) || item.matrix.size() != cv::Size(3, 3)) {
        faults.push_back(
            {item.name + " is " + describe(item.matrix) + ", must be 3x3 CV_32FC1 or CV_64FC1",
             repairFile});
    }
}

void checkDistortion(const NamedMatrix& item, std::vector<Fault>& faults) {
    const std::size_t count = item.matrix.total();
    const bool isVector =
        isFloating(item.matrix) && std::min(item.matrix.rows, item.matrix.cols) == 1;
    const bool isKnownModel = count == 4 || count == 5 || count == 8 || count == 12 || count == 14;
    if (!item.matrix.empty() && !(isVector && isKnownModel)) {
        faults.push_back({item.name + " is " + describe(item.matrix) +
                              ", must be empty or a vector of 4, 5, 8, 12 or 14 floats",
                          repairFile});
    }
}

void checkForm(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const vision::Calibration& calibration = camera.calibration;
    if (calibration.width <= 0 || calibration.height <= 0) {
        faults.push_back({camera.name + " image size is " + sizeText(sizeOf(calibration)) +
                              ", must be above 0x0",
                          repairFile});
    }
    const auto matrices = matricesOf(camera);
    checkFloatMatrix(matrices[0], {3, 3}, faults);
    checkDistortion(matrices[1], faults);
    checkRectification(matrices[2], faults);
    checkFloatMatrix(matrices[3], {4, 3}, faults);
}

void checkFinite(const NamedCalibration& camera, std::vector<Fault>& faults) {
    for (const NamedMatrix& item : matricesOf(camera)) {
        cv::Point where;
        if (!item.matrix.empty() && !cv::checkRange(item.matrix, true, &where)) {
            faults.push_back({item.name + " is not finite at row " + std::to_string(where.y) +
                                  ", column " + std::to_string(where.x),
                              calibrateAgain});
        }
    }
}

void checkFocalLengths(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const vision::Calibration& calibration = camera.calibration;
    for (const NamedMatrix& item :
         {NamedMatrix{"cameraMatrix", calibration.cameraMatrix},
          NamedMatrix{"projectionMatrix", calibration.projectionMatrix}}) {
        for (const int i : {0, 1}) {
            const float focal = item.matrix.at<float>(i, i);
            if (focal <= 0) {
                faults.push_back({camera.name + " " + item.name + " has a focal length of " +
                                      significant(focal, 6) + ", must be above 0",
                                  calibrateAgain});
            }
        }
    }
}

void checkIsRotation(const NamedCalibration& camera, std::vector<Fault>& faults) {
    cv::Mat rotation;
    camera.calibration.rectificationMatrix.convertTo(rotation, CV_64F);
    const double deviation =
        cv::norm(rotation * rotation.t(), cv::Mat::eye(3, 3, CV_64F), cv::NORM_INF);
    if (deviation > 1e-3 || cv::determinant(rotation) < 0) {
        faults.push_back({camera.name +
                              " rectificationMatrix is not a rotation (its product with "
                              "its transpose differs from the identity by " +
                              significant(deviation, 6) + ", its determinant is " +
                              significant(cv::determinant(rotation), 6) + ")",
                          calibrateAgain});
    }
}

// Rows of the rectified images match only if both are projected with the same numbers along y.
void checkCommonRows(const vision::Calibration& left, const vision::Calibration& right,
                     std::vector<Fault>& faults) {
    const struct {
        std::string name;
        int row;
        int column;
    } items[] = {{"horizontal focal length", 0, 0},
                 {"vertical focal length", 1, 1},
                 {"principal point along y", 1, 2}};
    for (const auto& item : items) {
        const float ofLeft = left.projectionMatrix.at<float>(item.row, item.column);
        const float ofRight = right.projectionMatrix.at<float>(item.row, item.column);
        if (std::abs(ofLeft - ofRight) > 0.01f) {
            faults.push_back({"the projection matrices differ in the " + item.name + " (left " +
                                  significant(ofLeft, 6) + ", right " + significant(ofRight, 6) +
                                  "), must be equal",
                              "take both files from one calibration of this rig"});
        }
    }
}

double baselineAlong(int axis, const vision::Calibration& left, const vision::Calibration& right) {
    const double focal = left.projectionMatrix.at<float>(axis, axis);
    return (left.projectionMatrix.at<float>(axis, 3) - right.projectionMatrix.at<float>(axis, 3)) /
           focal;
}

void checkBaseline(const vision::Calibration& left, const vision::Calibration& right,
                   std::vector<Fault>& faults) {
    const double alongX = baselineAlong(0, left, right);
    const double alongY = baselineAlong(1, left, right);
    if (alongY != 0) {
        faults.push_back({"the cameras lie above each other (offset of " + significant(alongY, 6) +
                              " along y), must lie side by side",
                          "turn both cameras by a quarter and calibrate again"});
    } else if (alongX == 0) {
        faults.push_back(
            {"the baseline is 0: both calibrations describe a camera in the same place",
             "use the calibrations of two different cameras of one rig"});
    } else if (alongX < 0) {
        faults.push_back({"left and right are swapped: the baseline is " + significant(alongX, 6) +
                              ", must be above 0",
                          exchangeFiles, true});
    } else if (left.projectionMatrix.at<float>(0, 3) != 0) {
        faults.push_back({"left projectionMatrix has an offset of " +
                              significant(left.projectionMatrix.at<float>(0, 3), 6) +
                              " at row 0, column 3, must be 0",
                          calibrateAgain});
    }
}

// Whatever the library refuses for a reason that has no check here.
void checkWithLibrary(const vision::Calibration& left, const vision::Calibration& right,
                      std::vector<Fault>& faults) {
    try {
        vision::Stereo stereo;
        stereo.setMaxDepth(std::numeric_limits<float>::infinity());
        stereo.setCalibrations(left, right);
        // Building the smallest transform is quick and finds everything that frames would find.
        const int divisor = std::gcd(left.width, left.height);
        stereo.computeImageTransforms(sizeOf(left) / divisor);
    } catch (const std::exception& error) {
        faults.push_back(
            {"the library refuses the calibrations: " + std::string(error.what()), calibrateAgain});
    }
}

double degreesSeen(double focal, double principal, int extent) {
    const double radians =
        std::atan((principal + 0.5) / focal) + std::atan((extent - 0.5 - principal) / focal);
    return radians * 180 / CV_PI;
}

FieldOfView fieldOfView(const cv::Mat& matrix, const cv::Size& size) {
    const double fx = matrix.at<float>(0, 0);
    const double fy = matrix.at<float>(1, 1);
    FieldOfView result;
    result.horizontal = degreesSeen(fx, matrix.at<float>(0, 2), size.width);
    result.vertical = degreesSeen(fy, matrix.at<float>(1, 2), size.height);
    result.diagonal =
        2 * std::atan(std::hypot(size.width / fx, size.height / fy) / 2) * 180 / CV_PI;
    return result;
}

std::string text(const FieldOfView& field) {
    return fixed(field.horizontal, 1) + " x " + fixed(field.vertical, 1);
}

// 1, 2 and 5 times powers of ten, from where a quarter of the image's width is the disparity to
// where one pixel is.
std::vector<double> roundDepths(const RigGeometry& geometry) {
    const double atOnePixel = geometry.disparity.timesDepth;
    const double nearest = atOnePixel / (geometry.left.size.width / 4.);
    std::vector<double> depths;
    const int first = cvFloor(std::log10(nearest));
    const int last = cvFloor(std::log10(atOnePixel));
    for (int decade = first; decade <= last; ++decade) {
        for (const double factor : {1., 2., 5.}) {
            const double depth = factor * std::pow(10, decade);
            if (depth >= nearest && depth <= atOnePixel) {
                depths.push_back(depth);
            }
        }
    }
    return depths;
}

nlohmann::ordered_json toJson(const cv::Size& size) {
    return {size.width, size.height};
}

nlohmann::ordered_json toJson(const cv::Point2d& point) {
    return {point.x, point.y};
}

nlohmann::ordered_json toJson(const CameraGeometry& camera) {
    return {{"size", toJson(camera.size)},
            {"focalLength", toJson(camera.focal)},
            {"principalPointOffset", toJson(camera.principalOffset)},
            {"fieldOfViewDegrees", toJson(camera.fieldOfView)}};
}

struct Row {
    std::string item;
    std::string left;
    std::string right;
};

template <typename Describe>
Row cameraRow(const std::string& item, const RigGeometry& geometry, Describe describeCamera) {
    return {item, describeCamera(geometry.left), describeCamera(geometry.right)};
}

std::vector<Row> cameraRows(const RigGeometry& geometry) {
    return {cameraRow("image size", geometry,
                      [](const CameraGeometry& camera) { return sizeText(camera.size); }),
            cameraRow("focal length (pixels)", geometry,
                      [](const CameraGeometry& camera) {
                          return fixed(camera.focal.x, 1) + " x " + fixed(camera.focal.y, 1);
                      }),
            cameraRow("field of view (degrees)", geometry,
                      [](const CameraGeometry& camera) { return text(camera.fieldOfView); }),
            cameraRow("principal point off the centre (pixels)", geometry,
                      [](const CameraGeometry& camera) {
                          return fixed(camera.principalOffset.x, 1) + ", " +
                                 fixed(camera.principalOffset.y, 1);
                      })};
}

void writeCameras(std::ostream& out, const RigGeometry& geometry) {
    out << std::left << std::setw(42) << "" << std::setw(18) << "left"
        << "right\n";
    for (const Row& row : cameraRows(geometry))
        out << std::setw(42) << row.item << std::setw(18) << row.left << row.right << '\n';
    out << std::right;
}

void writeDepthSteps(std::ostream& out, const std::vector<DepthStep>& steps) {
    out << std::setw(10) << "depth" << std::setw(13) << "disparity" << std::setw(17)
        << "depth per step" << '\n';
    for (const DepthStep& step : steps)
        out << std::setw(10) << significant(step.depth, 3) << std::setw(13)
            << fixed(step.disparity, 1) << std::setw(17) << significant(step.resolution, 3) << '\n';
}

}  // namespace

std::vector<Fault> findFaults(const vision::Calibration& left, const vision::Calibration& right) {
    const NamedCalibration cameras[] = {{"left", left}, {"right", right}};
    std::vector<Fault> faults;
    for (const NamedCalibration& camera : cameras) {
        checkForm(camera, faults);
        checkFinite(camera, faults);
    }
    if (sizeOf(left) != sizeOf(right)) {
        faults.push_back({"the image sizes differ (left " + sizeText(sizeOf(left)) + ", right " +
                              sizeText(sizeOf(right)) + "), must be equal",
                          "take both files from one calibration of this rig"});
    }
    if (!faults.empty()) {
        return faults;
    }
    for (const NamedCalibration& camera : cameras) {
        checkFocalLengths(camera, faults);
        checkIsRotation(camera, faults);
    }
    checkCommonRows(left, right, faults);
    checkBaseline(left, right, faults);
    if (faults.empty()) {
        checkWithLibrary(left, right, faults);
    }
    return faults;
}

CameraGeometry describeCamera(const vision::Calibration& calibration) {
    const cv::Mat& matrix = calibration.cameraMatrix;
    CameraGeometry result;
    result.size = sizeOf(calibration);
    result.focal = {matrix.at<float>(0, 0), matrix.at<float>(1, 1)};
    result.principalOffset = {matrix.at<float>(0, 2) - (calibration.width - 1) / 2.,
                              matrix.at<float>(1, 2) - (calibration.height - 1) / 2.};
    result.fieldOfView = fieldOfView(matrix, result.size);
    return result;
}

RigGeometry describeGeometry(const vision::Calibration& left, const vision::Calibration& right) {
    RigGeometry geometry;
    geometry.left = describeCamera(left);
    geometry.right = describeCamera(right);
    geometry.baseline = baselineAlong(0, left, right);
    geometry.rectifiedFocal = left.projectionMatrix.at<float>(0, 0);
    geometry.rectifiedFieldOfView = fieldOfView(left.projectionMatrix, sizeOf(left));
    geometry.disparity = disparityModel(left, right);
    constexpr double step = 1. / 16;
    for (const double depth : roundDepths(geometry))
        geometry.depthSteps.push_back({depth, geometry.disparity.disparityAt(depth),
                                       geometry.disparity.depthStepAt(depth, step)});
    return geometry;
}

nlohmann::ordered_json toJson(const FieldOfView& field) {
    return {{"horizontal", field.horizontal},
            {"vertical", field.vertical},
            {"diagonal", field.diagonal}};
}

nlohmann::ordered_json toJson(const RigGeometry& geometry) {
    nlohmann::ordered_json steps = nlohmann::ordered_json::array();
    for (const DepthStep& step : geometry.depthSteps) {
        steps.push_back({{"depth", step.depth},
                         {"disparity", step.disparity},
                         {"resolution", step.resolution}});
    }
    return {{"left", toJson(geometry.left)},
            {"right", toJson(geometry.right)},
            {"baseline", geometry.baseline},
            {"rectifiedFocalLength", geometry.rectifiedFocal},
            {"rectifiedFieldOfViewDegrees", toJson(geometry.rectifiedFieldOfView)},
            {"disparityAtInfinity", geometry.disparity.atInfinity},
            {"depths", steps}};
}

nlohmann::ordered_json toJson(const std::vector<Fault>& faults) {
    nlohmann::ordered_json result = nlohmann::ordered_json::array();
    for (const Fault& fault : faults) {
        result.push_back({{"problem", fault.problem}, {"remedy", fault.remedy}});
    }
    return result;
}

std::string toText(const RigGeometry& geometry, const std::string& unit) {
    std::ostringstream out;
    writeCameras(out, geometry);
    out << "\nbaseline " << significant(geometry.baseline, 4) << (unit.empty() ? "" : " " + unit)
        << ", rectified focal length " << fixed(geometry.rectifiedFocal, 1)
        << " pixels, rectified field of view " << text(geometry.rectifiedFieldOfView)
        << " degrees\n";
    if (geometry.disparity.atInfinity != 0)
        out << "disparity of what is infinitely far away "
            << fixed(geometry.disparity.atInfinity, 1) << " pixels\n";
    out << "\nLengths are in " << (unit.empty() ? "the unit of the calibration" : unit)
        << ", disparities in pixels; a step of disparity is 1/16.\n";
    writeDepthSteps(out, geometry.depthSteps);
    return out.str();
}

}  // namespace tiomipra
