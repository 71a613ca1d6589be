// vision::Stereo, safe for threads.
#include <fmt/format.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vision/stereo.hpp>

#include "arrays.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "matching/matcher_parameters.hpp"
#include "parameters.hpp"
#include "rig_values.hpp"

namespace tiomipra::python {
namespace {

using vision::Calibration;
using vision::Stereo;

// Matching reads the object only, and may run in several threads at once. Rectifying and computing
// depths fill the cache of transforms, and so wait for each other. What changes the object waits
// for all of them, and who comes then waits for it: without that, a few threads that match would
// keep it waiting for ever.
class SharedStereo {
  public:
    template <typename Work>
    auto read(const Work& work) const {
        return callLibrary([&] {
            const std::shared_lock lock = lockForReading();
            return work(_stereo);
        });
    }

    template <typename Work>
    auto readAndFill(const Work& work) const {
        return read([&](const Stereo& stereo) {
            const std::lock_guard lock(_transforms);
            return work(stereo);
        });
    }

    template <typename Work>
    auto change(const Work& work) {
        return callLibrary([&] {
            const std::lock_guard turn(_turn);
            const std::lock_guard lock(_parameters);
            return work(_stereo);
        });
    }

    // Of the calibrations.
    cv::Size size() const { return _size; }

    void setCalibrations(const Calibration& left, const Calibration& right) {
        const bool isWithin = change([this, left, right](Stereo&) { return store(left, right); });
        if (!isWithin)
            throw py::value_error(fmt::format(
                "left and right give points at max_depth, {}, a disparity that must be within the "
                "width, {}",
                read([](const Stereo& stereo) { return stereo.getMaxDepth(); }), left.width));
    }

  private:
    // Whether points at the largest depth have a disparity within the width. The library stores the
    // calibrations also if they have not.
    bool store(const Calibration& left, const Calibration& right) {
        bool isWithin = true;
        try {
            _stereo.setCalibrations(left, right);
        } catch (const std::range_error&) {
            isWithin = false;
        }
        _size = cv::Size(left.width, left.height);
        return isWithin;
    }

    std::shared_lock<std::shared_mutex> lockForReading() const {
        const std::lock_guard turn(_turn);
        return std::shared_lock(_parameters);
    }

    Stereo _stereo;
    std::atomic<cv::Size> _size{cv::Size()};
    mutable std::mutex _turn;
    mutable std::shared_mutex _parameters;
    mutable std::mutex _transforms;
};

// The library's own complaint says nothing of the sizes.
void requireAspectRatio(const cv::Size& size, const char* name, const cv::Size& calibrated) {
    const std::int64_t across = std::int64_t{size.width} * calibrated.height;
    if (!calibrated.empty() && across != std::int64_t{size.height} * calibrated.width)
        throw py::value_error(fmt::format(
            "{} has {} rows and {} columns, must have the aspect ratio of the calibrations, which "
            "are for {} and {}",
            name, size.height, size.width, calibrated.height, calibrated.width));
}

py::tuple rectify(const SharedStereo& self, py::handle left, py::handle right) {
    const BorrowedImage leftImage = borrowImage(left, "left", anyImage);
    const BorrowedImage rightImage = borrowImage(right, "right", anyImage);
    requireAlike(leftImage, rightImage);
    requireAspectRatio(leftImage.matrix.size(), "left", self.size());
    const auto images = self.readAndFill([&](const Stereo& stereo) {
        return stereo.rectifyImages(leftImage.matrix, rightImage.matrix);
    });
    return py::make_tuple(arrayLike(leftImage, images.first), arrayLike(rightImage, images.second));
}

template <cv::Mat (Stereo::*rectifyImage)(const cv::Mat&) const>
py::array rectifyOne(const SharedStereo& self, py::handle image) {
    const BorrowedImage borrowed = borrowImage(image, "image", anyImage);
    requireAspectRatio(borrowed.matrix.size(), "image", self.size());
    return arrayLike(borrowed, self.readAndFill([&](const Stereo& stereo) {
        return (stereo.*rectifyImage)(borrowed.matrix);
    }));
}

py::array computeDisparity(const SharedStereo& self, py::handle left, py::handle right) {
    const BorrowedImage leftImage = borrowImage(left, "left", greyImage);
    const BorrowedImage rightImage = borrowImage(right, "right", greyImage);
    requireAlike(leftImage, rightImage);
    return arrayOf(self.read([&](const Stereo& stereo) {
        return stereo.computeDisparity(leftImage.matrix, rightImage.matrix);
    }));
}

py::array computeDepth(const SharedStereo& self, py::handle disparity) {
    const BorrowedImage borrowed = borrowImage(disparity, "disparity", floatImage);
    requireAspectRatio(borrowed.matrix.size(), "disparity", self.size());
    return arrayOf(self.readAndFill(
        [&](const Stereo& stereo) { return stereo.computeDepth(borrowed.matrix); }));
}

py::dict computeTransforms(const SharedStereo& self, py::handle width, py::handle height) {
    const cv::Size size(sideOf(width, "width"), sideOf(height, "height"));
    requireAspectRatio(size, "an image of width and height", self.size());
    const auto transform =
        self.read([&](const Stereo& stereo) { return stereo.computeImageTransforms(size); });
    py::dict result;
    result["left_map_x"] = arrayOf(transform.leftMapX);
    result["left_map_y"] = arrayOf(transform.leftMapY);
    result["right_map_x"] = arrayOf(transform.rightMapX);
    result["right_map_y"] = arrayOf(transform.rightMapY);
    result["reprojection_matrix"] = arrayOf(transform.reprojectionMatrix);
    return result;
}

float maxDepth(const SharedStereo& self) {
    return self.read([](const Stereo& stereo) { return stereo.getMaxDepth(); });
}

void setMaxDepth(SharedStereo& self, py::handle value) {
    const double depth = positive(value, "max_depth");
    try {
        self.change([&](Stereo& stereo) { stereo.setMaxDepth(static_cast<float>(depth)); });
    } catch (const std::range_error&) {
        throw py::value_error(
            fmt::format("max_depth is {}, must be above 0 in 32 bits too", depth));
    }
}

void setParameter(SharedStereo& self, const MatcherParameter& parameter, py::handle value) {
    const int setting = settingOf(parameter, value);
    try {
        self.change([&](Stereo& stereo) { parameter.set(stereo, setting); });
    } catch (const std::range_error&) {
        throw py::value_error(fmt::format("{} is {}, must be {}", pythonName(parameter.name),
                                          setting, describeValues(parameter.values)));
    }
}

py::object getParameter(const SharedStereo& self, const MatcherParameter& parameter) {
    return asObject(self.read([&](const Stereo& stereo) { return valueIn(stereo, parameter); }));
}

std::string represent(const SharedStereo& self) {
    const std::string size = self.size().empty() ? "not calibrated" : describe(self.size());
    return self.read([&](const Stereo& stereo) {
        return fmt::format("<Stereo {}, {}, {} disparities from {}, window {}, max_depth {}>", size,
                           nameOf(stereo.getStereoAlgorithm()), stereo.getDisparityNumber(),
                           stereo.getMinDisparity(), stereo.getWindowSize(), stereo.getMaxDepth());
    });
}

void bindParameters(py::class_<SharedStereo>& type) {
    type.def_property(
        "max_depth", maxDepth, setMaxDepth,
        "Points farther away are removed; in the unit of the calibrations, 5 unless "
        "set. To be set\nbefore the calibrations, which derive ``min_disparity`` from "
        "it.");
    for (const MatcherParameter& parameter : matcherParameters())
        type.def_property(
            pythonName(parameter.name).c_str(),
            [&parameter](const SharedStereo& self) { return getParameter(self, parameter); },
            [&parameter](SharedStereo& self, py::handle value) {
                setParameter(self, parameter, value);
            },
            (describe(parameter) + ".").c_str());
}

}  // namespace

void bindStereo(py::module_& module) {
    py::class_<SharedStereo> type(module, "Stereo", R"(Stereo()
--

A calibrated pair of cameras, and how its images are matched.

The same calls as the C++ class has, with the same bits::

    stereo = tiomipra.Stereo()
    stereo.max_depth = 3.0
    stereo.set_calibrations(left, right)
    left_image, right_image = stereo.rectify(left_image, right_image)
    disparity = stereo.compute_disparity(left_image, right_image)
    points = stereo.compute_depth(disparity)

Images are taken without a copy if the elements of each row follow each other, as in slices of
rows and columns of larger images; others are copied. What is returned owns its memory. All calls
run without the interpreter's lock, and one object may be used by several threads.)");
    type.attr("__module__") = "tiomipra";
    type.def(py::init<>(), "__init__(self)\n--\n\n");
    type.def(
        "set_calibrations",
        [](SharedStereo& self, py::handle left, py::handle right) {
            self.setCalibrations(calibrationOf(left, "left"), calibrationOf(right, "right"));
        },
        py::arg("left"), py::arg("right"),
        R"(set_calibrations(self, left, right)
--

Store copies of both calibrations, and set ``min_disparity`` to that of a point at ``max_depth``.

Raises ``ValueError`` when the sizes differ or a projection matrix is none, or when the minimum
disparity is beyond the width; in the last case the calibrations are stored.)");
    type.def_property_readonly(
        "calibrations",
        [](const SharedStereo& self) {
            return self.read([](const Stereo& stereo) { return stereo.getCalibrations(); });
        },
        "Copies of the left and the right calibration, a tuple.");
    type.def("rectify", rectify, py::arg("left"), py::arg("right"), R"(rectify(self, left, right)
--

Warp both images so that a point of the scene lies on the same row of each.

left, right: arrays of uint8, uint16, int16, float32 or float64, (rows, columns) or (rows,
columns, channels), of the calibrated size or another of the same aspect ratio. Returns the tuple
of both images rectified, of the same type and shape; pixels that the raw image does not show
are 0.

Raises ``TypeError`` for another dtype, ``ValueError`` for shapes that don't fit, ``OpenCVError``
for what OpenCV refuses.)");
    type.def("rectify_left", rectifyOne<&Stereo::rectifyImageLeft>, py::arg("image"),
             "rectify_left(self, image)\n--\n\nRectify an image of the left camera; see "
             "``rectify``.");
    type.def("rectify_right", rectifyOne<&Stereo::rectifyImageRight>, py::arg("image"),
             "rectify_right(self, image)\n--\n\nRectify an image of the right camera; see "
             "``rectify``.");
    type.def("compute_disparity", computeDisparity, py::arg("left"), py::arg("right"),
             R"(compute_disparity(self, left, right)
--

Match a rectified pair.

left, right: uint8, (rows, columns), at most as wide as the calibrations; for narrower ones the
parameters are adapted. Returns disparities of the left image's pixels in pixels, in steps of
1/16: float32, (rows, columns), below the minimum disparity where there is no match.

Raises ``TypeError`` for another dtype, ``ValueError`` for shapes or parameters that can't be
matched, ``OpenCVError`` for what OpenCV refuses.)");
    type.def("compute_depth", computeDepth, py::arg("disparity"),
             R"(compute_depth(self, disparity)
--

Turn a disparity image into points.

disparity: float32, (rows, columns), as ``compute_disparity`` gives it. Returns X right, Y down,
Z forward in the unit of the calibrations: float32, (rows, columns, 3), (0, 0, 0) where nothing
was measured or the depth is beyond ``max_depth``.

Raises ``TypeError`` for another dtype, ``ValueError`` for another aspect ratio or without
calibrations.)");
    type.def("compute_image_transforms", computeTransforms, py::arg("width"), py::arg("height"),
             R"(compute_image_transforms(self, width, height)
--

What rectifying and depths are computed with for images of a size.

Returns a dict: ``left_map_x``, ``left_map_y``, ``right_map_x``, ``right_map_y``, where in the raw
image a rectified pixel comes from, float32, (rows, columns); and ``reprojection_matrix``, float32,
(4, 4), from (x, y, disparity, 1) to homogeneous (X, Y, Z, W).

Raises ``ValueError`` for another aspect ratio or without calibrations.)");
    type.def(
        "reset_parameters",
        [](SharedStereo& self) {
            self.change([](Stereo& stereo) { stereo.resetAllParameters(); });
        },
        R"(reset_parameters(self)
--

Put the matcher's parameters back to their defaults; algorithm, ``max_depth`` and calibrations
stay.

Raises ``ValueError`` before calibrations are set.)");
    type.def("__repr__", represent);
    bindParameters(type);
}

}  // namespace tiomipra::python
