// tiomipra disparity: disparity images.
#include <limits>

#include "base/text.hpp"
#include "commands/commands.hpp"
#include "commands/matching_run.hpp"
#include "files/disparity_files.hpp"
#include "files/image_files.hpp"
#include "reports/pictures.hpp"

namespace tiomipra {
namespace {

// The floating-point formats; what was not measured is marked as is usual in each.
void writeFloats(const Match& match, const MatchingOptions& options, PairFiles& files) {
    using Limits = std::numeric_limits<float>;
    if (wants(options, "tiff"))
        writeImage(files.add("_disparity.tiff"),
                   markUnmeasured(match.disparity, match.measured, Limits::quiet_NaN()));
    if (wants(options, "pfm"))
        writeImage(files.add("_disparity.pfm"),
                   markUnmeasured(match.disparity, match.measured, Limits::infinity()));
}

// Returns how many measured disparities it can't hold.
int writeFixedPoint(const Match& match, PairFiles& files) {
    const FixedPointImage image =
        toFixedPoint(match.disparity, match.measured, pngFactor(Quantity::disparity));
    writeImage(files.add("_disparity.png"), image.pixels);
    return image.outOfRange;
}

void writePicture(const std::string& name, const Match& match, const Statistics& statistics,
                  const std::optional<Interval>& colours, PairFiles& files) {
    const ColourScale scale =
        chooseScale(titleOf("disparity", name, "pixels"), statistics, colours);
    writeImage(files.add("_disparity_picture.png"),
               drawColourPicture(match.disparity, match.measured, scale));
}

PairMeasurement writeDisparity(const std::string& name, const Match& match,
                               const MatchingOptions& options, PairFiles& files) {
    PairMeasurement measurement = measure(Quantity::disparity, match.disparity, match.measured);
    writeFloats(match, options, files);
    if (wants(options, "png"))
        measurement.outOfRangeOfPng = writeFixedPoint(match, files);
    if (wants(options, "picture"))
        writePicture(name, match, measurement.statistics, options.colours, files);
    return measurement;
}

}  // namespace

Ending runDisparity(const MatchingOptions& options) {
    return runMatching("disparity", options,
                       [&options](const std::string& name, const Match& match,
                                  const vision::Stereo&, const Provenance&, PairFiles& files) {
                           return writeDisparity(name, match, options, files);
                       });
}

}  // namespace tiomipra
