// What the subcommands that match have in common: options, and running frames through a matcher.
#ifndef TIOMIPRA_PAIR_MATCHER_HPP
#define TIOMIPRA_PAIR_MATCHER_HPP

#include <CLI/App.hpp>
#include <functional>
#include <string>
#include <vector>

#include "batch.hpp"
#include "calibration_files.hpp"
#include "frame_source.hpp"
#include "matcher_options.hpp"
#include "matching.hpp"
#include "measurements.hpp"
#include "pictures.hpp"
#include "status.hpp"

namespace tiomipra {

struct MatchingOptions {
    CalibrationOptions calibration;
    bool isRectified = false;  // the frames are rectified already, there are no calibrations
    FrameOptions frames;
    MatcherOptions matcher;
    BatchOptions batch;
    std::vector<std::string> formats;
};

// Adds all of these options but the one for rectified frames. `--formats` takes any of `formats`;
// the default is what `options.formats` holds.
void addMatchingOptions(CLI::App& command, MatchingOptions& options,
                        const std::vector<std::string>& formats);

// True when `options` ask for this format.
bool wants(const MatchingOptions& options, const std::string& format);

// Writes the `files` of the pair `name`: what matching it gave, the object that matched it and what
// the results are made with (see provenance.hpp), which holds the parameters as they were fitted to
// the size of the images and, if it is known, the unit of lengths.
using WriteMatch = std::function<PairResult(
    const std::string& name, const Match& match, const vision::Stereo& stereo,
    const nlohmann::ordered_json& madeWith, PairFiles& files)>;

// Runs subcommand `name`: matches all frames and hands the matches to `write`, from several threads
// at once. Messages about the parameters go to standard error.
Status runMatching(const std::string& name, const MatchingOptions& options,
                   const WriteMatch& write);

// The colours for measured values: nearly all of them, as a few strays would else use up the bar.
// Without any value there is no bar.
ColourScale chooseScale(const std::string& title, const Statistics& statistics);

// A pair's result without files: how much of the image was measured, and the `statistics` of the
// `quantity`.
PairResult describeMeasured(const cv::Mat& measured, const std::string& quantity,
                            const Statistics& statistics);

}  // namespace tiomipra

#endif
