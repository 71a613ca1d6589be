// Point clouds and depth images.
#include <memory>

#include "cloud_files.hpp"
#include "disparity_files.hpp"
#include "image_files.hpp"
#include "output_files.hpp"
#include "pair_matcher.hpp"
#include "provenance.hpp"
#include "subcommands.hpp"

namespace tiomipra {
namespace {

// What was measured, of which the depth is within the maximum.
struct DepthMap {
    cv::Mat points;    // `CV_32FC3`
    cv::Mat depth;     // `CV_32FC1`
    cv::Mat measured;  // `CV_8UC1`
};

DepthMap computeDepthMap(const Match& match, const vision::Stereo& stereo) {
    DepthMap map;
    map.points = stereo.computeDepth(match.disparity);
    map.measured = match.measured & findPoints(map.points);
    cv::extractChannel(map.points, map.depth, 2);
    return map;
}

struct CloudFile {
    const char* format;
    const char* extension;
    CloudFormat encoding;
};

constexpr CloudFile cloudFiles[] = {{"ply", ".ply", CloudFormat::plyBinary},
                                    {"ply-text", ".ply", CloudFormat::plyText},
                                    {"pcd", ".pcd", CloudFormat::pcd}};

void writeClouds(const DepthMap& map, const cv::Mat& image, const MatchingOptions& options,
                 const nlohmann::ordered_json& madeWith, PairFiles& files) {
    for (const auto& [format, extension, encoding] : cloudFiles) {
        if (!wants(options, format))
            continue;
        const auto cloud = collectCloud(map.points, map.measured, image);
        writeFile(files.add(extension), encodeCloud(cloud, encoding, asLines(madeWith)));
    }
}

void writeDepthImage(const DepthMap& map, PairFiles& files, PairResult& result) {
    const FixedPointImage image = toFixedPoint(map.depth, map.measured, 1000);
    writeImage(files.add("_depth.png"), image.pixels);
    result.values["outOfRangeOfPng"] = image.outOfRange;
    if (image.outOfRange > 0)
        result.summary += ", " + std::to_string(image.outOfRange) +
                          " outside of what the 16-bit PNG holds (0.001 to 65.535)";
}

void writePicture(const std::string& name, const DepthMap& map, const std::string& unit,
                  PairFiles& files) {
    const std::string unitText = unit.empty() ? "unit of the calibration" : unit;
    ColourScale scale = chooseScale("depth of " + name + " (" + unitText + "), warm is near",
                                    summarise(map.depth, map.measured));
    scale.warmIsLow = true;
    writeImage(files.add("_depth_picture.png"), drawColourPicture(map.depth, map.measured, scale));
}

PairResult writeDepth(const std::string& name, const Match& match, const vision::Stereo& stereo,
                      const MatchingOptions& options, const nlohmann::ordered_json& madeWith,
                      PairFiles& files) {
    const DepthMap map = computeDepthMap(match, stereo);
    PairResult result = describeMeasured(map.measured, "depth", summarise(map.depth, map.measured));
    writeClouds(map, match.left, options, madeWith, files);
    if (wants(options, "png"))
        writeDepthImage(map, files, result);
    if (wants(options, "picture"))
        writePicture(name, map, madeWith.value("unit", ""), files);
    return result;
}

}  // namespace

Run configureDepth(CLI::App& command) {
    const auto options = std::make_shared<MatchingOptions>();
    options->formats = {"ply", "png", "picture"};
    addMatchingOptions(command, *options, {"ply", "ply-text", "pcd", "png", "picture"});
    return [options] {
        if (wants(*options, "ply") && wants(*options, "ply-text"))
            throw UsageError(
                "--formats: ply and ply-text have the same file name, must not be "
                "asked for together");
        return runMatching(
            "depth", *options,
            [&](const std::string& name, const Match& match, const vision::Stereo& stereo,
                const nlohmann::ordered_json& madeWith, PairFiles& files) {
                return writeDepth(name, match, stereo, *options, madeWith, files);
            });
    };
}

}  // namespace tiomipra
