// Reads a calibration from hostile bytes: XML, YAML, JSON, or any of them compressed.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vision/calibration.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool compressed = size >= 2 && data[0] == 0x1f && data[1] == 0x8b;
    // A file of this process alone; the name tells OpenCV whether to decompress.
    const auto name = "calibration-" + std::to_string(getpid()) + (compressed ? ".gz" : "");
    const std::string filename = std::filesystem::temp_directory_path() / name;
    std::ofstream(filename, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    try {
        vision::Calibration calibration;
        calibration.load(filename);
        calibration.scaleTo(calibration.width / 2, calibration.height / 2);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): a refusal is a fine answer.
    }
    std::filesystem::remove(filename);
    return 0;
}
