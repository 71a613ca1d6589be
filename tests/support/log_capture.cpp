#include "support/log_capture.hpp"

#include <utility>

namespace {

const char* nameOf(tevo::LogLevel level) {
    switch (level) {
        case tevo::LogLevel::error:
            return "error";
        case tevo::LogLevel::verbose:
            return "verbose";
        default:
            return "unexpected level";
    }
}

}  // namespace

LogCapture::LogCapture(tevo::LogLevel level) {
    tevo::log::setLevel(level);
    tevo::log::setSink([this](const tevo::log::Record& record) {
        const std::string place = record.file + (record.line == 0 ? "" : " with a line");
        _lines.push_back(place + nameOf(record.level) + " " + record.category + " " +
                         record.function + ": " + record.message);
    });
}

LogCapture::~LogCapture() {
    tevo::log::setSink({});
    tevo::log::setLevel(tevo::LogLevel::warning);
}

std::vector<std::string> LogCapture::takeLines() {
    return std::exchange(_lines, {});
}
