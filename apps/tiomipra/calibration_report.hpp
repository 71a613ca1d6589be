// What a calibration of a rig is worth: coverage, verdict, and the report as text, JSON and
// picture.
#ifndef TIOMIPRA_CALIBRATION_REPORT_HPP
#define TIOMIPRA_CALIBRATION_REPORT_HPP

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "rig_calibration.hpp"
#include "rig_inspection.hpp"

namespace tiomipra {

// Where in a camera's image the points of the board were seen.
struct Coverage {
    cv::Mat counts;                         // CV_32SC1: points per cell of a grid over the image
    double share = 0;                       // of the cells that hold a point
    std::vector<std::string> emptyRegions;  // without a point, in words: "top left"
};
Coverage measureCoverage(const std::vector<cv::Point2f>& points, const cv::Size& imageSize);

// Ordered from best to worst.
enum class Grade { good, usable, redo };

std::string nameOf(Grade grade);

// A number that decides on the verdict.
struct Criterion {
    std::string name;
    std::string unit;
    double value = 0;
    double goodLimit = 0;    // what is still good
    double usableLimit = 0;  // what is still usable; above `goodLimit` if small values are good
    std::string advice;      // for when it is not good

    bool smallIsGood() const { return goodLimit < usableLimit; }
    Grade grade() const;
};

// The files of a pair of images.
struct PairNames {
    std::string left;
    std::string right;
};

struct SkippedPair {
    PairNames names;
    std::string reason;
};

struct CalibrationReport {
    std::string unit;                  // of lengths: "m", or "" for the user's own
    std::vector<PairNames> views;      // the pairs that show the board, as `solution` numbers them
    std::vector<SkippedPair> skipped;  // the others
    RigSolution solution;
    Coverage leftCoverage;
    Coverage rightCoverage;
    // What keeps the library from using the calibrations; not looked for if the pair error makes
    // the verdict `redo` anyway, as the places of the cameras are not known then.
    std::vector<Fault> faults;
    std::vector<Criterion> criteria;
    Grade verdict = Grade::redo;  // the worst of the criteria; with faults always `redo`
};

// Judges a solution. `names` belong to `detections`, which `solution` was found from.
CalibrationReport makeReport(RigSolution solution, const std::vector<PairDetection>& detections,
                             std::vector<PairNames> names, std::vector<SkippedPair> skipped,
                             std::string unit);

nlohmann::ordered_json toJson(const CalibrationReport& report);
std::string toText(const CalibrationReport& report);

// The coverage of both images side by side.
cv::Mat drawCoverage(const CalibrationReport& report);

}  // namespace tiomipra

#endif
