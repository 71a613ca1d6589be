#include "files/system_errors.hpp"

#include <cerrno>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

[[noreturn]] void refuse(const char* action, const std::string& path) {
    const std::string reason = std::generic_category().message(errno);
    throw InputError(fmt::format("can't {} {}: {}", action, quote(path), reason));
}

}  // namespace

void throwUnreadable(const std::string& path) {
    refuse("read", path);
}

void throwUnwritable(const std::string& path) {
    refuse("write", path);
}

}  // namespace tiomipra
