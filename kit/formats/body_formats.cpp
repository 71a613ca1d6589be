// Cameras by their places on a body that carries an inertial sensor, too.
#include <algorithm>
#include <filesystem>
#include <opencv2/core/quaternion.hpp>
#include <stdexcept>

#include "base/text.hpp"
#include "formats/source_rig.hpp"

namespace tiomipra {
namespace {

void requireText(const SourceValue& value, const char* expected) {
    if (value.text() != expected)
        value.refuse(fmt::format("is {}, must be {}", quote(value.text()), expected));
}

std::vector<double> numbersOf(const SourceValue& value, const std::vector<const char*>& keys) {
    std::vector<double> numbers;
    for (const char* key : keys)
        numbers.push_back(value.at(key).number());
    return numbers;
}

// One file a camera, "sensor.yaml".
namespace sensor {

bool fits(const SourceDocuments& documents) {
    return std::all_of(documents.begin(), documents.end(), [](const SourceDocument& document) {
        return document.root().has("T_BS") && document.root().has("intrinsics");
    });
}

CameraModel readCamera(const SourceValue& root) {
    requireText(root.at("camera_model"), "pinhole");
    return {sizeFrom(root.at("resolution")), pinholeMatrix(root.at("intrinsics").numbers(4)),
            lensOf(root.at("distortion_model"), root.at("distortion_coefficients"))};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings&) {
    const SourceValue left = documents[0].root(), right = documents[1].root();
    SourceRig rig = rigOf(readCamera(left), readCamera(right), "m");
    placeOnBody(rig.model, motionFrom(left.at("T_BS")), motionFrom(right.at("T_BS")));
    return rig;
}

}  // namespace sensor

// One file with a list of cameras, each with "T_B_C".
namespace svo {

bool fits(const SourceDocuments& documents) {
    return documents[0].root().has("cameras");
}

CameraModel readCamera(const SourceValue& camera) {
    requireText(camera.at("type"), "pinhole");
    const SourceValue distortion = camera.at("distortion");
    return {{camera.at("image_width").whole(), camera.at("image_height").whole()},
            pinholeMatrix(camera.at("intrinsics").numbers(4)),
            lensOf(distortion.at("type"), distortion.at("parameters"))};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings& settings) {
    const auto cameras = documents[0].root().at("cameras").elements();
    std::vector<std::string> names;
    for (const SourceValue& camera : cameras) {
        const auto label = camera.at("camera").find("label");
        names.push_back(label ? label->text() : fmt::format("cam{}", names.size()));
    }
    const auto pair = chooseCameras(names, settings.cameras);
    const SourceValue& left = cameras[indexOf(names, pair[0])];
    const SourceValue& right = cameras[indexOf(names, pair[1])];
    SourceRig rig = rigOf(readCamera(left.at("camera")), readCamera(right.at("camera")), "m");
    placeOnBody(rig.model, motionFrom(left.at("T_B_C")), motionFrom(right.at("T_B_C")));
    return rig;
}

}  // namespace svo

// One file with the places, and one a camera with the rest.
namespace vins {

bool hasPlaces(const SourceDocument& document) {
    return document.root().has("body_T_cam0");
}

bool fits(const SourceDocuments& documents) {
    return std::any_of(documents.begin(), documents.end(), hasPlaces);
}

CameraModel readCamera(const SourceValue& root) {
    const SourceValue type = root.at("model_type");
    const bool isFisheye = type.text() == "KANNALA_BRANDT";
    if (!isFisheye && type.text() != "PINHOLE")
        type.refuse(fmt::format("is {}, must be PINHOLE or KANNALA_BRANDT", quote(type.text())));
    const cv::Size size(root.at("image_width").whole(), root.at("image_height").whole());
    const SourceValue projection = root.at("projection_parameters");
    if (isFisheye)
        return {size,
                pinholeMatrix(numbersOf(projection, {"mu", "mv", "u0", "v0"})),
                {LensKind::fisheye, numbersOf(projection, {"k2", "k3", "k4", "k5"})}};
    return {size,
            pinholeMatrix(numbersOf(projection, {"fx", "fy", "cx", "cy"})),
            {LensKind::radialTangential,
             numbersOf(root.at("distortion_parameters"), {"k1", "k2", "p1", "p2"})}};
}

// What the file says about how sure its places are.
std::vector<std::string> describePlaces(const SourceValue& root) {
    const auto estimate = root.find("estimate_extrinsic");
    if (!estimate || estimate->whole() == 0)
        return {};
    return {
        fmt::format("estimate_extrinsic is {}: the places of the cameras are a first guess; "
                    "those that were found stand in another file",
                    estimate->whole())};
}

// Left and right, by the names that the file with the places has for them, else in their order.
SourceDocuments camerasOf(const SourceDocuments& documents, const SourceDocument& places) {
    SourceDocuments cameras;
    for (const SourceDocument& document : documents) {
        if (&document != &places)
            cameras.push_back(document);
    }
    const auto isNamed = [&](const char* key, const SourceDocument& document) {
        const auto name = places.root().find(key);
        return name && std::filesystem::path(name->text()).filename() ==
                           std::filesystem::path(document.path).filename();
    };
    if (isNamed("cam0_calib", cameras[1]) && isNamed("cam1_calib", cameras[0]))
        std::swap(cameras[0], cameras[1]);
    return cameras;
}

SourceRig read(const SourceDocuments& documents, const ImportSettings&) {
    const auto places = std::find_if(documents.begin(), documents.end(), hasPlaces);
    if (places == documents.end())
        throw std::invalid_argument("none of them has body_T_cam0");
    const SourceDocuments cameras = camerasOf(documents, *places);
    const SourceValue root = places->root();
    SourceRig rig = rigOf(readCamera(cameras[0].root()), readCamera(cameras[1].root()), "m");
    rig.notes = describePlaces(root);
    placeOnBody(rig.model, motionFrom(root.at("body_T_cam0")), motionFrom(root.at("body_T_cam1")));
    return rig;
}

}  // namespace vins

// JSON with lists of cameras below "value0".
namespace basalt {

bool fits(const SourceDocuments& documents) {
    const auto value = documents[0].root().find("value0");
    return value && value->has("T_imu_cam");
}

cv::Matx44d placeOf(const SourceValue& value) {
    const auto numbers = numbersOf(value, {"qw", "qx", "qy", "qz", "px", "py", "pz"});
    const cv::Quatd turn(numbers[0], numbers[1], numbers[2], numbers[3]);
    if (std::abs(turn.norm() - 1) > 1e-3)
        value.refuse(
            fmt::format("has a quaternion of length {}, must be 1", significant(turn.norm(), 6)));
    return motionOf(turn.toRotMat3x3(cv::QUAT_ASSUME_NOT_UNIT),
                    {numbers[4], numbers[5], numbers[6]});
}

CameraModel readCamera(const SourceValue& camera, const SourceValue& resolution) {
    const SourceValue type = camera.at("camera_type");
    const SourceValue intrinsics = camera.at("intrinsics");
    const auto lens = [&]() -> LensModel {
        if (type.text() == "pinhole")
            return {};
        if (type.text() == "pinhole-radtan8")
            return {LensKind::radialTangential,
                    numbersOf(intrinsics, {"k1", "k2", "p1", "p2", "k3", "k4", "k5", "k6"})};
        if (type.text() == "kb4")
            return {LensKind::fisheye, numbersOf(intrinsics, {"k1", "k2", "k3", "k4"})};
        type.refuse(
            fmt::format("is {}, must be pinhole, pinhole-radtan8 or kb4", quote(type.text())));
    };
    return {sizeFrom(resolution), pinholeMatrix(numbersOf(intrinsics, {"fx", "fy", "cx", "cy"})),
            lens()};
}

SourceRig read(const SourceDocuments& documents, const ImportSettings& settings) {
    const SourceValue root = documents[0].root().at("value0");
    const auto places = root.at("T_imu_cam").elements();
    const auto cameras = root.at("intrinsics").elements();
    const auto resolutions = root.at("resolution").elements();
    std::vector<std::string> names;
    while (names.size() < std::min({places.size(), cameras.size(), resolutions.size()}))
        names.push_back(fmt::format("cam{}", names.size()));
    const auto pair = chooseCameras(names, settings.cameras);
    const std::size_t left = indexOf(names, pair[0]), right = indexOf(names, pair[1]);
    SourceRig rig = rigOf(readCamera(cameras[left], resolutions[left]),
                          readCamera(cameras[right], resolutions[right]), "m");
    placeOnBody(rig.model, placeOf(places[left]), placeOf(places[right]));
    return rig;
}

}  // namespace basalt
}  // namespace

SourceFormat sensorFormat() {
    return {{"sensor", "two sensor.yaml files with T_BS, left and right"},
            2,
            false,
            sensor::fits,
            sensor::read};
}

SourceFormat svoFormat() {
    return {{"svo", "a list of cameras with T_B_C"}, 1, true, svo::fits, svo::read};
}

SourceFormat vinsFormat() {
    return {
        {"vins", "a file with body_T_cam0 and body_T_cam1 and one for each camera, left and right"},
        3,
        false,
        vins::fits,
        vins::read};
}

SourceFormat basaltFormat() {
    return {{"basalt", "JSON with T_imu_cam"}, 1, true, basalt::fits, basalt::read};
}

}  // namespace tiomipra
