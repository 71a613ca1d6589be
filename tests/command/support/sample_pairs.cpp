#include "support/sample_pairs.hpp"

#include <filesystem>

#include "image_files.hpp"
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

std::vector<std::string> SamplePairs::arguments(const std::string& command,
                                                const std::vector<std::string>& more) const {
    std::vector<std::string> all{command,          "--calibration", folder / "rig",
                                 "--left",         folder / "left", "--right",
                                 folder / "right", "--output",      folder / "out"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

void saveRig(const std::string& path, const ::Rig& rig) {
    std::filesystem::create_directories(path);
    rig.left.save(path + "/left.yml");
    rig.right.save(path + "/right.yml");
}

void truncate(const std::string& path, std::size_t size) {
    std::filesystem::resize_file(path, size);
}

}  // namespace tiomipra::test
