// Writing files, whole or not at all.
//
// A file is written under a temporary name in the folder of its final one,
// ".tiomipra-PROCESS-NUMBER", and then renamed. So nobody ever meets a half file, whenever the
// program dies, not even when two runs write the same one.
#ifndef TIOMIPRA_FILES_OUTPUT_FILES_HPP
#define TIOMIPRA_FILES_OUTPUT_FILES_HPP

#include <functional>
#include <string>
#include <vector>

namespace tiomipra {

// A folder for results. It takes away the folders that it had to create once there is nothing in
// them at its end, as after a run that failed.
class OutputFolder {
  public:
    // Creates the folder `path` and those above it, also where links lead, unless it exists, and
    // removes the temporary files that runs which died have left in it. Throws `InputError` that
    // names the folder and the reason.
    explicit OutputFolder(const std::string& path);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

  private:
    std::vector<std::string> _created;  // the outermost one first
};

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
// last one last.
void writeTogether(const std::vector<NewFile>& files);

// Writes `bytes` to `path`, as `newFile` and `writeAtomically` do.
void writeFile(const std::string& path, std::string bytes);

// Removes the file `path` if it is there. Throws `InputError` that names it and the reason; a
// folder is none to be removed.
void removeFile(const std::string& path);

// A path in a folder: "result" and "a.png" give "result/a.png".
std::string pathIn(const std::string& folder, const std::string& file);

}  // namespace tiomipra

#endif
