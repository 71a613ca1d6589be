#include "formats/source_rig.hpp"

#include <algorithm>
#include <stdexcept>

#include "base/text.hpp"

namespace tiomipra {
namespace {

cv::Matx44d inverse(const cv::Matx44d& motion) {
    const cv::Matx33d rotation = motion.get_minor<3, 3>(0, 0).t();
    return motionOf(rotation, -(rotation * cv::Vec3d(motion(0, 3), motion(1, 3), motion(2, 3))));
}

}  // namespace

SourceRig rigOf(const CameraModel& left, const CameraModel& right, const std::string& unit) {
    SourceRig rig{{left, right}};
    rig.model.unit = unit;
    return rig;
}

cv::Matx33d pinholeMatrix(const std::vector<double>& numbers) {
    const double fx = numbers.at(0), fy = numbers.at(1), cx = numbers.at(2), cy = numbers.at(3);
    return {fx, 0, cx, 0, fy, cy, 0, 0, 1};
}

LensModel lensOf(const SourceValue& name, const SourceValue& coefficients) {
    const std::string kind = name.text();
    for (const char* known : {"radtan", "radial-tangential", "plumb_bob", "rational_polynomial"}) {
        if (kind == known)
            return {LensKind::radialTangential, coefficients.numbers()};
    }
    for (const char* known : {"equidistant", "fisheye"}) {
        if (kind == known)
            return {LensKind::fisheye, coefficients.numbers()};
    }
    if (kind != "none")
        name.refuse(
            fmt::format("is {}, must be radtan, radial-tangential, plumb_bob, "
                        "rational_polynomial, equidistant, fisheye or none",
                        quote(kind)));
    return {};
}

cv::Size sizeFrom(const SourceValue& value) {
    const std::vector<double> sides = value.numbers(2);
    return {cv::saturate_cast<int>(sides[0]), cv::saturate_cast<int>(sides[1])};
}

cv::Matx44d motionOf(const cv::Matx33d& rotation, const cv::Vec3d& shift) {
    cv::Matx44d motion = cv::Matx44d::eye();
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column)
            motion(row, column) = rotation(row, column);
        motion(row, 3) = shift[row];
    }
    return motion;
}

cv::Matx44d motionFrom(const SourceValue& value) {
    const auto motion = value.matrix<4, 4>();
    constexpr double tolerance = 1e-6;
    if (cv::norm(motion.row(3) - cv::Matx14d(0, 0, 0, 1)) > tolerance)
        value.refuse(fmt::format("has {}, {}, {}, {} in its last row, must have 0, 0, 0, 1",
                                 digits(motion(3, 0)), digits(motion(3, 1)), digits(motion(3, 2)),
                                 digits(motion(3, 3))));
    const std::string complaint = whyNoRotation(motion.get_minor<3, 3>(0, 0));
    if (!complaint.empty())
        value.refuse("has a rotation that " + complaint);
    return motion;
}

void placeOnBody(RigModel& model, const cv::Matx44d& bodyFromLeft,
                 const cv::Matx44d& bodyFromRight) {
    placeByTransform(model, inverse(bodyFromRight) * bodyFromLeft);
}

void placeByTransform(RigModel& model, const cv::Matx44d& rightFromLeft) {
    model.rightFromLeftRotation = rightFromLeft.get_minor<3, 3>(0, 0);
    model.rightFromLeftTranslation = {rightFromLeft(0, 3), rightFromLeft(1, 3),
                                      rightFromLeft(2, 3)};
}

std::size_t indexOf(const std::vector<std::string>& names, const std::string& name) {
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

std::vector<std::string> chooseCameras(const std::vector<std::string>& found,
                                       const std::vector<std::string>& wanted) {
    const std::string all = joined(found);
    if (found.size() < 2)
        throw std::invalid_argument(
            fmt::format("it has {} of the two cameras of a rig", found.empty() ? "none" : all));
    if (wanted.empty() && found.size() > 2)
        throw std::invalid_argument(fmt::format(
            "it has the cameras {}; which two, left and right, must be given (cameras)", all));
    for (const std::string& name : wanted) {
        if (std::find(found.begin(), found.end(), name) == found.end())
            throw std::invalid_argument(
                fmt::format("it has no camera {}, must be of {}", quote(name), all));
    }
    return wanted.empty() ? found : wanted;
}

}  // namespace tiomipra
