// What readers of formats have in common.
#ifndef TIOMIPRA_FORMATS_SOURCE_RIG_HPP
#define TIOMIPRA_FORMATS_SOURCE_RIG_HPP

#include <optional>
#include <string>
#include <vector>

#include "formats/rig_importer.hpp"
#include "formats/source_document.hpp"

namespace tiomipra {

using SourceDocuments = std::vector<SourceDocument>;

// A rig as its files have it. The model's unit is that of the format: "m", "mm" or "".
struct SourceRig {
    RigModel model;
    std::optional<Rectification> rectification = std::nullopt;
    std::vector<std::string> notes = {};
};

// A format. `fits` looks at all files; `read` throws `std::invalid_argument` for what it can't use.
struct SourceFormat {
    RigFormat format;
    std::size_t files = 0;  // how many a rig has; 0 for one or two
    bool hasMoreCameras = false;
    bool (*fits)(const SourceDocuments& documents) = nullptr;
    SourceRig (*read)(const SourceDocuments& documents, const ImportSettings& settings) = nullptr;
};

SourceFormat modelFormat();
SourceFormat openCvFormat();
SourceFormat rosFormat();
SourceFormat kalibrFormat();
SourceFormat sensorFormat();
SourceFormat svoFormat();
SourceFormat vinsFormat();
SourceFormat basaltFormat();
SourceFormat middleburyFormat();
SourceFormat kittiFormat();
SourceFormat kittiRawFormat();
SourceFormat kittiOdometryFormat();
SourceFormat zedFormat();

// Two cameras whose places are not known yet.
SourceRig rigOf(const CameraModel& left, const CameraModel& right, const std::string& unit);

// fx 0 cx / 0 fy cy / 0 0 1 from fx, fy, cx and cy.
cv::Matx33d pinholeMatrix(const std::vector<double>& numbers);

// The lens by the name that robots' programs give it: "radtan", "radial-tangential" and
// "plumb_bob" are OpenCV's pinhole lens, "rational_polynomial" that with 8 coefficients,
// "equidistant" and "fisheye" the wide-angle lens.
LensModel lensOf(const SourceValue& name, const SourceValue& coefficients);

// From two numbers, width and height.
cv::Size sizeFrom(const SourceValue& value);

// A rigid motion.
cv::Matx44d motionFrom(const SourceValue& value);
cv::Matx44d motionOf(const cv::Matx33d& rotation, const cv::Vec3d& shift);

// Sets where the cameras are from their places on one body: both lead from a camera's frame to the
// body's.
void placeOnBody(RigModel& model, const cv::Matx44d& bodyFromLeft,
                 const cv::Matx44d& bodyFromRight);

// Sets where they are from the transform that takes points from the left camera to the right one.
void placeByTransform(RigModel& model, const cv::Matx44d& rightFromLeft);

std::size_t indexOf(const std::vector<std::string>& names, const std::string& name);

// The two cameras among `found`, in order, that are asked for, by default the only two.
std::vector<std::string> chooseCameras(const std::vector<std::string>& found,
                                       const std::vector<std::string>& wanted);

}  // namespace tiomipra

#endif
