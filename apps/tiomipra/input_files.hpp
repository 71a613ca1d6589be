// Reading files.
#ifndef TIOMIPRA_INPUT_FILES_HPP
#define TIOMIPRA_INPUT_FILES_HPP

#include <string>

namespace tiomipra {

// All bytes of the file `path`. Throws `InputError` that names the file and the reason.
std::string readFile(const std::string& path);

// Throws `InputError` that names the file and the reason, unless the file `path` can be opened.
void requireReadable(const std::string& path);

// The extension of a file name in lower case, as in ".png"; empty when there is none.
std::string extensionOf(const std::string& path);

}  // namespace tiomipra

#endif
