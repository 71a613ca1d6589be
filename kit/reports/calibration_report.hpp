// What a calibration of a rig came to and is worth, as text, JSON and pictures.
#ifndef TIOMIPRA_REPORTS_CALIBRATION_REPORT_HPP
#define TIOMIPRA_REPORTS_CALIBRATION_REPORT_HPP

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "files/frame_source.hpp"
#include "rigs/board_search.hpp"
#include "rigs/calibration_verdict.hpp"
#include "rigs/reprojection.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

struct CalibrationReport {
    RigSolution solution;
    CalibrationVerdict verdict;
    std::vector<PairNames> views;      // the pairs that show the board, as `solution` numbers them
    std::vector<SkippedPair> skipped;  // the others, and those that `solution` rejected
    std::vector<PairNames> alike;      // left out as well, see `chooseViews`
    Board board;
    std::vector<ReprojectedView> reprojected;  // of each view that `solution` used
};

// Judges the solution that was found from the detections of `search`.
CalibrationReport makeReport(RigSolution solution, const BoardSearch& search);

// In the order in which reports list them, largest pair error first: positions within
// `solution.used`.
std::vector<std::size_t> rankedViews(const RigSolution& solution);

nlohmann::ordered_json toJson(const CalibrationReport& report);
std::string toText(const CalibrationReport& report);

// The coverage of both images side by side.
cv::Mat drawCoverage(const CalibrationReport& report);

StereoImages rectifyPair(const RectifiedRig& rig, const StereoImages& images);

}  // namespace tiomipra

#endif
