// What a calibration of a rig is worth: coverage of the images, and a grade by some numbers.
#ifndef TIOMIPRA_RIGS_CALIBRATION_VERDICT_HPP
#define TIOMIPRA_RIGS_CALIBRATION_VERDICT_HPP

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "rigs/calibration_faults.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

// Where in a camera's image the points of the board were seen.
struct Coverage {
    cv::Mat counts;                         // CV_32SC1: points per cell, 8 across and 6 down
    double share = 0;                       // of the cells that hold a point
    std::vector<std::string> emptyRegions;  // of nine, without a point, in words: "top left"
};
Coverage measureCoverage(const std::vector<cv::Point2f>& points, const cv::Size& imageSize);

// Ordered from best to worst.
enum class Grade { good, usable, redo };

std::string nameOf(Grade grade);

// A number that decides on the grade.
struct Criterion {
    std::string name;
    std::string unit;
    double value = 0;
    double goodLimit = 0;    // what is still good
    double usableLimit = 0;  // what is still usable; above `goodLimit` if small values are good
    std::string advice;      // for when it is not good

    bool smallIsGood() const { return goodLimit < usableLimit; }
    Grade grade() const;  // a value that is no number is never good or usable
};

struct CalibrationVerdict {
    Coverage left;
    Coverage right;
    // What keeps the library from using the calibrations; not looked for if the pair error makes
    // the grade `redo` anyway, as the places of the cameras are not known then.
    std::vector<Fault> faults;
    std::vector<Criterion> criteria;
    Grade grade = Grade::redo;  // the worst of the criteria; with faults always `redo`
};

// Judges what `calibrateRig` found from `views`.
CalibrationVerdict judge(const RigSolution& solution, const std::vector<PairDetection>& views);

}  // namespace tiomipra

#endif
