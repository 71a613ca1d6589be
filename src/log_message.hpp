// Messages in a log category, composed only if the category admits them, and exceptions that are
// logged before they are thrown.
#ifndef VISION_LOG_MESSAGE_HPP
#define VISION_LOG_MESSAGE_HPP

#include <stdexcept>
#include <string>
#include <tevo/log.hpp>

namespace vision {

// Streams `pieces` one after the other into one message from `function`.
template <typename... Pieces>
void logMessage(tevo::LogLevel level, const tevo::log::Category* category, const char* function,
                const Pieces&... pieces) {
    if (!tevo::log::admits(category, level))
        return;
    tevo::log::LogStream stream(level, "", function, 0, category);
    (stream << ... << pieces);
}

template <typename... Pieces>
void logError(const tevo::log::Category* category, const char* function, const Pieces&... pieces) {
    logMessage(tevo::LogLevel::error, category, function, pieces...);
}

template <typename... Pieces>
void logVerbose(const tevo::log::Category* category, const char* function,
                const Pieces&... pieces) {
    logMessage(tevo::LogLevel::verbose, category, function, pieces...);
}

// Logs `message` as an error of `function`, then throws it.
[[noreturn]] inline void refuse(const tevo::log::Category* category, const char* function,
                                const std::string& message) {
    logError(category, function, message);
    throw std::invalid_argument(message);
}

}  // namespace vision

#endif
