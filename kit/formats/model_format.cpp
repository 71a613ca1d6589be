// This project's own rig model, rig.yml, and the same as JSON.
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

bool fits(const SourceDocuments& documents) {
    return documents[0].root().has("rightFromLeftRotation");
}

CameraModel readCamera(const SourceValue& camera) {
    return {{camera.at("width").whole(), camera.at("height").whole()},
            camera.at("cameraMatrix").matrix<3, 3>(),
            lensOf(camera.at("lens"), camera.at("lensCoefficients"))};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings&) {
    const SourceValue root = documents[0].root();
    SourceRig rig{{readCamera(root.at("left")), readCamera(root.at("right")),
                   root.at("rightFromLeftRotation").matrix<3, 3>(),
                   cv::Vec3d(root.at("rightFromLeftTranslation").matrix<3, 1>().val)}};
    const SourceValue unit = root.at("unit");
    if (!isUnit(unit.text()))
        unit.refuse(fmt::format("is {}, must be {} or empty", quote(unit.text()), quote(metres)));
    rig.model.unit = unit.text();
    return rig;
}

}  // namespace

SourceFormat modelFormat() {
    return {{"json", "the rig model that calibrate writes, rig.yml, or the same as JSON"},
            1,
            false,
            fits,
            read};
}

}  // namespace tiomipra
