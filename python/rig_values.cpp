#include "rig_values.hpp"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "arrays.hpp"
#include "base/quantities.hpp"
#include "base/text.hpp"
#include "errors.hpp"
#include "rigs/rig_model_files.hpp"

namespace tiomipra::python {
namespace {

using vision::Calibration;

// Larger than any disparity that can be searched, so that only the images limit these.
const cv::Size anySize(1 << 15, 1 << 15);

py::object classOf(const char* name) {
    return py::module_::import("tiomipra").attr(name);
}

py::array doubles(const double* values, std::vector<py::ssize_t> shape) {
    return py::array_t<double>(std::move(shape), values);
}

py::dict describeCamera(const CameraModel& camera) {
    py::dict result;
    result["image_size"] = py::make_tuple(camera.imageSize.width, camera.imageSize.height);
    result["camera_matrix"] = doubles(camera.cameraMatrix.val, {3, 3});
    result["lens"] = nameOf(camera.lens.kind);
    const auto& coefficients = camera.lens.coefficients;
    result["coefficients"] =
        doubles(coefficients.data(), {static_cast<py::ssize_t>(coefficients.size())});
    return result;
}

py::object makeModel(const RigModel& model) {
    const py::object camera = classOf("Camera");
    return classOf("RigModel")(camera(**describeCamera(model.left)),
                               camera(**describeCamera(model.right)),
                               doubles(model.rightFromLeftRotation.val, {3, 3}),
                               doubles(model.rightFromLeftTranslation.val, {3}), model.unit);
}

void requireClass(py::handle object, const char* className, const std::string& name) {
    if (!py::isinstance(object, classOf(className)))
        throw py::type_error(
            fmt::format("{} is {}, must be a tiomipra.{}", name, typeName(object), className));
}

// A member of an object, with its name in messages.
struct Member {
    Member(py::handle object, const std::string& parent, const char* member)
        : name(fmt::format("{}.{}", parent, member)), value(object.attr(member)) {}

    std::string name;
    py::object value;
};

void refuseIf(const Member& member, const std::string& complaint) {
    if (!complaint.empty())
        throw py::value_error(fmt::format("{} {}", member.name, complaint));
}

// The numbers of an array, of which there must be `count`, or any if that is 0.
std::vector<double> numbersOf(const Member& member, std::size_t count) {
    const auto array = py::array_t<double, py::array::c_style>::ensure(member.value);
    if (!array)
        throw py::type_error(fmt::format("{} is {}, must be an array of numbers", member.name,
                                         typeName(member.value)));
    std::vector<double> numbers(array.data(), array.data() + array.size());
    if (count != 0 && numbers.size() != count)
        refuseIf(member, fmt::format("has {} numbers, must have {}", numbers.size(), count));
    if (!std::all_of(numbers.begin(), numbers.end(), [](double x) { return std::isfinite(x); }))
        refuseIf(member, "must hold finite numbers");
    return numbers;
}

LensKind lensOf(const Member& member) {
    const std::string name = textOf(member.value, member.name);
    for (const LensKind kind : {LensKind::radialTangential, LensKind::fisheye}) {
        if (name == nameOf(kind))
            return kind;
    }
    throw py::value_error(
        fmt::format("{} is {}, must be radial-tangential or fisheye", member.name, quote(name)));
}

CameraModel cameraOf(const Member& camera) {
    requireClass(camera.value, "Camera", camera.name);
    const auto member = [&](const char* name) { return Member(camera.value, camera.name, name); };
    CameraModel result;
    const Member size = member("image_size");
    const auto [width, height] = wholePairOf(size.value, size.name, "(width, height)");
    result.imageSize = cv::Size(width, height);
    if (width <= 0 || height <= 0)
        refuseIf(size, fmt::format("is {}, must be above 0x0", describe(result.imageSize)));
    const Member matrix = member("camera_matrix");
    result.cameraMatrix = cv::Matx33d(numbersOf(matrix, 9).data());
    refuseIf(matrix, whyNoCameraMatrix(result.cameraMatrix));
    result.lens.kind = lensOf(member("lens"));
    result.lens.coefficients = numbersOf(member("coefficients"), 0);
    return result;
}

std::string unitOf(const std::string& name, py::handle value) {
    std::string unit = textOf(value, name);
    if (!isUnit(unit))
        throw py::value_error(
            fmt::format("{} is {}, must be 'm', or '' for one of your own", name, quote(unit)));
    return unit;
}

Rig rigOfRectified(py::handle cameras) {
    RectifiedCameras values;
    values.focal = number(cameras.attr("focal_length"), "focal_length");
    values.baseline = {number(cameras.attr("baseline"), "baseline"),
                       unitOf("unit", cameras.attr("unit"))};
    values.centreOffset = number(cameras.attr("centre_offset"), "centre_offset");
    const py::object centre = cameras.attr("centre");
    if (!centre.is_none()) {
        const auto [x, y] = pairOf(centre, "centre", "(x, y)");
        values.centre = cv::Point2d(x, y);
    }
    return rectifiedRig(values, anySize);
}

}  // namespace

const Calibration& calibrationOf(py::handle object, const char* name) {
    if (!py::isinstance<Calibration>(object))
        throw py::type_error(
            fmt::format("{} is {}, must be a Calibration", name, typeName(object)));
    return object.cast<const Calibration&>();
}

Rig rigOf(py::handle object, const char* name) {
    requireClass(object, "Rig", name);
    Rig rig;
    rig.leftFile = fmt::format("{}.left", name);
    rig.rightFile = fmt::format("{}.right", name);
    rig.left = calibrationOf(object.attr("left"), rig.leftFile.c_str());
    rig.right = calibrationOf(object.attr("right"), rig.rightFile.c_str());
    if (!object.attr("unit").is_none())
        rig.unit = unitOf("unit", object.attr("unit"));
    rig.verdict = textOf(object.attr("verdict"), "verdict");
    return rig;
}

Rig rigOrCameras(py::handle object) {
    if (py::isinstance(object, classOf("RectifiedCameras")))
        return rigOfRectified(object);
    if (!py::isinstance(object, classOf("Rig")))
        throw py::type_error(
            fmt::format("rig is {}, must be a tiomipra.Rig, a tiomipra.RectifiedCameras or None",
                        typeName(object)));
    return rigOf(object);
}

std::optional<RigModel> givenModelOf(py::handle rig) {
    const py::object model = rig.attr("model");
    if (model.is_none())
        return std::nullopt;
    requireClass(model, "RigModel", "model");
    const auto member = [&](const char* name) { return Member(model, "model", name); };
    RigModel result;
    result.left = cameraOf(member("left"));
    result.right = cameraOf(member("right"));
    const Member rotation = member("rotation");
    result.rightFromLeftRotation = cv::Matx33d(numbersOf(rotation, 9).data());
    refuseIf(rotation, whyNoRotation(result.rightFromLeftRotation));
    const Member translation = member("translation");
    result.rightFromLeftTranslation = cv::Vec3d(numbersOf(translation, 3).data());
    refuseIf(translation, whyNoTranslation(result.rightFromLeftTranslation));
    result.unit = unitOf("model.unit", model.attr("unit"));
    checkModel(result);
    return result;
}

py::dict describeRig(const Rig& rig, const std::optional<RigModel>& model) {
    py::dict result;
    result["left"] = rig.left;
    result["right"] = rig.right;
    result["unit"] = rig.unit;
    result["verdict"] = rig.verdict;
    result["model"] = model ? makeModel(*model) : py::none();
    return result;
}

}  // namespace tiomipra::python
