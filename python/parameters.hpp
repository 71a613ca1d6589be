// Parameters of the matcher by their names in Python: "window-size" is `window_size`.
#ifndef TIOMIPRA_PYTHON_PARAMETERS_HPP
#define TIOMIPRA_PYTHON_PARAMETERS_HPP

#include <pybind11/pybind11.h>

#include <string>
#include <string_view>

#include "matching/matcher_parameters.hpp"

namespace tiomipra::python {

namespace py = pybind11;

std::string pythonName(std::string_view name);

// The other way round.
std::string kitName(std::string_view name);

// "bm" and "sgbm" for an algorithm, a bool for a flag, else a whole number. Throws `TypeError` and
// `ValueError` that name the parameter.
int settingOf(const ParameterDescription& parameter, py::handle value);

// The other way round.
py::object asObject(const Parameter::Value& value);

}  // namespace tiomipra::python

#endif
