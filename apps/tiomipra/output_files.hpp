// Writing files, whole or not at all.
//
// A file is written under a temporary name in the folder of its final one,
// ".tiomipra-PROCESS-NUMBER", and then renamed. So nobody ever meets a half file, whenever the
// program dies, not even when two runs write the same one.
#ifndef TIOMIPRA_OUTPUT_FILES_HPP
#define TIOMIPRA_OUTPUT_FILES_HPP

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tiomipra {

// Creates the folder `path` and those above it, also where links lead, unless it exists, and
// removes the temporary files that runs which died have left in it. Throws `InputError` that names
// the folder and the reason.
void prepareFolder(const std::string& path);

// A new name in `folder` for a file that is not whole yet.
std::string temporaryName(const std::string& folder);

// A file to be. `write` is called with its temporary name and throws when it can't be written.
struct NewFile {
    std::string path;
    std::function<void(const std::string& temporary)> write;
};

// A file that holds `bytes`; a full disk is found out. Writing it throws `InputError` that names
// the file and the reason.
NewFile newFile(const std::string& path, std::string bytes);

// Writes the file, then gives it its name. When `write` throws, the temporary file is removed and
// what is at `path` stays as it was. A symbolic link stays, the file that it leads to is replaced.
// What exists and is no file, a device say, is written itself, and so is what this process was
// given open, as /dev/stdout or /dev/fd/5.
void writeAtomically(const NewFile& file);

// The same for files that belong together: all of them are written before any gets its name, the
// last one last. Throws `Interrupted` if SIGINT or SIGTERM came meanwhile, when that is done.
void writeTogether(const std::vector<NewFile>& files);

// Writes `bytes` to `path`, as `newFile` and `writeAtomically` do.
void writeFile(const std::string& path, std::string bytes);

// Removes the file `path` if it is there. Throws `InputError` that names it and the reason; a
// folder is none to be removed.
void removeFile(const std::string& path);

// Files that are read and must not be replaced, under whatever names.
class ProtectedFiles {
  public:
    explicit ProtectedFiles(const std::vector<std::string>& files) { add(files); }

    void add(const std::vector<std::string>& files);

    // Throws `InputError` that names both when the result `path` would replace one of them.
    void requireOther(const std::string& path) const;

  private:
    std::map<std::pair<dev_t, ino_t>, std::string> _paths;
};

// A path in a folder: "result" and "a.png" give "result/a.png".
std::string pathIn(const std::string& folder, const std::string& file);

}  // namespace tiomipra

#endif
