// camera_info: what a calibrator writes, one file a camera, and the message as it is printed. The
// matrices are taken as they stand.
#include <algorithm>
#include <optional>
#include <stdexcept>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

// The names of one way to write it.
struct Keys {
    const char* width;
    const char* height;
    const char* cameraMatrix;
    const char* coefficients;
    const char* rectification;
    const char* projection;
};

constexpr Keys spellings[] = {
    {"image_width", "image_height", "camera_matrix", "distortion_coefficients",
     "rectification_matrix", "projection_matrix"},
    {"width", "height", "K", "D", "R", "P"},
    {"width", "height", "k", "d", "r", "p"}};

std::optional<Keys> keysOf(const SourceDocument& document) {
    const SourceValue root = document.root();
    for (const Keys& keys : spellings) {
        if (root.has(keys.width) && root.has(keys.cameraMatrix) && root.has(keys.projection))
            return keys;
    }
    return std::nullopt;
}

bool fits(const SourceDocuments& documents) {
    return std::all_of(documents.begin(), documents.end(),
                       [](const SourceDocument& document) { return keysOf(document); });
}

struct RectifiedCamera {
    CameraModel camera;
    cv::Matx33d rotation;
    cv::Matx34d projection;
};

RectifiedCamera readCamera(const SourceDocument& document) {
    const SourceValue root = document.root();
    const auto keys = keysOf(document);
    if (!keys)
        throw std::invalid_argument(
            fmt::format("{} has none of the keys camera_matrix, K and k with the size and the "
                        "projection",
                        quote(document.path)));
    const SourceValue matrix = root.at(keys->cameraMatrix);
    if (cv::norm(matrix.matrix<3, 3>()) == 0)
        matrix.refuse("is 0, which stands for a camera that is not calibrated");
    return {{{root.at(keys->width).whole(), root.at(keys->height).whole()},
             matrix.matrix<3, 3>(),
             lensOf(root.at("distortion_model"), root.at(keys->coefficients))},
            root.at(keys->rectification).matrix<3, 3>(),
            root.at(keys->projection).matrix<3, 4>()};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings&) {
    const RectifiedCamera left = readCamera(documents[0]), right = readCamera(documents[1]);
    if (right.projection(0, 3) == left.projection(0, 3))
        throw std::invalid_argument(
            "the first row of both projection matrices ends with the same number: these are two "
            "single cameras, must be calibrated as a pair");
    SourceRig rig = rigOf(left.camera, right.camera, "m");
    rig.rectification =
        Rectification{left.rotation, right.rotation, left.projection, right.projection};
    placeCameras(rig.model, *rig.rectification);
    return rig;
}

}  // namespace

SourceFormat rosFormat() {
    return {{"ros", "two camera_info files, left and right, or the printed messages"},
            2,
            false,
            fits,
            read};
}

}  // namespace tiomipra
