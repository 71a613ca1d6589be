// Rigs that other programs have calibrated. docs/formats.md describes the formats.
#ifndef TIOMIPRA_FORMATS_RIG_IMPORTER_HPP
#define TIOMIPRA_FORMATS_RIG_IMPORTER_HPP

#include <opencv2/core/types.hpp>
#include <optional>
#include <string>
#include <vector>

#include "rigs/fisheye_lens.hpp"
#include "rigs/rig_model.hpp"

namespace tiomipra {

// What files don't say, or say of more than two cameras.
struct ImportSettings {
    std::string format;                 // its name; "" for that which the content shows
    std::string unit;                   // of lengths, as in "mm"; "" for that of the format
    std::optional<cv::Size> imageSize;  // where files have none, or several
    std::vector<std::string> cameras;   // left and right, where there are more; else empty
    bool isSwapped = false;             // the files have the right camera first
    std::optional<double> alpha;        // of the rectification; else that of the files, or 0
    WideAngleSettings wideAngle;
};

struct ImportedFile {
    std::string path;
    std::string hash;  // SHA-256
};

struct ImportedRig {
    std::string format;  // its name
    std::vector<ImportedFile> files;
    RigModel model;
    RectifiedRig rectified;
    bool isRectifiedAsFound = false;  // by the files, not anew
    std::vector<std::string> notes;   // what to know of it, a sentence each
};

struct RigFormat {
    std::string name;
    std::string summary;
};

// All that can be imported.
std::vector<RigFormat> importFormats();

// Reads the files of one rig and finds out their format, unless it is given. Lengths are in metres
// wherever the format or the settings say what they are in. Throws `InputError` that names the
// files, the item, its value and the rule, and `SettingError` for settings that no format takes.
ImportedRig importRig(const std::vector<std::string>& paths, const ImportSettings& settings);

}  // namespace tiomipra

#endif
