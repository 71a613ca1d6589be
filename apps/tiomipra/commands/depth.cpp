// tiomipra depth: point clouds and depth images.
#include <cmath>

#include "base/errors.hpp"
#include "commands/commands.hpp"
#include "commands/matching_run.hpp"
#include "commands/value_images.hpp"
#include "files/cloud_files.hpp"
#include "files/image_files.hpp"
#include "matching/depth_map.hpp"
#include "matching/measured_pixels.hpp"
#include "pages/cloud_page.hpp"
#include "reports/cloud_view.hpp"
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
        files.add(extension, encodeCloud(cloud, encoding, toLines(madeWith)));
    }
}

// Where there is no maximum, what moves by a pixel is far enough.
double farthestOf(const DepthMap& map, const vision::Stereo& stereo) {
    if (!std::isinf(stereo.getMaxDepth()))
        return stereo.getMaxDepth();
    const DepthCamera camera = depthCamera(stereo, map.depth.size());
    return camera.focalLength * camera.baseline;
}

ValueImage imageOf(const Match& match, const DepthMap& map, const vision::Stereo& stereo,
                   const Provenance& madeWith) {
    const std::string unit = madeWith.unit.value_or("");
    return {Quantity::depth,
            map.depth,
            map.measured,
            map.reasons,
            match.confidence,
            unit.empty() ? "unit of the calibration" : unit,
            depthPngStep(madeWith.unit, farthestOf(map, stereo))};
}

// What the colours span is what they span in the picture.
std::string composePage(const std::string& name, const Match& match, const DepthMap& map,
                        const vision::Stereo& stereo, const MatchingOptions& options,
                        const Provenance& madeWith) {
    const ColourScale scale = chooseScale("", summarise(map.depth, map.measured), options.colours);
    return composeCloudPage({name,
                             match.left,
                             match.disparity,
                             map.measured,
                             depthCamera(stereo, map.depth.size()),
                             {scale.low, scale.high},
                             madeWith});
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
            const DepthMap map = computeDepthMap(match, stereo);
            writeClouds(map, match.left, options, madeWith, files);
            if (wants(options, "html"))
                files.add(".html", composePage(name, match, map, stereo, options, madeWith));
            if (wants(options, "view"))
                files.addImage("_view.png", drawCloudView(map.points, map.measured, match.left));
            return writeValues(name, imageOf(match, map, stereo, madeWith), options, files);
        });
}

}  // namespace tiomipra
