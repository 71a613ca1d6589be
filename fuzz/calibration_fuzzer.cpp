// Reads a calibration from hostile bytes: XML, YAML or JSON.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vision/calibration.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A file of this process alone. Its name asks for no decompression, as the library does not
    // check what OpenCV decompresses.
    const std::string filename =
        std::filesystem::temp_directory_path() / ("calibration-" + std::to_string(getpid()));
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
