// The options of `tiomipra calibrate`.
#ifndef TIOMIPRA_OPTIONS_CALIBRATE_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_CALIBRATE_OPTIONS_HPP

#include <string>
#include <vector>

#include "options/board_options.hpp"
#include "options/common_options.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

struct CalibrateOptions {
    FrameArguments frames;
    BoardOptions board;
    std::vector<std::string> fixedIntrinsics;  // none, or the files of the left and right camera
    std::string lens = "auto";
    RigCalibrationOptions calibration;
    std::size_t maxPairs = 40;
    unsigned jobs = 0;
    std::string output;
    bool isForced = false;  // a calibration to be redone may replace a better one
    bool noReport = false;  // no page to look at
    bool json = false;
};

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options);

}  // namespace tiomipra

#endif
