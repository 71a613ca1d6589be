// One line in a log category, built only if the category admits it.
#ifndef VISION_LOG_MESSAGE_HPP
#define VISION_LOG_MESSAGE_HPP

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

}  // namespace vision

#endif
