// What a pair of calibrations says about the rig, and whether the library can work with it.
#ifndef TIOMIPRA_RIG_INSPECTION_HPP
#define TIOMIPRA_RIG_INSPECTION_HPP

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>
#include <vision/calibration.hpp>

#include "disparity_depth.hpp"

namespace tiomipra {

// Angles in degrees that an image shows, lens distortion left aside.
struct FieldOfView {
    double horizontal = 0;
    double vertical = 0;
    double diagonal = 0;
};

struct CameraGeometry {
    cv::Size size;
    cv::Point2d focal;            // pixels
    cv::Point2d principalOffset;  // Principal point minus image centre, pixels
    FieldOfView fieldOfView;
};

// What a disparity means at one depth.
struct DepthStep {
    double depth = 0;       // unit of the calibrations
    double disparity = 0;   // pixels
    double resolution = 0;  // change of depth for 1/16 pixel, the matchers' step
};

struct RigGeometry {
    CameraGeometry left;
    CameraGeometry right;
    double baseline = 0;               // unit of the calibrations; positive in a usable rig
    double rectifiedFocal = 0;         // pixels
    FieldOfView rectifiedFieldOfView;  // of the left rectified image
    DisparityModel disparity;
    std::vector<DepthStep> depthSteps;  // at round depths, from near to far
};

// Something that is wrong with a pair of calibrations.
struct Fault {
    std::string problem;  // the item, its value and the rule that it breaks
    std::string remedy;   // What to do about it
    bool isSwap = false;  // the two files are exchanged, and nothing else is wrong
};

// Everything that keeps the library from working with the pair; empty if it is usable.
std::vector<Fault> findFaults(const vision::Calibration& left, const vision::Calibration& right);

CameraGeometry describeCamera(const vision::Calibration& calibration);

// The numbers of a usable pair.
RigGeometry describeGeometry(const vision::Calibration& left, const vision::Calibration& right);

nlohmann::ordered_json toJson(const FieldOfView& field);
nlohmann::ordered_json toJson(const RigGeometry& geometry);
nlohmann::ordered_json toJson(const std::vector<Fault>& faults);

// The same as lines of text, with lengths in `unit`; "" for one without a name.
std::string toText(const RigGeometry& geometry, const std::string& unit);

}  // namespace tiomipra

#endif
