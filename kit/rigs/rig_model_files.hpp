// A rig model as a file, "rig.yml": what a calibration measured, beside the calibrations that
// follow from it. docs/calibration-file.md describes its keys.
#ifndef TIOMIPRA_RIGS_RIG_MODEL_FILES_HPP
#define TIOMIPRA_RIGS_RIG_MODEL_FILES_HPP

#include <string>

#include "rigs/rig_model.hpp"

namespace tiomipra {

// As files have it: "radial-tangential".
std::string nameOf(LensKind kind);

// The bytes of a file with `model`, YAML. All numbers read back exactly.
std::string encodeRigModel(const RigModel& model);

// Any file may be handed in, a hostile one included, unless it is compressed. Throws `InputError`
// that names the file, and the key, its value and the rule where one is broken.
RigModel readRigModel(const std::string& path);

}  // namespace tiomipra

#endif
