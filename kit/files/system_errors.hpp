// What the operating system refuses, for the reason that `errno` tells.
#ifndef TIOMIPRA_FILES_SYSTEM_ERRORS_HPP
#define TIOMIPRA_FILES_SYSTEM_ERRORS_HPP

#include <string>

namespace tiomipra {

// Throws `FileError` for `errno`: "can't read 'a.png': Permission denied".
[[noreturn]] void throwUnreadable(const std::string& path);

// The same: "can't write 'a.png': No space left on device".
[[noreturn]] void throwUnwritable(const std::string& path);

}  // namespace tiomipra

#endif
