// Writing files, whole or not at all.
//
// A file is written under a temporary name in the folder of its final one,
// ".NAME.tiomipra-PROCESS.EXTENSION", and then renamed. So nobody ever meets a half file, whenever
// the program dies, not even when two runs write the same one.
#ifndef TIOMIPRA_OUTPUT_FILES_HPP
#define TIOMIPRA_OUTPUT_FILES_HPP

#include <functional>
#include <string>
#include <string_view>

namespace tiomipra {

// Creates the folder `path` and those above it, unless it exists, and removes the temporary files
// that runs which died have left in it. Throws `InputError` that names the folder and the reason.
void prepareFolder(const std::string& path);

// Calls `write` with the temporary name, then renames the file. When `write` throws, the temporary
// file is removed and `path` stays as it was. What exists and is no file, a device say, is written
// itself.
void writeAtomically(const std::string& path,
                     const std::function<void(const std::string& temporary)>& write);

// Writes `bytes` to `path`; a full disk is found out. Throws `InputError` that names the file and
// the reason.
void writeFile(const std::string& path, std::string_view bytes);

// A path in a folder: "result" and "a.png" give "result/a.png".
std::string pathIn(const std::string& folder, const std::string& file);

}  // namespace tiomipra

#endif
