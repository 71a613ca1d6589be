// What a user should know though it is no error.
#ifndef TIOMIPRA_BASE_NOTICES_HPP
#define TIOMIPRA_BASE_NOTICES_HPP

#include <functional>
#include <string>

namespace tiomipra {

// Receives a notice, a sentence without a line feed, as in "warning: ...". Must not be empty. May
// be called from any thread that works on the task, also with the same notice several times.
using Notify = std::function<void(const std::string& notice)>;

inline void ignoreNotice(const std::string&) {}

}  // namespace tiomipra

#endif
