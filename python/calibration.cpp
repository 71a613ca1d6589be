// vision::Calibration.
#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>
#include <vision/calibration.hpp>

#include "arrays.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "files/descriptor.hpp"
#include "files/input_files.hpp"
#include "rigs/document_guard.hpp"

namespace tiomipra::python {
namespace {

using vision::Calibration;
using Matrix = cv::Mat Calibration::*;

struct MatrixField {
    const char* name;
    Matrix matrix;
    cv::Size size;  // empty for the coefficients of the lens
    const char* rule;
    const char* doc;
};

const MatrixField fields[] = {
    {"camera_matrix", &Calibration::cameraMatrix, cv::Size(3, 3),
     "a float32 or float64 array of shape (3, 3), or empty",
     "Focal lengths [0, 0] and [1, 1], principal point [0, 2] and [1, 2], in pixels: float32,\n"
     "shape (3, 3)."},
    {"distortion", &Calibration::distortion, cv::Size(),
     "a float32 or float64 array of shape (n,), (1, n) or (n, 1), with n of 0, 4, 5, 8, 12 or 14",
     "Of the lens, in OpenCV's order k1, k2, p1, p2, k3, ...: float32, shape (1, n)."},
    {"rectification_matrix", &Calibration::rectificationMatrix, cv::Size(3, 3),
     "a float32 or float64 array of shape (3, 3), or empty",
     "Rotation from the camera's frame to that of the rectified pair: float32, shape (3, 3)."},
    {"projection_matrix", &Calibration::projectionMatrix, cv::Size(4, 3),
     "a float32 or float64 array of shape (3, 4), or empty",
     "Projection of the rectified camera, in pixels: float32, shape (3, 4). [0, 3] of the right\n"
     "camera is minus focal length times baseline."},
};

bool fits(const MatrixField& field, const cv::Mat& matrix) {
    if (matrix.empty() || !field.size.empty())
        return matrix.empty() || matrix.size() == field.size;
    const std::size_t count = matrix.total();
    const bool isVector = matrix.rows == 1 || matrix.cols == 1;
    return isVector && (count == 4 || count == 5 || count == 8 || count == 12 || count == 14);
}

void assign(Calibration& calibration, const MatrixField& field, py::handle value) {
    const cv::Mat matrix = copyFloats(value, field.name, field.rule);
    if (!fits(field, matrix))
        throw py::value_error(fmt::format("{} has shape ({}, {}), must be {}", field.name,
                                          matrix.rows, matrix.cols, field.rule));
    calibration.*field.matrix = matrix;
}

Calibration make(py::handle width, py::handle height, const py::args& matrices) {
    Calibration calibration;
    calibration.width = wholeNumber(width, "width");
    calibration.height = wholeNumber(height, "height");
    for (std::size_t i = 0; i < matrices.size(); ++i) {
        if (!matrices[i].is_none())
            assign(calibration, fields[i], matrices[i]);
    }
    return calibration;
}

// The library compares matrices of one shape and type only.
bool haveSameShapes(const Calibration& one, const Calibration& other) {
    return std::all_of(std::begin(fields), std::end(fields), [&](const MatrixField& field) {
        const cv::Mat& matrix = one.*field.matrix;
        const cv::Mat& counterpart = other.*field.matrix;
        return matrix.size() == counterpart.size() &&
               (matrix.empty() || matrix.type() == counterpart.type());
    });
}

bool areEqual(const Calibration& one, const Calibration& other) {
    return haveSameShapes(one, other) && one == other;
}

// OpenCV would open another file.
std::string plainPathOf(py::handle path) {
    const std::string file = pathOf(path, "path");
    if (!isPlainName(file))
        throw py::value_error(fmt::format(
            "path is {}, must have no '?', no line break and no digit behind .gz", quote(file)));
    return file;
}

// The library takes a file that is not there for an empty record.
Calibration load(py::handle path) {
    const std::string file = plainPathOf(path);
    return callLibrary([&] {
        Calibration calibration;
        if (!file.empty())
            requireReadable(file);
        calibration.load(file);
        return calibration;
    });
}

// The library takes a file that can't be created for written.
void requireCreatable(const std::string& file) {
    constexpr int permissions = 0666;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): as the system has it.
    const Descriptor descriptor(
        open(file.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, permissions));
    if (!descriptor.isOpen())
        throwOsError(errno, std::generic_category().message(errno), file);
}

void save(const Calibration& calibration, py::handle path) {
    const std::string file = plainPathOf(path);
    if (!file.empty())
        requireCreatable(file);
    try {
        callLibrary([&, copy = calibration] { copy.save(file); });
    } catch (const cv::Exception& exception) {
        throwOsError(EIO, exception.err, file);
    }
}

Calibration scaleTo(const Calibration& calibration, py::handle width, py::handle height) {
    const int newWidth = sideOf(width, "width");
    const int newHeight = sideOf(height, "height");
    try {
        return callLibrary([&, copy = calibration] { return copy.scaleTo(newWidth, newHeight); });
    } catch (const std::invalid_argument& error) {
        throw py::value_error(
            fmt::format("width and height are {}x{}, the calibration is for "
                        "{}x{}: {}",
                        newWidth, newHeight, calibration.width, calibration.height, error.what()));
    }
}

std::string represent(const Calibration& calibration) {
    const cv::Mat& matrix = calibration.cameraMatrix;
    const bool isKnown = matrix.size() == cv::Size(3, 3) && matrix.type() == CV_32FC1;
    const std::string focal =
        isKnown ? fmt::format(", focal length {} pixels", digits(matrix.at<float>(0, 0))) : "";
    return fmt::format("<Calibration {}x{}{}, {} distortion coefficients{}>", calibration.width,
                       calibration.height, focal, calibration.distortion.total(),
                       calibration.projectionMatrix.empty() ? ", not rectified" : "");
}

// Those that are not known are of the type that is assigned.
py::array arrayOfField(const Calibration& calibration, const MatrixField& field) {
    const cv::Mat& matrix = calibration.*field.matrix;
    return arrayOf(matrix.empty() ? cv::Mat(0, 0, CV_32F) : matrix);
}

// Files may hold matrices of any type, which a copy keeps. Last come the attributes that classes
// derived in Python have.
py::tuple stateOf(const py::object& self) {
    const auto copy = self.cast<Calibration>();
    py::list state;
    state.append(copy.width);
    state.append(copy.height);
    for (const MatrixField& field : fields)
        state.append(arrayOfField(copy, field));
    state.append(py::getattr(self, "__dict__", py::dict()));
    return state;
}

std::pair<Calibration, py::dict> fromState(const py::tuple& state) {
    Calibration calibration;
    calibration.width = wholeNumber(state[0], "width");
    calibration.height = wholeNumber(state[1], "height");
    for (std::size_t i = 0; i < std::size(fields); ++i) {
        const py::object matrix = state[i + 2];
        if (py::len(matrix) != 0)
            calibration.*fields[i].matrix =
                borrowImage(matrix, fields[i].name, anyMatrix).matrix.clone();
    }
    return {calibration, state[state.size() - 1]};
}

void bindSize(py::class_<Calibration>& type, const char* name, int Calibration::*side) {
    type.def_property(
        name, [side](const Calibration& self) { return self.*side; },
        [side, name](Calibration& self, py::handle value) {
            self.*side = wholeNumber(value, name);
        },
        "Of the images that this calibration is for, in pixels.");
}

}  // namespace

void bindCalibration(py::module_& module) {
    py::class_<Calibration> type(
        module, "Calibration",
        R"(Calibration(width=0, height=0, camera_matrix=None, distortion=None, rectification_matrix=None, projection_matrix=None)
--

One camera of a stereo pair: pinhole, lens, and the rectification of the pair.

Nothing is checked but the shapes: a ``Stereo`` says what it can't use. The arrays that the
attributes give share the record's memory, so that ``c.camera_matrix[0, 0] *= 2`` changes it;
what is assigned is copied, float64 to float32, with which the library computes. What is not
known is an array of shape (0, 0). Copies share nothing. Records can be compared, exactly, and
pickled.

Lengths are in the unit of the board that the camera was calibrated with. Pixel (0, 0) is the
centre of the top left pixel.

Raises ``TypeError`` and ``ValueError`` for arrays of other types and shapes.)");
    type.attr("__module__") = "tiomipra";
    type.def(py::init([](py::handle width, py::handle height, py::handle camera, py::handle lens,
                         py::handle rectification, py::handle projection) {
                 return make(width, height,
                             py::make_tuple(camera, lens, rectification, projection));
             }),
             py::arg("width") = 0, py::arg("height") = 0, py::arg("camera_matrix") = py::none(),
             py::arg("distortion") = py::none(), py::arg("rectification_matrix") = py::none(),
             py::arg("projection_matrix") = py::none(),
             "__init__(self, width=0, height=0, camera_matrix=None, distortion=None, "
             "rectification_matrix=None, projection_matrix=None)\n--\n\n");
    bindSize(type, "width", &Calibration::width);
    bindSize(type, "height", &Calibration::height);
    for (const MatrixField& field : fields)
        type.def_property(
            field.name, [&field](const Calibration& self) { return arrayOfField(self, field); },
            [&field](Calibration& self, py::handle value) { assign(self, field, value); },
            field.doc);
    type.def_static("load", load, py::arg("path"), R"(load(path)
--

The calibration in a file: YAML, XML or JSON, found out from its content.

Keys that are missing give 0 or empty arrays. Raises ``OSError`` for a file that can't be read,
``OpenCVError`` for one that is malformed, ``ValueError`` for a name with ``?`` or a line break,
which OpenCV takes for that of another file.)");
    type.def("save", save, py::arg("path"), R"(save(self, path)
--

Write a file: XML for ``.xml``, JSON for ``.json``, YAML for all else.

Raises ``OSError`` when that is not possible, ``ValueError`` for a name as ``load`` does.)");
    type.def("scale_to", scaleTo, py::arg("width"), py::arg("height"),
             R"(scale_to(self, width, height)
--

The calibration of the same camera for images of another size.

Raises ``ValueError`` unless the aspect ratio is the same.)");
    type.def("__eq__", areEqual, py::is_operator());
    type.def(
        "__ne__",
        [](const Calibration& one, const Calibration& other) { return !areEqual(one, other); },
        py::is_operator());
    type.attr("__hash__") = py::none();
    type.def("__repr__", represent);
    type.def(py::pickle([](const py::object& self) { return stateOf(self); },
                        [](const py::tuple& state) { return fromState(state); }));
}

}  // namespace tiomipra::python
