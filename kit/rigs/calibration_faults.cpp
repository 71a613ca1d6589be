#include "rigs/calibration_faults.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <stdexcept>

#include "base/text.hpp"
#include "rigs/rectifier.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model.hpp"
#include "rigs/shown_image.hpp"

namespace tiomipra {
namespace {

using vision::Calibration;

constexpr auto calibrateAgain = "calibrate the rig again";
constexpr auto repairFile = "restore the file, or calibrate the rig again";
constexpr auto takeBothFromOne = "take both files from one calibration of this rig";

struct NamedCalibration {
    std::string name;
    const Calibration& calibration;
};

struct NamedMatrix {
    std::string name;
    const cv::Mat& matrix;
};

std::vector<NamedMatrix> matricesOf(const NamedCalibration& camera) {
    const Calibration& calibration = camera.calibration;
    return {{camera.name + " cameraMatrix", calibration.cameraMatrix},
            {camera.name + " distortion", calibration.distortion},
            {camera.name + " rectificationMatrix", calibration.rectificationMatrix},
            {camera.name + " projectionMatrix", calibration.projectionMatrix}};
}

cv::Matx33d rectificationOf(const Calibration& calibration) {
    cv::Matx33d rotation;
    calibration.rectificationMatrix.convertTo(rotation, CV_64F);
    return rotation;
}

bool isFloating(const cv::Mat& matrix) {
    return matrix.type() == CV_32FC1 || matrix.type() == CV_64FC1;
}

Fault misshapen(const NamedMatrix& item, const std::string& rule, const std::string& remedy) {
    return {fmt::format("{} is {}, must be {}", item.name, describe(item.matrix), rule), remedy};
}

// The library reads single elements of these as 32-bit floats and takes no other type.
void checkFloatMatrix(const NamedMatrix& item, const cv::Size& size, std::vector<Fault>& faults) {
    if (item.matrix.type() == CV_32FC1 && item.matrix.size() == size)
        return;
    const bool isDouble = item.matrix.type() == CV_64FC1;
    faults.push_back(misshapen(
        item, fmt::format("{}x{} CV_32FC1", size.height, size.width),
        isDouble ? "convert the matrix to 32-bit floats (`dt: f` in the file)" : repairFile));
}

void checkRectification(const NamedMatrix& item, std::vector<Fault>& faults) {
    if (!isFloating(item.matrix) || item.matrix.size() != cv::Size(3, 3))
        faults.push_back(misshapen(item, "3x3 CV_32FC1 or CV_64FC1", repairFile));
}

void checkDistortion(const NamedMatrix& item, std::vector<Fault>& faults) {
    const bool isVector =
        isFloating(item.matrix) && std::min(item.matrix.rows, item.matrix.cols) == 1;
    constexpr LensKind lens = LensKind::radialTangential;
    const bool isKnown = isCoefficientCount(lens, item.matrix.total());
    if (!item.matrix.empty() && !(isVector && isKnown))
        faults.push_back(
            misshapen(item, fmt::format("empty or a vector of {} floats", coefficientCounts(lens)),
                      repairFile));
}

void checkForm(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const cv::Size size = sizeOf(camera.calibration);
    if (size.width <= 0 || size.height <= 0)
        faults.push_back(
            {fmt::format("{} image size is {}, must be above 0x0", camera.name, describe(size)),
             repairFile});
    const auto matrices = matricesOf(camera);
    checkFloatMatrix(matrices[0], {3, 3}, faults);
    checkDistortion(matrices[1], faults);
    checkRectification(matrices[2], faults);
    checkFloatMatrix(matrices[3], {4, 3}, faults);
}

void checkFinite(const NamedCalibration& camera, std::vector<Fault>& faults) {
    for (const NamedMatrix& item : matricesOf(camera)) {
        cv::Point where;
        if (!item.matrix.empty() && !cv::checkRange(item.matrix, true, &where))
            faults.push_back(
                {fmt::format("{} is not finite at row {}, column {}", item.name, where.y, where.x),
                 calibrateAgain});
    }
}

void checkSizes(const Calibration& left, const Calibration& right, std::vector<Fault>& faults) {
    if (sizeOf(left) != sizeOf(right))
        faults.push_back({fmt::format("the image sizes differ (left {}, right {}), must be equal",
                                      describe(sizeOf(left)), describe(sizeOf(right))),
                          takeBothFromOne});
}

void checkFocalLengths(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const Calibration& calibration = camera.calibration;
    for (const NamedMatrix& item :
         {NamedMatrix{"cameraMatrix", calibration.cameraMatrix},
          NamedMatrix{"projectionMatrix", calibration.projectionMatrix}}) {
        for (const int i : {0, 1}) {
            const float focal = item.matrix.at<float>(i, i);
            if (focal <= 0)
                faults.push_back({fmt::format("{} {} has a focal length of {}, must be above 0",
                                              camera.name, item.name, significant(focal, 6)),
                                  calibrateAgain});
        }
    }
}

void checkIsRotation(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const std::string complaint = whyNoRotation(rectificationOf(camera.calibration));
    if (!complaint.empty())
        faults.push_back(
            {fmt::format("{} rectificationMatrix {}", camera.name, complaint), calibrateAgain});
}

// The library reads f, cx and tx of f 0 cx tx / 0 f cy ty / 0 0 1 0, and takes the rest for
// granted.
void checkProjection(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const cv::Matx34f found(camera.calibration.projectionMatrix);
    const float focal = found(0, 0);
    const cv::Matx34f expected(focal, 0, found(0, 2), found(0, 3),  //
                               0, focal, found(1, 2), found(1, 3),  //
                               0, 0, 1, 0);
    for (int i = 0; i < 12; ++i) {
        const bool isFocal = i == 5;
        const float tolerance = isFocal ? 0.01F * focal : 1e-6F;
        if (std::abs(found.val[i] - expected.val[i]) > tolerance)
            faults.push_back({fmt::format("{} projectionMatrix is {} at row {}, column {}, must be "
                                          "{}{}",
                                          camera.name, significant(found.val[i], 6), i / 4, i % 4,
                                          significant(expected.val[i], 6),
                                          isFocal ? " as at row 0, column 0" : ""),
                              calibrateAgain});
    }
}

// Rows of the rectified images match only if both are projected with the same numbers along y.
void checkCommonRows(const Calibration& left, const Calibration& right,
                     std::vector<Fault>& faults) {
    constexpr float tolerance = 0.01F;
    const struct {
        const char* name;
        int row;
        int column;
    } items[] = {{"horizontal focal length", 0, 0},
                 {"vertical focal length", 1, 1},
                 {"principal point along y", 1, 2}};
    for (const auto& [name, row, column] : items) {
        const float ofLeft = left.projectionMatrix.at<float>(row, column);
        const float ofRight = right.projectionMatrix.at<float>(row, column);
        if (std::abs(ofLeft - ofRight) > tolerance)
            faults.push_back({fmt::format("the projection matrices differ in the {} (left {}, "
                                          "right {}), must be equal",
                                          name, significant(ofLeft, 6), significant(ofRight, 6)),
                              takeBothFromOne});
    }
}

// Where the baseline points to the other side.
std::string remedyForSwap(bool areFilesSwapped) {
    return areFilesSwapped ? "exchange the two calibration files"
                           : "calibrate again with the left and right images exchanged; to "
                             "exchange the files is not enough";
}

void checkBaseline(const Calibration& left, const Calibration& right, std::vector<Fault>& faults) {
    // Between two cameras, in any unit from the micrometre to the kilometre.
    constexpr double shortest = 1e-9;
    constexpr double longest = 1e9;
    const cv::Point2d baseline = baselineOf(left, right);
    const float leftOffset = left.projectionMatrix.at<float>(0, 3);
    if (baseline.y != 0)
        faults.push_back(
            {fmt::format("the cameras lie above each other (offset of {} along y), must lie side "
                         "by side",
                         significant(baseline.y, 6)),
             "turn the images of both by 90 degrees (rotate-left and rotate-right), or both "
             "cameras, and calibrate again"});
    else if (baseline.x == 0)
        faults.push_back(
            {"the baseline is 0: both calibrations describe a camera in the same place",
             "use the calibrations of two different cameras of one rig"});
    else if (baseline.x < 0)
        faults.push_back({fmt::format("left and right are swapped: the baseline is {}, must be "
                                      "above 0",
                                      significant(baseline.x, 6)),
                          remedyForSwap(leftOffset != 0), true});
    else if (!(baseline.x >= shortest && baseline.x <= longest))
        faults.push_back({fmt::format("the baseline is {}, must be from {:g} to {:g}",
                                      significant(baseline.x, 6), shortest, longest),
                          calibrateAgain});
    else if (leftOffset != 0)
        faults.push_back(
            {fmt::format("left projectionMatrix has an offset of {} at row 0, column 3, must be 0",
                         significant(leftOffset, 6)),
             calibrateAgain});
}

void checkLens(const NamedCalibration& camera, std::vector<Fault>& faults) {
    const std::string complaint = whyNoLens(camera.calibration);
    if (!complaint.empty())
        faults.push_back({camera.name + " " + complaint, repairFile});
}

// Rather than that memory or threads ran out, which is no fault of the calibrations.
bool isRefusal(const std::exception& error) {
    if (const auto* const ofOpenCv = dynamic_cast<const cv::Exception*>(&error))
        return ofOpenCv->code != cv::Error::StsNoMem;
    return dynamic_cast<const std::invalid_argument*>(&error) != nullptr ||
           dynamic_cast<const std::range_error*>(&error) != nullptr;
}

// Whatever the library refuses for a reason that has no check here.
void checkWithLibrary(const Calibration& left, const Calibration& right,
                      std::vector<Fault>& faults) {
    try {
        makeRectifier(left, right);
    } catch (const std::exception& error) {
        if (!isRefusal(error))
            throw;
        faults.push_back({fmt::format("the library refuses the calibrations: {}", error.what()),
                          calibrateAgain});
    }
}

// A camera that hangs head down makes a rectification that turns both by a quarter, one to each
// side; what else is wrong then follows from it.
void checkUpsideDown(const Calibration& left, const Calibration& right,
                     std::vector<Fault>& faults) {
    if (!faults.empty() || right.projectionMatrix.at<float>(1, 3) == 0)
        return;
    const cv::Matx33d rightFromLeft = rectificationOf(right).t() * rectificationOf(left);
    const double roll = toDegrees(std::atan2(rightFromLeft(1, 0), rightFromLeft(0, 0)));
    if (std::abs(roll) > 135)
        faults.push_back(
            {fmt::format("one camera is upside down, turned by {:.0f} degrees against the other",
                         std::abs(roll)),
             "turn the images of that camera by 180 degrees (rotate-left or rotate-right), or the "
             "camera itself, and calibrate again"});
}

// What must be right before single elements can be looked at.
std::vector<Fault> findFaultsOfForm(const Calibration& left, const Calibration& right) {
    std::vector<Fault> faults;
    for (const NamedCalibration& camera :
         {NamedCalibration{"left", left}, NamedCalibration{"right", right}}) {
        checkForm(camera, faults);
        checkFinite(camera, faults);
    }
    checkSizes(left, right, faults);
    return faults;
}

std::vector<Fault> findFaultsOfNumbers(const Calibration& left, const Calibration& right) {
    std::vector<Fault> faults = findFaultsOfForm(left, right);
    checkUpsideDown(left, right, faults);
    if (!faults.empty())
        return faults;
    for (const NamedCalibration& camera :
         {NamedCalibration{"left", left}, NamedCalibration{"right", right}}) {
        checkFocalLengths(camera, faults);
        checkIsRotation(camera, faults);
    }
    checkCommonRows(left, right, faults);
    checkBaseline(left, right, faults);
    if (faults.empty()) {
        checkProjection({"left", left}, faults);
        checkProjection({"right", right}, faults);
    }
    return faults;
}

}  // namespace

std::vector<Fault> findFaultsOfRectified(const Calibration& left, const Calibration& right) {
    std::vector<Fault> faults = findFaultsOfNumbers(left, right);
    if (faults.empty())
        checkWithLibrary(left, right, faults);
    return faults;
}

std::vector<Fault> findFaults(const Calibration& left, const Calibration& right) {
    std::vector<Fault> faults = findFaultsOfRectified(left, right);
    if (faults.empty()) {
        checkLens({"left", left}, faults);
        checkLens({"right", right}, faults);
    }
    return faults;
}

}  // namespace tiomipra
