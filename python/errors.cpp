#include "errors.hpp"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <climits>
#include <cmath>
#include <exception>
#include <opencv2/core.hpp>
#include <system_error>

#include "arrays.hpp"
#include "base/errors.hpp"
#include "base/text.hpp"
#include "parameters.hpp"

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

// Names of files, which messages hold, may be other than UTF-8.
void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, printableLines(message).c_str());
}

void raiseOpenCvError(const cv::Exception& exception) {
    if (exception.code == cv::Error::StsNoMem) {
        raise(PyExc_MemoryError, exception.what());
        return;
    }
    const py::object error =
        py::reinterpret_borrow<py::object>(openCvError)(printableLines(exception.what()));
    error.attr("code") = exception.code;
    error.attr("func") = printableLines(exception.func);
    error.attr("err") = printableLines(exception.err);
    PyErr_SetObject(openCvError, error.ptr());
}

// Settings are the arguments, and properties, of that name: "window-size" is `window_size`.
std::string inPython(const SettingError& error) {
    return pythonName(error.setting()) + std::string(error.what()).substr(error.setting().size());
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as pybind11 has it.
void translate(std::exception_ptr exception) {
    try {
        if (exception)
            std::rethrow_exception(exception);
    } catch (const FileError& error) {
        raiseOsError(error.code(), std::generic_category().message(error.code()), error.path());
    } catch (const InputError& error) {
        raise(inputError, error.what());
    } catch (const SettingError& error) {
        raise(PyExc_ValueError, inPython(error));
    } catch (const cv::Exception& error) {
        raiseOpenCvError(error);
    }
}

// Throws the error that Python has set, unless it is a `type`.
void clearError(PyObject* type) {
    if (PyErr_ExceptionMatches(type) == 0)
        throw py::error_already_set();
    PyErr_Clear();
}

std::vector<py::object> requirePair(py::handle object, const std::string& name, const char* rule) {
    const auto items = itemsOf(object);
    if (!items || items->size() != 2)
        throw py::type_error(fmt::format("{} is {}, must be {}", name, typeName(object), rule));
    return *items;
}

// As Python writes it, which is printable.
std::string literal(py::handle object) {
    return py::str(py::repr(object));
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
        clearError(PyExc_TypeError);
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
    clearError(PyExc_TypeError);
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
    if (!py::isinstance<py::bool_>(object) &&
        !py::isinstance(object, py::module_::import("numpy").attr("bool_")))
        throw py::type_error(
            fmt::format("{} is {}, must be True or False", name, typeName(object)));
    return object.cast<bool>();
}

std::string textOf(py::handle object, const std::string& name) {
    if (!py::isinstance<py::str>(object))
        throw py::type_error(fmt::format("{} is {}, must be a str", name, typeName(object)));
    py::ssize_t size = 0;
    const char* const text = PyUnicode_AsUTF8AndSize(object.ptr(), &size);
    if (text == nullptr) {
        clearError(PyExc_UnicodeError);
        throw py::value_error(
            fmt::format("{} is {}, must have no lone surrogates", name, literal(object)));
    }
    return {text, static_cast<std::size_t>(size)};
}

std::optional<std::vector<py::object>> itemsOf(py::handle object) {
    const bool isText = py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object) ||
                        py::isinstance<py::bytearray>(object);
    if (isText || PySequence_Check(object.ptr()) == 0)
        return std::nullopt;
    const auto items = py::reinterpret_steal<py::object>(PySequence_List(object.ptr()));
    if (!items) {  // an array without axes
        clearError(PyExc_TypeError);
        return std::nullopt;
    }
    return items.cast<std::vector<py::object>>();
}

std::pair<double, double> pairOf(py::handle object, const std::string& name, const char* rule) {
    const auto items = requirePair(object, name, rule);
    return {number(items[0], name + "[0]"), number(items[1], name + "[1]")};
}

std::pair<int, int> wholePairOf(py::handle object, const std::string& name, const char* rule) {
    const auto items = requirePair(object, name, rule);
    return {wholeNumber(items[0], name + "[0]"), wholeNumber(items[1], name + "[1]")};
}

std::string pathOf(py::handle object, const std::string& name, const char* rule) {
    PyObject* bytes = nullptr;
    if (PyUnicode_FSConverter(object.ptr(), &bytes) != 0)
        return py::reinterpret_steal<py::bytes>(bytes);
    if (PyErr_ExceptionMatches(PyExc_ValueError) != 0) {
        PyErr_Clear();
        throw py::value_error(
            fmt::format("{} is {}, must have neither null characters nor lone surrogates", name,
                        literal(object)));
    }
    clearError(PyExc_TypeError);
    throw py::type_error(fmt::format("{} is {}, must be {}", name, typeName(object), rule));
}

std::vector<std::string> pathsOf(const std::vector<py::object>& items, const std::string& name,
                                 const char* rule) {
    std::vector<std::string> paths;
    for (const py::object& item : items)
        paths.push_back(pathOf(item, name, rule));
    return paths;
}

}  // namespace tiomipra::python
