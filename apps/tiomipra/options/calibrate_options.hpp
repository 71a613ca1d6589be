// The options of `tiomipra calibrate`.
#ifndef TIOMIPRA_OPTIONS_CALIBRATE_OPTIONS_HPP
#define TIOMIPRA_OPTIONS_CALIBRATE_OPTIONS_HPP

#include <string>
#include <vector>

#include "options/common_options.hpp"
#include "rigs/board.hpp"
#include "rigs/rig_calibration.hpp"

namespace tiomipra {

struct CalibrateOptions {
    FrameArguments frames;
    std::string pattern = nameOf(Board().pattern);
    std::string corners;
    std::string square;
    std::string marker;
    std::string dictionary = Board().dictionary;
    std::vector<std::string> fixedIntrinsics;  // none, or the files of the left and right camera
    RigCalibrationOptions calibration;
    std::size_t maxPairs = 40;
    unsigned jobs = 0;
    std::string output;
    bool isForced = false;  // a calibration to be redone may replace a better one
    bool json = false;
};

void addCalibrateOptions(CLI::App& command, CalibrateOptions& options);

// The board that the options describe. Throws `SettingError` when there is no such board.
Board boardOf(const CalibrateOptions& options);

}  // namespace tiomipra

#endif
