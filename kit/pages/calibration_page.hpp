// A calibration to look at.
#ifndef TIOMIPRA_PAGES_CALIBRATION_PAGE_HPP
#define TIOMIPRA_PAGES_CALIBRATION_PAGE_HPP

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "pages/pair_pictures.hpp"
#include "rigs/rig_files.hpp"

namespace tiomipra {

// The bytes of an HTML file. `report` is what report.json beside the calibrations holds.
std::string makeCalibrationPage(nlohmann::ordered_json report, const CalibrationPictures& pictures);

struct RemadePage {
    std::string bytes;
    std::vector<std::string> files;  // the images that the report names
};

// The same from report.json of exactly this rig, with the pictures that it names, as far as they
// are still what they were. Throws `InputError` that names the file unless it holds all that the
// page shows. Images of more than `maxPixels` are left out.
RemadePage remakeCalibrationPage(const std::string& reportFile, const Rig& rig,
                                 std::size_t maxPixels = ImageLimits().maxPixels);

}  // namespace tiomipra

#endif
