// Files of images, disparities and clouds.
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/text.hpp"
#include "bindings.hpp"
#include "calls.hpp"
#include "errors.hpp"
#include "files/cloud_files.hpp"
#include "files/disparity_files.hpp"
#include "files/image_files.hpp"
#include "files/input_files.hpp"

namespace tiomipra::python {
namespace {

py::array readPixels(py::handle path, py::handle asStored, py::handle maxPixels) {
    const std::string file = pathOf(path, "path");
    const auto pixels = truthOf(asStored, "as_stored") ? Pixels::asStored : Pixels::eightBit;
    const auto limit = static_cast<std::size_t>(sideOf(maxPixels, "max_pixels"));
    return arrayOf(callLibrary([&] { return readImage(file, pixels, {limit}, keepNotice); }));
}

py::array readDisparities(py::handle path, py::handle divisor) {
    const std::string file = pathOf(path, "path");
    std::optional<double> scale;
    if (!divisor.is_none())
        scale = positive(divisor, "scale");
    return arrayOf(callLibrary([&] { return readDisparity(file, scale, {}, keepNotice); }));
}

// Throws unless a file of that name holds these pixels without loss.
void requireFormat(const std::string& file, const BorrowedImage& image) {
    static const std::map<std::string, std::vector<int>> depths{
        {".png", {CV_8U, CV_16U}}, {".jpg", {CV_8U}}, {".tiff", {CV_8U, CV_16U, CV_32F}}};
    const std::string extension = extensionOf(file);
    const auto held = depths.find(extension);
    if (held == depths.end())
        throw SettingError("path",
                           fmt::format("is {}, must end in .png, .jpg or .tiff", quote(file)));
    const int depth = image.matrix.depth();
    if (std::find(held->second.begin(), held->second.end(), depth) == held->second.end())
        throw py::type_error(fmt::format("image has dtype {}, which {} does not hold",
                                         std::string(py::str(image.array.dtype())), extension));
}

void writePixels(py::handle path, py::handle image) {
    const std::string file = pathOf(path, "path");
    const BorrowedImage pixels = borrowImage(image, "image", pairImage);
    requireFormat(file, pixels);
    callLibrary([&] { writeImage(file, pixels.matrix); });
}

CloudFormat formatOf(const std::string& file) {
    const std::string extension = extensionOf(file);
    if (extension == ".ply")
        return CloudFormat::plyBinary;
    if (extension == ".pcd")
        return CloudFormat::pcd;
    throw SettingError("path", fmt::format("is {}, must end in .ply or .pcd", quote(file)));
}

// Where points are that are finite and not (0, 0, 0).
cv::Mat whereMeasured(const cv::Mat& points) {
    cv::Mat measured(points.size(), CV_8U);
    std::transform(points.begin<cv::Vec3f>(), points.end<cv::Vec3f>(), measured.begin<uchar>(),
                   [](const cv::Vec3f& point) {
                       const double sum = cv::norm(point, cv::NORM_L1);
                       return static_cast<uchar>(sum > 0 && std::isfinite(sum) ? 1 : 0);
                   });
    return measured;
}

// Rows of three values: positions, and red, green, blue.
struct CloudRows {
    cv::Mat points;
    cv::Mat colours;
};

CloudRows rowsOf(const std::vector<CloudPoint>& cloud) {
    const auto count = static_cast<int>(cloud.size());
    CloudRows rows{cv::Mat(count, 3, CV_32F), cv::Mat(count, 3, CV_8U)};
    for (int i = 0; i < count; ++i) {
        const auto& [position, colour] = cloud[static_cast<std::size_t>(i)];
        std::copy(position.val, position.val + 3, rows.points.ptr<float>(i));
        std::reverse_copy(colour.val, colour.val + 3, rows.colours.ptr(i));
    }
    return rows;
}

// Points and their colours, of as many rows and columns.
CloudRows cloudOf(const cv::Mat& points, const cv::Mat& measured, const cv::Mat& image) {
    if (points.size() != image.size() || points.size() != measured.size())
        throw SettingError("points, measured and image",
                           "must have as many rows and columns as each other");
    return rowsOf(collectCloud(points, measured, image));
}

py::tuple collect(py::handle points, py::handle measured, py::handle image) {
    const BorrowedImage positions = borrowImage(points, "points", pointsImage);
    std::optional<BorrowedImage> mask;
    if (!measured.is_none())
        mask = borrowImage(measured, "measured", maskImage);
    const BorrowedImage colours = borrowImage(image, "image", eightBitImage);
    const auto [xyz, rgb] = callLibrary([&] {
        return cloudOf(positions.matrix, mask ? mask->matrix : whereMeasured(positions.matrix),
                       colours.matrix);
    });
    return py::make_tuple(arrayOf(xyz), arrayOf(rgb));
}

template <typename Value>
py::array_t<Value, py::array::c_style> requireRows(py::handle object, const char* name) {
    const std::string rule =
        fmt::format("an array of dtype {} and shape (n, 3)",
                    std::string(py::str(static_cast<py::object>(py::dtype::of<Value>()))));
    const py::array array = requireArray(object, name, rule.c_str());
    const std::string found =
        fmt::format("{} has dtype {} and shape {}", name, std::string(py::str(array.dtype())),
                    std::string(py::str(array.attr("shape"))));
    if (!py::isinstance<py::array_t<Value>>(object))
        throw py::type_error(fmt::format("{}, must be {}", found, rule));
    if (array.ndim() != 2 || array.shape(1) != 3)
        throw py::value_error(fmt::format("{}, must be {}", found, rule));
    return array;
}

void saveCloud(py::handle path, py::handle pointRows, py::handle colourRows) {
    const std::string file = pathOf(path, "path");
    const CloudFormat format = formatOf(file);
    const auto points = requireRows<float>(pointRows, "points");
    const auto colours = requireRows<std::uint8_t>(colourRows, "colours");
    if (points.shape(0) != colours.shape(0))
        throw py::value_error(fmt::format("points has {} rows, colours has {}, must be as many",
                                          points.shape(0), colours.shape(0)));
    const auto place = points.unchecked<2>();
    const auto colour = colours.unchecked<2>();
    callLibrary([&] {
        std::vector<CloudPoint> cloud;
        cloud.reserve(static_cast<std::size_t>(place.shape(0)));
        for (py::ssize_t i = 0; i < place.shape(0); ++i)
            cloud.push_back({{place(i, 0), place(i, 1), place(i, 2)},
                             {colour(i, 2), colour(i, 1), colour(i, 0)}});
        writeFile(file, encodeCloud(cloud, format, {}));
    });
}

}  // namespace

void bindImages(py::module_& module) {
    module.def("read_image", readPixels, py::arg("path"), py::kw_only(),
               py::arg("as_stored") = false, py::arg("max_pixels") = ImageLimits().maxPixels,
               R"(read_image(path, *, as_stored=False, max_pixels=100000000)
--

The image in a file: JPEG, PNG, TIFF, BMP, WebP, PBM, PGM, PPM or PFM.

Returns (rows, columns), or (rows, columns, 3) with blue, green, red: uint8, or with ``as_stored``
what the file has, uint8, uint16 or float32. Tags that turn the image are ignored.

Raises ``OSError`` for a file that can't be read, ``InputError`` for one that is no image, is
damaged, or has more than ``max_pixels`` pixels.)");
    module.def("write_image", writePixels, py::arg("path"), py::arg("image"),
               R"(write_image(path, image)
--

Write an image: ``.png`` (uint8, uint16), ``.jpg`` (uint8) or ``.tiff`` (uint8, uint16, float32).

Raises ``OSError`` when that is not possible, ``TypeError`` for a dtype that such a file does not
hold.)");
    module.def("read_disparity", readDisparities, py::arg("path"), py::arg("scale") = py::none(),
               R"(read_disparity(path, scale=None)
--

The disparities in a file, in pixels: float32, (rows, columns), NaN or infinite where unknown.

Floating-point TIFF and PFM are taken as they are, whole numbers divided by ``scale`` with 0 for
unknown; ``scale`` is 256 for 16 bits unless given, and must be given for 8 bits.

Raises ``OSError`` for a file that can't be read, ``InputError`` for one that holds no
disparities.)");
    module.def("collect_cloud", collect, py::arg("points"), py::arg("measured"), py::arg("image"));
    module.def("save_cloud", saveCloud, py::arg("path"), py::arg("points"), py::arg("colours"));
}

}  // namespace tiomipra::python
