// Disparity images.
#include <limits>
#include <memory>

#include "disparity_files.hpp"
#include "image_files.hpp"
#include "pair_matcher.hpp"
#include "subcommands.hpp"

namespace tiomipra {
namespace {

PairResult writeDisparity(const std::string& name, const Match& match,
                          const MatchingOptions& options, PairFiles& files) {
    const cv::Mat& disparity = match.disparity;
    const cv::Mat& measured = match.measured;
    const Statistics statistics = summarise(disparity, measured);
    PairResult result = describeMeasured(measured, "disparity", statistics);
    const auto write = [&](const std::string& suffix, const cv::Mat& image) {
        writeImage(files.add(suffix), image);
    };
    if (wants(options, "tiff"))
        write("_disparity.tiff",
              markUnmeasured(disparity, measured, std::numeric_limits<float>::quiet_NaN()));
    if (wants(options, "pfm"))
        write("_disparity.pfm",
              markUnmeasured(disparity, measured, std::numeric_limits<float>::infinity()));
    if (wants(options, "png")) {
        const FixedPointImage image = toFixedPoint(disparity, measured, 256);
        write("_disparity.png", image.pixels);
        result.values["outOfRangeOfPng"] = image.outOfRange;
        if (image.outOfRange > 0)
            result.summary += ", " + std::to_string(image.outOfRange) +
                              " outside of what the 16-bit PNG holds (above 0, below 256)";
    }
    if (wants(options, "picture"))
        write("_disparity_picture.png",
              drawColourPicture(disparity, measured,
                                chooseScale("disparity of " + name + " (pixels)", statistics)));
    return result;
}

}  // namespace

Run configureDisparity(CLI::App& command) {
    const auto options = std::make_shared<MatchingOptions>();
    options->formats = {"tiff", "png", "picture"};
    addMatchingOptions(command, *options, {"tiff", "pfm", "png", "picture"});
    command
        .add_flag("--rectified", options->isRectified,
                  "The images are rectified already; no calibration is needed")
        ->excludes("--calibration")
        ->excludes("--left-calibration")
        ->group("Calibration");
    return [options] {
        return runMatching("disparity", *options,
                           [&](const std::string& name, const Match& match, const vision::Stereo&,
                               const nlohmann::ordered_json&, PairFiles& files) {
                               return writeDisparity(name, match, *options, files);
                           });
    };
}

}  // namespace tiomipra
