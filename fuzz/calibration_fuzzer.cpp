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
const std::string& scratchFile(bool compressed) {
    static const std::string plain =
        (std::filesystem::temp_directory_path() / ("calibration-" + std::to_string(getpid())))
            .string();
    static const std::string zipped = plain + ".gz";
    return compressed ? zipped : plain;
}

void write(const std::string& filename, const std::uint8_t* data, std::size_t size) {
    std::ofstream(filename, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    tevo::log::setSink([](const tevo::log::Record&) {});
    tevo::log::setLevel(tevo::LogLevel::debug);
    scratchFile(false);  // Made before the handler below is registered, so that it outlives it.
    std::atexit([] {
        std::filesystem::remove(scratchFile(false));
        std::filesystem::remove(scratchFile(true));
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool compressed = size >= 2 && data[0] == 0x1f && data[1] == 0x8b;
    const std::string& filename = scratchFile(compressed);
    write(filename, data, size);
    try {
        vision::Calibration calibration;
        calibration.load(filename);
        calibration.scaleTo(calibration.width / 2, calibration.height / 2);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): a refusal is a fine answer.
    }
    return 0;
}
