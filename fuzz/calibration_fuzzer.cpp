// Reads a calibration from hostile bytes: XML, YAML, JSON, or any of them compressed.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <opencv2/core/utils/logger.hpp>
#include <string>
#include <tevo/log.hpp>
#include <vision/calibration.hpp>

namespace {

// A file of this process alone; the name tells OpenCV whether to decompress.
std::string scratchFile(bool compressed) {
    const auto name = "calibration-" + std::to_string(getpid()) + (compressed ? ".gz" : "");
    return std::filesystem::temp_directory_path() / name;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    tevo::log::setSink([](const tevo::log::Record&) {});
    tevo::log::setLevel(tevo::LogLevel::debug);
    std::atexit([] {
        std::filesystem::remove(scratchFile(false));
        std::filesystem::remove(scratchFile(true));
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool compressed = size >= 2 && data[0] == 0x1f && data[1] == 0x8b;
    const std::string filename = scratchFile(compressed);
    std::ofstream(filename, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    try {
        vision::Calibration calibration;
        calibration.load(filename);
        calibration.scaleTo(calibration.width / 2, calibration.height / 2);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): a refusal is a fine answer.
    }
    return 0;
}
