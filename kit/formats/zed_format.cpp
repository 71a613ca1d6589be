// The settings file of a ZED: a section for each camera and resolution. The left camera is the
// origin; rotations are vectors, lengths millimetres.
#include <opencv2/calib3d.hpp>
#include <stdexcept>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

struct Resolution {
    const char* name;
    cv::Size size;
};

const Resolution resolutions[] = {{"2K", {2208, 1242}},      {"FHD", {1920, 1080}},
                                  {"FHD1200", {1920, 1200}}, {"HD", {1280, 720}},
                                  {"SVGA", {960, 600}},      {"VGA", {672, 376}}};

bool fits(const SourceDocuments& documents) {
    const SourceValue root = documents[0].root();
    const auto hasOne = [&](const Resolution& one) {
        return root.has(std::string("LEFT_CAM_") + one.name);
    };
    return root.has("STEREO") &&
           std::any_of(std::begin(resolutions), std::end(resolutions), hasOne);
}

Resolution chooseResolution(const SourceValue& root, const std::optional<cv::Size>& size) {
    std::vector<Resolution> found;
    std::vector<std::string> sizes;
    for (const Resolution& one : resolutions) {
        if (!root.has(std::string("LEFT_CAM_") + one.name))
            continue;
        if (size == one.size)
            return one;
        found.push_back(one);
        sizes.push_back(describe(one.size));
    }
    if (found.empty())
        throw std::invalid_argument("it has no section LEFT_CAM_HD or of another resolution");
    if (found.size() == 1 && !size)
        return found[0];
    throw std::invalid_argument(fmt::format("the size of the images {}, must be one of {}",
                                            size ? "is " + describe(*size) : "(size) is missing",
                                            joined(sizes)));
}

CameraModel readCamera(const SourceValue& section, const cv::Size& size) {
    const auto get = [&](const char* key) { return section.at(key).number(); };
    const auto third = section.find("k3");
    return {size,
            pinholeMatrix({get("fx"), get("fy"), get("cx"), get("cy")}),
            {LensKind::radialTangential,
             {get("k1"), get("k2"), get("p1"), get("p2"), third ? third->number() : 0}}};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root();
    const auto [name, size] = chooseResolution(root, settings.imageSize);
    const std::string end = std::string("_") + name;
    const SourceValue stereo = root.at("STEREO");
    const auto orZero = [&](const std::string& key) {
        const auto value = stereo.find(key);
        return value ? value->number() : 0;
    };
    SourceRig rig = rigOf(readCamera(root.at("LEFT_CAM" + end), size),
                          readCamera(root.at("RIGHT_CAM" + end), size), "mm");
    rig.notes.emplace_back(
        "the signs of its angles were never tried on pictures: check the rig with a pair before "
        "you use it");
    const auto angle = [&](const char* key) { return stereo.at(key + end).number(); };
    cv::Rodrigues(cv::Vec3d(angle("RX"), angle("CV"), angle("RZ")),
                  rig.model.rightFromLeftRotation);
    rig.model.rightFromLeftTranslation = {-stereo.at("Baseline").number(), orZero("TY"),
                                          orZero("TZ")};
    return rig;
}

}  // namespace

SourceFormat zedFormat() {
    return {{"zed", "SN*.conf, a section for each camera and resolution"}, 1, false, fits, read};
}

}  // namespace tiomipra
