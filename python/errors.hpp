// Which exception of Python an exception becomes.
#ifndef TIOMIPRA_PYTHON_ERRORS_HPP
#define TIOMIPRA_PYTHON_ERRORS_HPP

#include <pybind11/pybind11.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tiomipra::python {

namespace py = pybind11;

// Adds `OpenCVError` and `InputError` to the module. From then on
//
//   FileError                                       OSError, with errno and the file's name
//   InputError                                      tiomipra.InputError, a ValueError
//   SettingError                                    ValueError
//   cv::Exception                                   tiomipra.OpenCVError
//   cv::Exception for want of memory                MemoryError
//   std::range_error, invalid_argument and others   ValueError, as pybind11 has it
void bindErrors(py::module_& module);

// Throws an `OSError` with these.
[[noreturn]] void throwOsError(int code, const std::string& reason, const std::string& path);

// A whole number, or one as numpy has it. Throws `TypeError` and `ValueError` that name it.
int wholeNumber(py::handle object, const std::string& name);

// A number. Throws `TypeError` and `ValueError` that name it.
double number(py::handle object, const std::string& name);

// The same, or None.
std::optional<double> numberOrNone(py::handle object, const std::string& name);

// A whole number above 0, of a size say. Throws also `ValueError` for others.
int sideOf(py::handle object, const std::string& name);

// The same of any number above 0, even infinite.
double positive(py::handle object, const std::string& name);

// True or False, also those of numpy. Throws `TypeError` that names it.
bool truthOf(py::handle object, const std::string& name);

// A text. Throws `TypeError` that names it, and `ValueError` for what UTF-8 does not have.
std::string textOf(py::handle object, const std::string& name);

// The items of a sequence, an array among them; nothing for text, bytes and what is no sequence.
std::optional<std::vector<py::object>> itemsOf(py::handle object);

// Both numbers of a pair. Throws `TypeError` that names it and the rule, as in "(width, height)".
std::pair<double, double> pairOf(py::handle object, const std::string& name, const char* rule);

// The same of whole numbers, as `wholeNumber` takes them.
std::pair<int, int> wholePairOf(py::handle object, const std::string& name, const char* rule);

// The name of a file. Throws `TypeError` that names the argument and the rule for what is none, and
// `ValueError` for characters that no file's name has.
std::string pathOf(py::handle object, const std::string& name,
                   const char* rule = "a str or a path");

// The names of several, `name` each.
std::vector<std::string> pathsOf(const std::vector<py::object>& items, const std::string& name,
                                 const char* rule = "a str or a path");

}  // namespace tiomipra::python

#endif
