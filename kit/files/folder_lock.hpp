// Runs that make different results don't write to one folder at the same time: the report of one
// would vouch for the files of the other.
#ifndef TIOMIPRA_FILES_FOLDER_LOCK_HPP
#define TIOMIPRA_FILES_FOLDER_LOCK_HPP

#include <string>
#include <utility>

#include "files/descriptor.hpp"

namespace tiomipra {

// Who writes to a folder.
struct FolderUse {
    std::string command;   // as it is told to those who have to wait, as in "depth"
    std::string settings;  // runs with the same ones may share the folder; "" for sharing with none
};

// Holds a folder until its end, or that of the process. The lock is a file in the folder,
// ".tiomipra-lock", which all who share the folder have locked and the last one removes. A folder
// that can't be written to, or whose file system has no locks, is not locked.
class FolderLock {
  public:
    // Throws `InputError` that names the folder, a process that holds it with other settings, and
    // its command.
    FolderLock(const std::string& folder, const FolderUse& use);
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

  private:
    explicit FolderLock(std::string path) : _path(std::move(path)) {}

    bool take(const std::string& settings, const std::string& holder);
    bool occupy(const std::string& content);
    bool share(const std::string& settings, const std::string& holder);
    bool isNamed() const;

    std::string _path;
    Descriptor _file;
};

}  // namespace tiomipra

#endif
