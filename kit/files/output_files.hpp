// Writing files, whole or not at all, see files/pending_files.hpp.
#ifndef TIOMIPRA_FILES_OUTPUT_FILES_HPP
#define TIOMIPRA_FILES_OUTPUT_FILES_HPP

#include <string>
#include <vector>

#include "files/folder_lock.hpp"

namespace tiomipra {

// Folders that had to be created; at their end those go that have nothing in them, as after a run
// that failed.
class CreatedFolders {
  public:
    // Creates the folder `path` and those above it, also where links lead, unless it exists. Throws
    // `InputError` that names the folder and the reason.
    explicit CreatedFolders(const std::string& path);
    CreatedFolders(const CreatedFolders&) = delete;
    CreatedFolders& operator=(const CreatedFolders&) = delete;
    ~CreatedFolders();

  private:
    CreatedFolders() = default;

    std::vector<std::string> _folders;  // the outermost one first
};

// A folder for results, from the start of a run to its end.
class OutputFolder {
  public:
    // Creates the folder, locks it, and removes the temporary files that runs which died have left
    // in it. Throws `InputError` as `CreatedFolders` and `FolderLock` do.
    OutputFolder(const std::string& path, const FolderUse& use);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

  private:
    CreatedFolders _created;
    FolderLock _lock;
};

// A file to be.
struct NewFile {
    std::string path;
    std::string bytes;
};

// Writes files that belong together: all of them are on the disk before any gets its name, the
// last one last. When one can't be written what is at their paths stays as it was. Throws
// `InputError` that names the file and the reason.
void writeTogether(const std::vector<NewFile>& files);

// The same for one file, in a folder that may be anyone's: what runs which died have left in it is
// removed.
void writeFile(const std::string& path, const std::string& bytes);

// Removes the file `path` if it is there. Throws `InputError` that names it and the reason; a
// folder is none to be removed.
void removeFile(const std::string& path);

// A path in a folder: "result" and "a.png" give "result/a.png".
std::string pathIn(const std::string& folder, const std::string& file);

}  // namespace tiomipra

#endif
