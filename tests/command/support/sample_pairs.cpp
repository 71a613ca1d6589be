#include "support/sample_pairs.hpp"

#include <filesystem>

#include "files/image_files.hpp"
#include "support/matrices.hpp"

namespace tiomipra::test {

SamplePairs::SamplePairs(int count, const RigOptions& options) : rig(makeRig(options)) {
    saveRig(folder / "rig", rig);
    for (const char* side : {"left", "right"}) {
        std::filesystem::create_directory(folder / side);
        for (int i = 1; i <= count; ++i)
            writeImage(folder / (side + ("/" + std::to_string(i)) + ".png"),
                       makeNoise(options.size, CV_8UC1, static_cast<unsigned>(i)));
    }
}

Arguments SamplePairs::images() const {
    return {"--left", folder / "left", "--right", folder / "right", "--output", folder / "out"};
}

Arguments SamplePairs::arguments(const std::string& command, const Arguments& more) const {
    return joined({command, "--calibration", folder / "rig"}, images(), more);
}

void saveRig(const std::string& path, const CalibrationPair& rig) {
    std::filesystem::create_directories(path);
    rig.left.save(path + "/left.yml");
    rig.right.save(path + "/right.yml");
}

}  // namespace tiomipra::test
