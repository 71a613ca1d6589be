// tiomipra depth: point clouds and depth images.
#include "base/errors.hpp"
#include "base/text.hpp"
#include "commands/commands.hpp"
#include "commands/matching_run.hpp"
#include "files/cloud_files.hpp"
#include "files/disparity_files.hpp"
#include "files/image_files.hpp"
#include "files/output_files.hpp"
#include "matching/depth_map.hpp"
#include "reports/pictures.hpp"

namespace tiomipra {
namespace {

struct CloudFile {
    const char* format;
    const char* extension;
    CloudFormat encoding;
};

constexpr CloudFile cloudFiles[] = {{"ply", ".ply", CloudFormat::plyBinary},
                                    {"ply-text", ".ply", CloudFormat::plyText},
                                    {"pcd", ".pcd", CloudFormat::pcd}};

void writeClouds(const DepthMap& map, const cv::Mat& image, const MatchingOptions& options,
                 const Provenance& madeWith, PairFiles& files) {
    for (const auto& [format, extension, encoding] : cloudFiles) {
        if (!wants(options, format))
            continue;
        const auto cloud = collectCloud(map.points, map.measured, image);
        writeFile(files.add(extension), encodeCloud(cloud, encoding, toLines(madeWith)));
    }
}

// Returns how many measured depths it can't hold.
int writeDepthImage(const DepthMap& map, PairFiles& files) {
    const FixedPointImage image = toFixedPoint(map.depth, map.measured, pngFactor(Quantity::depth));
    writeImage(files.add("_depth.png"), image.pixels);
    return image.outOfRange;
}

void writePicture(const std::string& name, const DepthMap& map, const Statistics& statistics,
                  const std::string& unit, const std::optional<Interval>& colours,
                  PairFiles& files) {
    const std::string title =
        titleOf("depth", name, unit.empty() ? "unit of the calibration" : unit);
    ColourScale scale = chooseScale(title + ", warm is near", statistics, colours);
    scale.warmIsLow = true;
    writeImage(files.add("_depth_picture.png"), drawColourPicture(map.depth, map.measured, scale));
}

PairMeasurement writeDepth(const std::string& name, const Match& match,
                           const vision::Stereo& stereo, const MatchingOptions& options,
                           const Provenance& madeWith, PairFiles& files) {
    const DepthMap map = computeDepthMap(match, stereo);
    PairMeasurement measurement = measure(Quantity::depth, map.depth, map.measured);
    writeClouds(map, match.left, options, madeWith, files);
    if (wants(options, "png"))
        measurement.outOfRangeOfPng = writeDepthImage(map, files);
    if (wants(options, "picture"))
        writePicture(name, map, measurement.statistics, madeWith.unit.value_or(""), options.colours,
                     files);
    return measurement;
}

}  // namespace

Ending runDepth(const MatchingOptions& options) {
    if (wants(options, "ply") && wants(options, "ply-text"))
        throw SettingError(
            "--formats: ply and ply-text have the same file name, must not be asked for together");
    return runMatching(
        "depth", options,
        [&options](const std::string& name, const Match& match, const vision::Stereo& stereo,
                   const Provenance& madeWith, PairFiles& files) {
            return writeDepth(name, match, stereo, options, madeWith, files);
        });
}

}  // namespace tiomipra
