#include "files/system_errors.hpp"

#include <cerrno>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

[[noreturn]] void refuse(const char* action, const std::string& path) {
    const int code = errno;
    const std::string reason = std::generic_category().message(code);
    throw FileError(fmt::format("can't {} {}: {}", action, quote(path), reason), path, code);
}

}  // namespace

void throwUnreadable(const std::string& path) {
    refuse("read", path);
}

void throwUnwritable(const std::string& path) {
    refuse("write", path);
}

}  // namespace tiomipra
