// Reading files.
#ifndef TIOMIPRA_FILES_INPUT_FILES_HPP
#define TIOMIPRA_FILES_INPUT_FILES_HPP

#include <cstddef>
#include <limits>
#include <string>

namespace tiomipra {

// All bytes of the file `path`, at most `largest`. Throws `InputError` that names the file and the
// reason.
std::string readFile(const std::string& path,
                     std::size_t largest = std::numeric_limits<std::size_t>::max());

// Throws `InputError` that names the file and the reason, unless the file `path` can be opened.
// Never waits.
void requireReadable(const std::string& path);

// The extension of a file name in lower case, as in ".png"; empty when there is none.
std::string extensionOf(const std::string& path);

}  // namespace tiomipra

#endif
