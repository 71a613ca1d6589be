// Rigs for other programs. docs/formats.md describes the formats.
#ifndef TIOMIPRA_FORMATS_RIG_EXPORTER_HPP
#define TIOMIPRA_FORMATS_RIG_EXPORTER_HPP

#include <string>
#include <vector>

#include "rigs/rig_model.hpp"

namespace tiomipra {

struct ExportFormat {
    std::string name;
    std::string summary;
    std::size_t files;  // how many there are of a rig: 1, or 2, left and right
    // Their bytes. Throws `std::invalid_argument` for what the format can't hold.
    std::vector<std::string> (*write)(const RigModel& model, const RectifiedRig& rectified);
};

const std::vector<ExportFormat>& exportFormats();

// Throws `SettingError` for "format" that lists all names.
const ExportFormat& exportFormat(const std::string& name);

}  // namespace tiomipra

#endif
