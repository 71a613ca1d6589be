#include "reports/import_report.hpp"

#include <nlohmann/json.hpp>

#include "base/text.hpp"
#include "reports/rig_report.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {

nlohmann::ordered_json toJson(const ImportedRig& rig) {
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const auto& [path, hash] : rig.files)
        files.push_back({{"path", path}, {"sha256", hash}});
    return {{"format", rig.format},
            {"sources", files},
            {"rectificationOfSources", rig.isRectifiedAsFound},
            {"notes", rig.notes},
            {"rig", toJson(describeGeometry(rig.rectified.left, rig.rectified.right, rig.model))}};
}

std::string toText(const ImportedRig& rig) {
    std::string text =
        fmt::format("format                                    {}, {}\n", rig.format,
                    rig.isRectifiedAsFound ? "rectified as the files have it" : "rectified anew");
    text += toText(describeGeometry(rig.rectified.left, rig.rectified.right, rig.model),
                   rig.model.unit);
    for (const std::string& note : rig.notes)
        text += fmt::format("\nnote: {}\n", printable(note));
    return text;
}

}  // namespace tiomipra
