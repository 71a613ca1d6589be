#include "reports/rig_report.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"

namespace tiomipra {
namespace {

using Json = nlohmann::ordered_json;

Json toJson(const CameraGeometry& camera) {
    return {{"size", {camera.size.width, camera.size.height}},
            {"focalLength", {camera.focal.x, camera.focal.y}},
            {"principalPointOffset", {camera.principalOffset.x, camera.principalOffset.y}},
            {"fieldOfViewDegrees", toJson(camera.fieldOfView)}};
}

Json toJson(const std::vector<DepthStep>& steps) {
    Json result = Json::array();
    for (const DepthStep& step : steps)
        result.push_back({{"depth", step.depth},
                          {"disparity", step.disparity},
                          {"resolution", step.resolution}});
    return result;
}

std::string text(const FieldOfView& field) {
    return fmt::format("{:.1f} x {:.1f}", field.horizontal, field.vertical);
}

std::string cameraRow(const std::string& item, const std::string& left, const std::string& right) {
    return fmt::format("{:<42}{:<18}{}\n", item, left, right);
}

std::string cameraRows(const CameraGeometry& left, const CameraGeometry& right) {
    const auto focal = [](const CameraGeometry& camera) {
        return fmt::format("{:.1f} x {:.1f}", camera.focal.x, camera.focal.y);
    };
    const auto offset = [](const CameraGeometry& camera) {
        return fmt::format("{:.1f}, {:.1f}", camera.principalOffset.x, camera.principalOffset.y);
    };
    return cameraRow("", "left", "right") +
           cameraRow("image size", describe(left.size), describe(right.size)) +
           cameraRow("focal length (pixels)", focal(left), focal(right)) +
           cameraRow("field of view (degrees)", text(left.fieldOfView), text(right.fieldOfView)) +
           cameraRow("principal point off the centre (pixels)", offset(left), offset(right));
}

std::string depthRows(const std::vector<DepthStep>& steps) {
    std::string rows = fmt::format("{:>10}{:>13}{:>17}\n", "depth", "disparity", "depth per step");
    for (const DepthStep& step : steps)
        rows += fmt::format("{:>10}{:>13.1f}{:>17}\n", significant(step.depth, 3), step.disparity,
                            significant(step.resolution, 3));
    return rows;
}

}  // namespace

Json toJson(const FieldOfView& field) {
    return {{"horizontal", field.horizontal},
            {"vertical", field.vertical},
            {"diagonal", field.diagonal}};
}

Json toJson(const RigGeometry& geometry) {
    return {{"left", toJson(geometry.left)},
            {"right", toJson(geometry.right)},
            {"baseline", geometry.baseline},
            {"rectifiedFocalLength", geometry.rectifiedFocal},
            {"rectifiedFieldOfViewDegrees", toJson(geometry.rectifiedFieldOfView)},
            {"disparityAtInfinity", geometry.disparity.atInfinity},
            {"depths", toJson(geometry.depthSteps)}};
}

Json toJson(const std::vector<Fault>& faults) {
    Json result = Json::array();
    for (const Fault& fault : faults)
        result.push_back({{"problem", fault.problem}, {"remedy", fault.remedy}});
    return result;
}

std::string toText(const RigGeometry& geometry, const std::string& unit) {
    std::string result = cameraRows(geometry.left, geometry.right);
    result += fmt::format(
        "\nbaseline {}{}, rectified focal length {:.1f} pixels, rectified field of view {} "
        "degrees\n",
        significant(geometry.baseline, 4), unit.empty() ? "" : " " + unit, geometry.rectifiedFocal,
        text(geometry.rectifiedFieldOfView));
    if (geometry.disparity.atInfinity != 0)
        result += fmt::format("disparity of what is infinitely far away {:.1f} pixels\n",
                              geometry.disparity.atInfinity);
    result +=
        fmt::format("\nLengths are in {}, disparities in pixels; a step of disparity is 1/16.\n",
                    unit.empty() ? "the unit of the calibration" : unit);
    return result + depthRows(geometry.depthSteps);
}

std::string toText(const std::vector<Fault>& faults) {
    std::string result;
    for (const Fault& fault : faults)
        result += fmt::format("- {}.\n  What to do: {}.\n", fault.problem, fault.remedy);
    return result;
}

}  // namespace tiomipra
