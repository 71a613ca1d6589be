// Arrays of numpy and matrices of OpenCV, which share their memory.
#ifndef TIOMIPRA_PYTHON_ARRAYS_HPP
#define TIOMIPRA_PYTHON_ARRAYS_HPP

#include <pybind11/numpy.h>

#include <opencv2/core.hpp>
#include <vector>

namespace tiomipra::python {

namespace py = pybind11;

// What an argument must be.
struct ImageRule {
    std::vector<int> depths;  // as in `CV_8U`
    std::vector<int> channels;
    const char* text;  // as in "a uint8 array of shape (rows, columns)"
    bool takesBool = false;
};

extern const ImageRule anyImage;       // what `cv::remap` takes
extern const ImageRule anyMatrix;      // any type that both have
extern const ImageRule greyImage;      // uint8
extern const ImageRule pairImage;      // grey or BGR; uint8, uint16 or float32
extern const ImageRule floatImage;     // float32
extern const ImageRule pointsImage;    // float32, three channels
extern const ImageRule eightBitImage;  // uint8, grey or BGR
extern const ImageRule maskImage;      // uint8 or bool

// Throws `TypeError` with `name` and `rule` for what is no array, or has a mask.
py::array requireArray(py::handle object, const char* name, const char* rule);

// An argument as a matrix. To be destroyed by a thread that holds the interpreter.
struct BorrowedImage {
    py::array array;  // owns the memory
    cv::Mat matrix;   // to be read only
};

// Without a copy if elements of a row follow each other, however far apart the rows are; other
// layouts, and elements that are not aligned, are copied. Throws `TypeError` for what is no array
// or has another dtype, and `ValueError` for another shape or none, each with `name`, what it is,
// and the rule.
BorrowedImage borrowImage(py::handle object, const char* name, const ImageRule& rule);

// Throws `ValueError` or `TypeError` unless both have the same rows, columns, channels and type.
void requireAlike(const BorrowedImage& left, const BorrowedImage& right);

// The elements of `matrix`, which it shares and keeps alive; channels are the last axis.
py::array arrayOf(const cv::Mat& matrix);

// The same with as many axes as `image` has, of which it was made: a single channel may have one.
py::array arrayLike(const BorrowedImage& image, const cv::Mat& matrix);

// A copy of a matrix of 32-bit floats; those of 64 bits are rounded. Throws as `borrowImage` for
// anything but an empty array, or a float32 or float64 one with one or two axes; a single one
// becomes a row.
cv::Mat copyFloats(py::handle object, const char* name, const char* rule);

// "None" or "of type list".
std::string typeName(py::handle object);

}  // namespace tiomipra::python

#endif
