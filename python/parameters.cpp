#include "parameters.hpp"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <vision/stereo.hpp>

#include "base/text.hpp"
#include "errors.hpp"

namespace tiomipra::python {
namespace {

using vision::Stereo;

int algorithmOf(const std::string& name, py::handle value) {
    const auto text = textOf(value, name);
    for (const auto algorithm : {Stereo::BM, Stereo::SGBM}) {
        if (text == nameOf(algorithm))
            return algorithm;
    }
    throw py::value_error(fmt::format("{} is {}, must be 'bm' or 'sgbm'", name, quote(text)));
}

}  // namespace

std::string pythonName(std::string_view name) {
    std::string result(name);
    std::replace(result.begin(), result.end(), '-', '_');
    return result;
}

std::string kitName(std::string_view name) {
    std::string result(name);
    std::replace(result.begin(), result.end(), '_', '-');
    return result;
}

int settingOf(const ParameterDescription& parameter, py::handle value) {
    const std::string name = pythonName(parameter.name);
    if (parameter.kind == ParameterDescription::Kind::algorithm)
        return algorithmOf(name, value);
    if (parameter.kind == ParameterDescription::Kind::flag)
        return truthOf(value, name) ? 1 : 0;
    return wholeNumber(value, name);
}

py::object asObject(const Parameter::Value& value) {
    return std::visit([](const auto& held) -> py::object { return py::cast(held); }, value);
}

}  // namespace tiomipra::python
