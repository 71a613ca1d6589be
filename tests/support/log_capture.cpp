#include "support/log_capture.hpp"

#include <utility>

namespace tiomipra::test {

constexpr const char* levelNames[] = {"none", "fatal",   "error", "warning",
                                      "info", "verbose", "debug"};

LogCapture::LogCapture(tevo::LogLevel level) {
    tevo::log::setLevel(level);
    tevo::log::setSink([this](const tevo::log::Record& record) {
        const std::string place = record.file + (record.line == 0 ? "" : " with a line");
        const char* const levelName = levelNames[static_cast<std::size_t>(record.level)];
        _lines.push_back(place + levelName + " " + record.category + " " + record.function + ": " +
                         record.message);
    });
}

LogCapture::~LogCapture() {
    tevo::log::setSink({});
    tevo::log::setLevel(tevo::LogLevel::warning);
}

std::vector<std::string> LogCapture::takeLines() {
    return std::exchange(_lines, {});
}

}  // namespace tiomipra::test
