// Reading files.
#ifndef TIOMIPRA_FILES_INPUT_FILES_HPP
#define TIOMIPRA_FILES_INPUT_FILES_HPP

#include <cstddef>
#include <functional>
#include <limits>
#include <string>

namespace tiomipra {

// All bytes of the file `path`, at most `largest`. Throws `InputError` that names the file and the
// reason. `checkStart`, unless the file is empty, gets the first 64 KiB before the rest is read.
std::string readFile(const std::string& path,
                     std::size_t largest = std::numeric_limits<std::size_t>::max(),
                     const std::function<void(const std::string& start)>& checkStart = {});

// The first `size` bytes of the file `path`, padded with zeros; "" unless it is a regular file.
std::string readStart(const std::string& path, std::size_t size);

// Throws `InputError` that names the file and the reason, unless the file `path` can be opened.
// Never waits.
void requireReadable(const std::string& path);

// The extension of a file name in lower case, as in ".png"; empty when there is none.
std::string extensionOf(const std::string& path);

}  // namespace tiomipra

#endif
