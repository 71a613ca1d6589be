// Rigs between the rooms and the classes of the package: `tiomipra.Rig` and `tiomipra.RigModel`.
#ifndef TIOMIPRA_PYTHON_RIG_VALUES_HPP
#define TIOMIPRA_PYTHON_RIG_VALUES_HPP

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "rigs/rig_files.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra::python {

namespace py = pybind11;

// Throws `TypeError` that names the argument for what is no `tiomipra.Calibration`.
const vision::Calibration& calibrationOf(py::handle object, const char* name);

// What a `tiomipra.Rig` holds. Throws `TypeError` that names the argument for what is none.
Rig rigOf(py::handle object, const char* name = "rig");

// The same, or of a `tiomipra.RectifiedCameras`, whose images have any size: the argument `rig`.
// Throws `TypeError` for what is neither, and as `rectifiedRig`.
Rig rigOrCameras(py::handle object);

// The model of a `tiomipra.Rig`, if it has one. Throws `TypeError` and `ValueError` that name what
// `readRigModel` would not read.
std::optional<RigModel> givenModelOf(py::handle rig);

// What makes a `tiomipra.Rig`: left, right, unit, verdict and model, by name.
py::dict describeRig(const Rig& rig, const std::optional<RigModel>& model);

}  // namespace tiomipra::python

#endif
