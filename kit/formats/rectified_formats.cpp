// Cameras whose pictures are rectified already, of benchmarks above all.
#include <cmath>
#include <stdexcept>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

// The rig of rectified pictures. The right projection holds the baseline.
SourceRig rectifiedRig(const cv::Size& size, const cv::Matx34d& left, const cv::Matx34d& right,
                       const std::string& unit) {
    Rectification rectification;
    rectification.leftProjection = left;
    rectification.rightProjection = right;
    SourceRig rig = rigOf({size, left.get_minor<3, 3>(0, 0), {}},
                          {size, right.get_minor<3, 3>(0, 0), {}}, unit);
    rig.rectification = rectification;
    placeCameras(rig.model, rectification);
    return rig;
}

cv::Matx34d projectionOf(const cv::Matx33d& matrix, double last) {
    cv::Matx34d projection;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column)
            projection(row, column) = matrix(row, column);
    }
    projection(0, 3) = last;
    return projection;
}

namespace middlebury {

bool fits(const SourceDocuments& documents) {
    const SourceValue root = documents[0].root();
    return root.has("cam0") && root.has("cam1") && root.has("baseline");
}

SourceRig read(const SourceDocuments& documents, const ImportSettings&) {
    const SourceValue root = documents[0].root();
    const auto left = root.at("cam0").matrix<3, 3>(), right = root.at("cam1").matrix<3, 3>();
    const double offset = right(0, 2) - left(0, 2);
    const auto doffs = root.find("doffs");
    constexpr double tolerance = 0.01;
    if (doffs && std::abs(doffs->number() - offset) > tolerance)
        doffs->refuse(
            fmt::format("is {}, must be the difference of the centres in cam1 and cam0, "
                        "{}",
                        significant(doffs->number(), 6), significant(offset, 6)));
    return rectifiedRig({root.at("width").whole(), root.at("height").whole()},
                        projectionOf(left, 0),
                        projectionOf(right, -right(0, 0) * root.at("baseline").number()), "mm");
}

}  // namespace middlebury

namespace kitti {

// Both "2" and "02".
std::vector<std::string> choosePair(const std::vector<std::string>& found,
                                    std::vector<std::string> wanted) {
    for (std::string& name : wanted)
        name.erase(0, startsWith(name, "0") && name.size() == 2 ? 1 : 0);
    return chooseCameras(found, wanted);
}

std::vector<std::string> camerasIn(const SourceValue& root, const std::string& start) {
    std::vector<std::string> names;
    for (const char* name : {"0", "1", "2", "3"}) {
        if (root.has(start + name))
            names.emplace_back(name);
    }
    return names;
}

// The left camera becomes the origin. What the right one is higher or nearer can't be said by
// rectified calibrations.
SourceRig read(const cv::Size& size, const cv::Matx34d& left, const cv::Matx34d& right) {
    SourceRig rig = rectifiedRig(size, left, right, "m");
    Rectification& rectification = *rig.rectification;
    const cv::Vec3d shift = rig.model.rightFromLeftTranslation;
    rectification.leftProjection = projectionOf(rig.model.left.cameraMatrix, 0);
    rectification.rightProjection =
        projectionOf(rig.model.right.cameraMatrix, right(0, 0) * shift[0]);
    const double rows = std::abs(right(1, 1) * shift[1]);
    constexpr double worthTelling = 0.01;  // pixels times metres
    if (rows > worthTelling)
        rig.notes.push_back(fmt::format(
            "matching points are {} / depth in metres pixels off each other's row", digits(rows)));
    return rig;
}

bool fitsRectified(const SourceDocuments& documents) {
    return documents[0].root().has("P_rect_00");
}

// Before rectification.
SourceRig readRaw(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root();
    const auto pair = choosePair(camerasIn(root, "K_0"), settings.cameras);
    const auto camera = [&](const std::string& name) {
        return CameraModel{sizeFrom(root.at("S_0" + name)),
                           root.at("K_0" + name).matrix<3, 3>(),
                           {LensKind::radialTangential, root.at("D_0" + name).numbers()}};
    };
    const auto rotation = [&](const std::string& name) {
        return root.at("R_0" + name).matrix<3, 3>();
    };
    const auto translation = [&](const std::string& name) {
        return cv::Vec3d(root.at("T_0" + name).matrix<3, 1>().val);
    };
    SourceRig rig = rigOf(camera(pair[0]), camera(pair[1]), "m");
    RigModel& model = rig.model;
    model.rightFromLeftRotation = rotation(pair[1]) * rotation(pair[0]).t();
    model.rightFromLeftTranslation =
        translation(pair[1]) - model.rightFromLeftRotation * translation(pair[0]);
    return rig;
}

// Its pictures come in both ways.
SourceRig readRectified(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root();
    const auto pair = choosePair(camerasIn(root, "P_rect_0"), settings.cameras);
    const cv::Size size = sizeFrom(root.at("S_rect_0" + pair[0]));
    const auto raw = root.find("S_0" + pair[0]);
    if (raw && settings.imageSize && *settings.imageSize != size &&
        *settings.imageSize == sizeFrom(*raw)) {
        SourceRig rig = readRaw(documents, settings);
        rig.notes.push_back(
            fmt::format("for the raw pictures, as these are {}", describe(sizeFrom(*raw))));
        return rig;
    }
    const auto projection = [&](int i) {
        return root.at("P_rect_0" + pair[static_cast<std::size_t>(i)]).matrix<3, 4>();
    };
    return read(size, projection(0), projection(1));
}

bool fitsOdometry(const SourceDocuments& documents) {
    return camerasIn(documents[0].root(), "P").size() > 1;
}

SourceRig readOdometry(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root();
    const auto pair = choosePair(camerasIn(root, "P"), settings.cameras);
    return read({}, root.at("P" + pair[0]).matrix<3, 4>(), root.at("P" + pair[1]).matrix<3, 4>());
}

}  // namespace kitti
}  // namespace

SourceFormat middleburyFormat() {
    return {{"middlebury", "calib.txt with cam0, cam1, baseline and doffs; rectified pictures"},
            1,
            false,
            middlebury::fits,
            middlebury::read};
}

SourceFormat kittiFormat() {
    return {{"kitti", "calib_cam_to_cam.txt for rectified pictures"},
            1,
            true,
            kitti::fitsRectified,
            kitti::readRectified};
}

// Never by its content, which is that of the one before.
SourceFormat kittiRawFormat() {
    return {{"kitti-raw", "calib_cam_to_cam.txt for raw pictures"},
            1,
            true,
            [](const SourceDocuments&) { return false; },
            kitti::readRaw};
}

SourceFormat kittiOdometryFormat() {
    return {{"kitti-odometry", "calib.txt with P0 to P3; rectified pictures"},
            1,
            true,
            kitti::fitsOdometry,
            kitti::readOdometry};
}

}  // namespace tiomipra
