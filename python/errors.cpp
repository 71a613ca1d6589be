#include "errors.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>
#include <opencv2/core.hpp>
#include <system_error>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra::python {
namespace {

// Never destroyed, as the interpreter may be gone by then.
PyObject* openCvError = nullptr;
PyObject* inputError = nullptr;

PyObject* addError(py::module_& module, const char* name, const char* doc, PyObject* base) {
    PyObject* const type =
        PyErr_NewExceptionWithDoc(fmt::format("tiomipra.{}", name).c_str(), doc, base, nullptr);
    if (type == nullptr)
        throw py::error_already_set();
    module.add_object(name, type);
    return type;
}

py::object decodePath(const std::string& path) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<py::ssize_t>(path.size())));
}

void raiseOsError(int code, const std::string& reason, const std::string& path) {
    const py::object error =
        py::reinterpret_borrow<py::object>(PyExc_OSError)(code, reason, decodePath(path));
    PyErr_SetObject(py::type::handle_of(error).ptr(), error.ptr());
}

void raiseOpenCvError(const cv::Exception& exception) {
    if (exception.code == cv::Error::StsNoMem) {
        PyErr_SetString(PyExc_MemoryError, exception.what());
        return;
    }
    const py::object error = py::reinterpret_borrow<py::object>(openCvError)(exception.what());
    error.attr("code") = exception.code;
    error.attr("func") = exception.func;
    error.attr("err") = exception.err;
    PyErr_SetObject(openCvError, error.ptr());
}

// Settings are the arguments, and properties, of that name: "window-size" is `window_size`.
std::string inPython(const SettingError& error) {
    std::string text = error.what();
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(error.setting().size());
    std::replace(text.begin(), end, '-', '_');
    return text;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as pybind11 has it.
void translate(std::exception_ptr exception) {
    try {
        if (exception)
            std::rethrow_exception(exception);
    } catch (const FileError& error) {
        raiseOsError(error.code(), std::generic_category().message(error.code()), error.path());
    } catch (const InputError& error) {
        PyErr_SetString(inputError, error.what());
    } catch (const SettingError& error) {
        PyErr_SetString(PyExc_ValueError, inPython(error).c_str());
    } catch (const cv::Exception& error) {
        raiseOpenCvError(error);
    }
}

// Throws the error that Python has set, unless it is a `TypeError`.
void clearTypeError() {
    if (PyErr_ExceptionMatches(PyExc_TypeError) == 0)
        throw py::error_already_set();
    PyErr_Clear();
}

py::sequence requirePair(py::handle object, const std::string& name, const char* rule) {
    const bool isPair = PySequence_Check(object.ptr()) != 0 && !py::isinstance<py::str>(object) &&
                        py::len(object) == 2;
    if (!isPair)
        throw py::type_error(fmt::format("{} is {}, must be {}", name, typeName(object), rule));
    return py::reinterpret_borrow<py::sequence>(object);
}

}  // namespace

void bindErrors(py::module_& module) {
    openCvError = addError(module, "OpenCVError",
                           "What OpenCV refuses.\n\n"
                           "Attributes: ``code`` (int), OpenCV's number of the error; ``func`` "
                           "(str), where it\nwas found; ``err`` (str), its text.",
                           PyExc_RuntimeError);
    inputError = addError(module, "InputError",
                          "A file or an image whose content can't be used, or that does not fit "
                          "the others.",
                          PyExc_ValueError);
    py::register_exception_translator(translate);
}

void throwOsError(int code, const std::string& reason, const std::string& path) {
    raiseOsError(code, reason, path);
    throw py::error_already_set();
}

int wholeNumber(py::handle object, const std::string& name) {
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
    if (!index) {
        clearTypeError();
        throw py::type_error(
            fmt::format("{} is {}, must be a whole number", name, typeName(object)));
    }
    int isTooLarge = 0;
    const long value = PyLong_AsLongAndOverflow(index.ptr(), &isTooLarge);
    if (isTooLarge != 0 || value < INT_MIN || value > INT_MAX)
        throw py::value_error(
            fmt::format("{} is {}, must fit 32 bits", name, std::string(py::str(object))));
    return static_cast<int>(value);
}

double number(py::handle object, const std::string& name) {
    const double value = PyFloat_AsDouble(object.ptr());
    if (PyErr_Occurred() == nullptr)
        return value;
    if (PyErr_ExceptionMatches(PyExc_OverflowError) != 0) {
        PyErr_Clear();
        throw py::value_error(fmt::format("{} is too large, must fit 64 bits", name));
    }
    clearTypeError();
    throw py::type_error(fmt::format("{} is {}, must be a number", name, typeName(object)));
}

std::optional<double> numberOrNone(py::handle object, const std::string& name) {
    return object.is_none() ? std::nullopt : std::optional(number(object, name));
}

int sideOf(py::handle object, const std::string& name) {
    const int side = wholeNumber(object, name);
    if (side <= 0)
        throw py::value_error(fmt::format("{} is {}, must be above 0", name, side));
    return side;
}

double positive(py::handle object, const std::string& name) {
    const double value = number(object, name);
    if (!(value > 0))
        throw py::value_error(fmt::format("{} is {}, must be above 0", name, value));
    return value;
}

bool truthOf(py::handle object, const std::string& name) {
    if (!py::isinstance<py::bool_>(object))
        throw py::type_error(
            fmt::format("{} is {}, must be True or False", name, typeName(object)));
    return object.cast<bool>();
}

std::string textOf(py::handle object, const std::string& name) {
    if (!py::isinstance<py::str>(object))
        throw py::type_error(fmt::format("{} is {}, must be a str", name, typeName(object)));
    return object.cast<std::string>();
}

std::pair<double, double> pairOf(py::handle object, const std::string& name, const char* rule) {
    const auto items = requirePair(object, name, rule);
    return {number(items[0], name + "[0]"), number(items[1], name + "[1]")};
}

std::pair<int, int> wholePairOf(py::handle object, const std::string& name, const char* rule) {
    const auto items = requirePair(object, name, rule);
    return {wholeNumber(items[0], name + "[0]"), wholeNumber(items[1], name + "[1]")};
}

std::string pathOf(py::handle object, const std::string& name) {
    PyObject* bytes = nullptr;
    if (PyUnicode_FSConverter(object.ptr(), &bytes) == 0) {
        clearTypeError();
        throw py::type_error(
            fmt::format("{} is {}, must be a str or a path", name, typeName(object)));
    }
    return py::reinterpret_steal<py::bytes>(bytes);
}

}  // namespace tiomipra::python
