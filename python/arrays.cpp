#include "arrays.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <new>
#include <optional>
#include <string>

namespace tiomipra::python {
namespace {

constexpr std::size_t fewestAxes = 2;

// Of numpy.
constexpr int aligned = py::detail::npy_api::NPY_ARRAY_ALIGNED_;
constexpr int layout = py::array::c_style | aligned;

std::optional<int> depthOf(const py::dtype& type, bool takesBool) {
    if (!type.attr("isnative").cast<bool>())
        return std::nullopt;
    switch (type.kind()) {
        case 'b':
            return takesBool ? std::optional(CV_8U) : std::nullopt;
        case 'u':
            return type.itemsize() == 1   ? std::optional(CV_8U)
                   : type.itemsize() == 2 ? std::optional(CV_16U)
                                          : std::nullopt;
        case 'i':
            return type.itemsize() == 1   ? std::optional(CV_8S)
                   : type.itemsize() == 2 ? std::optional(CV_16S)
                   : type.itemsize() == 4 ? std::optional(CV_32S)
                                          : std::nullopt;
        case 'f':
            return type.itemsize() == 4   ? std::optional(CV_32F)
                   : type.itemsize() == 8 ? std::optional(CV_64F)
                   : type.itemsize() == 2 ? std::optional(CV_16F)
                                          : std::nullopt;
        default:
            return std::nullopt;
    }
}

const char* dtypeName(int depth) {
    constexpr const char* names[] = {"uint8", "int8",    "uint16",  "int16",
                                     "int32", "float32", "float64", "float16"};
    return names[depth];
}

template <typename Value>
bool contains(const std::vector<Value>& values, Value value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

std::string shapeOf(const py::array& array) {
    return py::str(array.attr("shape"));
}

int requireDepth(const py::array& array, const char* name, const ImageRule& rule) {
    const auto depth = depthOf(array.dtype(), rule.takesBool);
    if (!depth || !contains(rule.depths, *depth))
        throw py::type_error(fmt::format("{} has dtype {}, must be {}", name,
                                         std::string(py::str(array.dtype())), rule.text));
    return *depth;
}

int requireChannels(const py::array& array, const char* name, const ImageRule& rule) {
    const auto axes = static_cast<std::size_t>(array.ndim());
    const bool isImage =
        (axes == fewestAxes || axes == fewestAxes + 1) &&
        std::all_of(array.shape(), array.shape() + axes, [](auto side) { return side <= INT_MAX; });
    const int channels = isImage && axes > fewestAxes ? static_cast<int>(array.shape(2)) : 1;
    if (!isImage || array.size() == 0 || !contains(rule.channels, channels))
        throw py::value_error(
            fmt::format("{} has shape {}, must be {}", name, shapeOf(array), rule.text));
    return channels;
}

bool isPacked(const py::array& array) {
    return (array.flags() & layout) == layout;
}

// Of an array whose type and shape are known to be right.
py::array copyPacked(const py::array& array) {
    py::array packed = py::array::ensure(array, layout);
    if (!packed)
        throw std::bad_alloc();
    return packed;
}

// Whether the rows are packed, and follow each other at a distance that a matrix can have.
bool hasPackedRows(const py::array& array) {
    if ((array.flags() & aligned) == 0)
        return false;
    py::ssize_t packed = array.itemsize();
    for (py::ssize_t axis = array.ndim() - 1; axis > 0; --axis) {
        if (array.strides(axis) != packed)
            return false;
        packed *= array.shape(axis);
    }
    return array.strides(0) >= packed && array.strides(0) % array.itemsize() == 0;
}

}  // namespace

const ImageRule anyImage{
    {CV_8U, CV_16U, CV_16S, CV_32F, CV_64F},
    {1, 2, 3, 4},
    "an array of uint8, uint16, int16, float32 or float64 of shape (rows, columns) or (rows, "
    "columns, channels) with up to 4 channels"};
const ImageRule anyMatrix{{CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F, CV_16F},
                          {1, 2, 3, 4},
                          "an array of shape (rows, columns) or (rows, columns, channels)"};
const ImageRule greyImage{{CV_8U}, {1}, "a uint8 array of shape (rows, columns)"};
const ImageRule pairImage{
    {CV_8U, CV_16U, CV_32F},
    {1, 3},
    "an array of uint8, uint16 or float32 of shape (rows, columns), or (rows, "
    "columns, 3) with blue, green, red"};
const ImageRule floatImage{{CV_32F}, {1}, "a float32 array of shape (rows, columns)"};
const ImageRule pointsImage{{CV_32F}, {3}, "a float32 array of shape (rows, columns, 3)"};
const ImageRule eightBitImage{
    {CV_8U},
    {1, 3},
    "a uint8 array of shape (rows, columns), or (rows, columns, 3) with blue, green, red"};
const ImageRule maskImage{{CV_8U}, {1}, "an array of bool or uint8 of shape (rows, columns)", true};

std::string typeName(py::handle object) {
    const std::string name = py::str(py::type::handle_of(object).attr("__name__"));
    return object.is_none() ? "None" : fmt::format("of type {}", name);
}

py::array requireArray(py::handle object, const char* name, const char* rule) {
    if (!py::isinstance<py::array>(object))
        throw py::type_error(fmt::format("{} is {}, must be {}", name, typeName(object), rule));
    const bool isPlain = Py_TYPE(object.ptr()) == py::detail::npy_api::get().PyArray_Type_;
    if (!isPlain && py::hasattr(object, "mask"))
        throw py::type_error(
            fmt::format("{} has a mask, which would be lost, must be {}", name, rule));
    return py::reinterpret_borrow<py::array>(object);
}

BorrowedImage borrowImage(py::handle object, const char* name, const ImageRule& rule) {
    py::array array = requireArray(object, name, rule.text);
    const int depth = requireDepth(array, name, rule);
    const int type = CV_MAKETYPE(depth, requireChannels(array, name, rule));
    if (!isPacked(array) && !hasPackedRows(array))
        array = copyPacked(array);
    const auto rows = static_cast<int>(array.shape(0));
    const auto columns = static_cast<int>(array.shape(1));
    const std::size_t step = isPacked(array) ? std::size_t{cv::Mat::AUTO_STEP}
                                             : static_cast<std::size_t>(array.strides(0));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): a matrix knows no constant elements.
    return {array, cv::Mat(rows, columns, type, const_cast<void*>(array.data()), step)};
}

void requireAlike(const BorrowedImage& left, const BorrowedImage& right) {
    if (left.matrix.depth() != right.matrix.depth())
        throw py::type_error(fmt::format("right has dtype {}, must have that of left, {}",
                                         dtypeName(right.matrix.depth()),
                                         dtypeName(left.matrix.depth())));
    if (left.matrix.size() != right.matrix.size() ||
        left.matrix.channels() != right.matrix.channels())
        throw py::value_error(fmt::format("right has shape {}, must have that of left, {}",
                                          shapeOf(right.array), shapeOf(left.array)));
}

py::array arrayOf(const cv::Mat& matrix) {
    if (matrix.dims > 2)
        throw py::value_error(fmt::format("a matrix has {} dimensions, must have 2", matrix.dims));
    const auto element = static_cast<py::ssize_t>(matrix.elemSize());
    std::vector<py::ssize_t> shape{matrix.rows, matrix.cols};
    std::vector<py::ssize_t> strides{static_cast<py::ssize_t>(matrix.step[0]), element};
    if (matrix.empty())
        strides[0] = element * matrix.cols;
    if (matrix.channels() > 1) {
        shape.push_back(matrix.channels());
        strides.push_back(static_cast<py::ssize_t>(matrix.elemSize1()));
    }
    const auto owner = py::capsule(new cv::Mat(matrix),
                                   [](void* shared) { delete static_cast<cv::Mat*>(shared); });
    return {py::dtype(dtypeName(matrix.depth())), shape, strides, matrix.data, owner};
}

py::array arrayLike(const BorrowedImage& image, const cv::Mat& matrix) {
    py::array result = arrayOf(matrix);
    if (result.ndim() == image.array.ndim())
        return result;
    return result.reshape({result.shape(0), result.shape(1), py::ssize_t{1}});
}

cv::Mat copyFloats(py::handle object, const char* name, const char* rule) {
    const py::array array = requireArray(object, name, rule);
    if (array.size() == 0)
        return {};
    const int depth = requireDepth(array, name, {{CV_32F, CV_64F}, {}, rule});
    if (array.ndim() < 1 || array.ndim() > 2 || array.size() > INT_MAX)
        throw py::value_error(
            fmt::format("{} has shape {}, must be {}", name, shapeOf(array), rule));
    const py::array packed = copyPacked(array);
    const bool isRow = array.ndim() == 1;
    const int rows = isRow ? 1 : static_cast<int>(array.shape(0));
    const int columns = static_cast<int>(array.shape(isRow ? 0 : 1));
    cv::Mat copy;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): a matrix knows no constant elements.
    cv::Mat(rows, columns, depth, const_cast<void*>(packed.data())).convertTo(copy, CV_32F);
    return copy;
}

}  // namespace tiomipra::python
