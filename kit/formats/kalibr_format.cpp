// Camera chains: each camera after the first has the transform from the one before it.
#include <algorithm>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

bool isCamera(const SourceValue& root, const std::string& name) {
    const auto camera = root.find(name);
    return camera && camera->has("intrinsics");
}

bool fits(const SourceDocuments& documents) {
    return isCamera(documents[0].root(), "cam0");
}

// In the order of the chain: cam0, cam1, ... cam10.
std::vector<std::string> camerasIn(const SourceValue& root) {
    std::vector<std::string> names;
    for (std::string name = "cam0"; isCamera(root, name); name = fmt::format("cam{}", names.size()))
        names.push_back(name);
    return names;
}

CameraModel readCamera(const SourceValue& camera) {
    const SourceValue model = camera.at("camera_model");
    if (model.text() != "pinhole")
        model.refuse(fmt::format("is {}, must be pinhole", quote(model.text())));
    return {sizeFrom(camera.at("resolution")), pinholeMatrix(camera.at("intrinsics").numbers(4)),
            lensOf(camera.at("distortion_model"), camera.at("distortion_coeffs"))};
}

// From the frame of the first camera.
cv::Matx44d placeOf(const SourceValue& root, const std::vector<std::string>& chain,
                    const std::string& name) {
    cv::Matx44d place = cv::Matx44d::eye();
    for (auto camera = chain.begin(); *camera != name;)
        place = motionFrom(root.at(*++camera).at("T_cn_cnm1")) * place;
    return place;
}

SourceRig read(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root();
    const auto chain = camerasIn(root);
    const auto pair = chooseCameras(chain, settings.cameras);
    SourceRig rig = rigOf(readCamera(root.at(pair[0])), readCamera(root.at(pair[1])), "m");
    placeByTransform(rig.model,
                     placeOf(root, chain, pair[1]) * placeOf(root, chain, pair[0]).inv());
    return rig;
}

}  // namespace

SourceFormat kalibrFormat() {
    return {{"kalibr", "a camera chain (camchain-*.yaml)"}, 1, true, fits, read};
}

}  // namespace tiomipra
