#include "rig_values.hpp"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <vector>

#include "arrays.hpp"
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

// The numbers of an array, of which there must be `count`, or any if that is 0.
std::vector<double> numbersOf(py::handle object, const char* name, std::size_t count) {
    const auto array =
        py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!array)
        throw py::type_error(
            fmt::format("{} is {}, must be an array of numbers", name, typeName(object)));
    const auto size = static_cast<std::size_t>(array.size());
    if (count != 0 && size != count)
        throw py::value_error(fmt::format("{} has {} numbers, must have {}", name, size, count));
    return {array.data(), array.data() + size};
}

LensKind lensNamed(const std::string& name) {
    for (const LensKind kind : {LensKind::radialTangential, LensKind::fisheye}) {
        if (name == nameOf(kind))
            return kind;
    }
    throw py::value_error(
        fmt::format("lens is {}, must be radial-tangential or fisheye", quote(name)));
}

CameraModel cameraOf(py::handle camera) {
    CameraModel result;
    const auto [width, height] =
        wholePairOf(camera.attr("image_size"), "image_size", "(width, height)");
    result.imageSize = cv::Size(width, height);
    const auto matrix = numbersOf(camera.attr("camera_matrix"), "camera_matrix", 9);
    std::copy(matrix.begin(), matrix.end(), result.cameraMatrix.val);
    result.lens.kind = lensNamed(textOf(camera.attr("lens"), "lens"));
    result.lens.coefficients = numbersOf(camera.attr("coefficients"), "coefficients", 0);
    return result;
}

void checkUnit(const std::optional<std::string>& unit) {
    if (unit && !isUnit(*unit))
        throw py::value_error(
            fmt::format("unit is {}, must be 'm', '' for one of your own, or None", quote(*unit)));
}

Rig rigOfRectified(py::handle cameras) {
    RectifiedCameras values;
    values.focal = number(cameras.attr("focal_length"), "focal_length");
    const std::string unit = textOf(cameras.attr("unit"), "unit");
    checkUnit(unit);
    values.baseline = {number(cameras.attr("baseline"), "baseline"), unit};
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
    if (py::isinstance(object, classOf("RectifiedCameras")))
        return rigOfRectified(object);
    if (!py::isinstance(object, classOf("Rig")))
        throw py::type_error(
            fmt::format("{} is {}, must be a tiomipra.Rig", name, typeName(object)));
    Rig rig;
    rig.left = calibrationOf(object.attr("left"), "left");
    rig.right = calibrationOf(object.attr("right"), "right");
    rig.leftFile = "left";
    rig.rightFile = "right";
    if (!object.attr("unit").is_none())
        rig.unit = textOf(object.attr("unit"), "unit");
    checkUnit(rig.unit);
    rig.verdict = textOf(object.attr("verdict"), "verdict");
    return rig;
}

std::optional<RigModel> givenModelOf(py::handle rig) {
    const py::object model = rig.attr("model");
    if (model.is_none())
        return std::nullopt;
    RigModel result;
    result.left = cameraOf(model.attr("left"));
    result.right = cameraOf(model.attr("right"));
    const auto rotation = numbersOf(model.attr("rotation"), "rotation", 9);
    std::copy(rotation.begin(), rotation.end(), result.rightFromLeftRotation.val);
    const auto translation = numbersOf(model.attr("translation"), "translation", 3);
    std::copy(translation.begin(), translation.end(), result.rightFromLeftTranslation.val);
    result.unit = textOf(model.attr("unit"), "unit");
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
