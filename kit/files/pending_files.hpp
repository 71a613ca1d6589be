// Files that appear together, whole, and stay although the power fails.
//
// Each is written under a temporary name in the folder of its final one. Once all are on the disk
// they are renamed. So nobody ever meets a half file, whenever the program dies, not even when two
// runs write the same one.
#ifndef TIOMIPRA_FILES_PENDING_FILES_HPP
#define TIOMIPRA_FILES_PENDING_FILES_HPP

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "files/descriptor.hpp"

namespace tiomipra {

class PendingFiles {
  public:
    // Files that are not synced may be gone after a power cut, or be empty.
    explicit PendingFiles(bool areSynced = true) : _areSynced(areSynced) {}
    PendingFiles(const PendingFiles&) = delete;
    PendingFiles& operator=(const PendingFiles&) = delete;
    // Removes what has not got its name.
    ~PendingFiles();

    // Writes `bytes`, which `publish` gives the name `path`. Throws `InputError` that names the
    // file and the reason, as when the disk is full or it was added before.
    //
    // A symbolic link stays, the file that it leads to is replaced, see `Links::trusted`. A file
    // that is replaced keeps its permissions, owner and group as far as this process may keep them.
    // What exists and is no file, a device say, is written itself, at once, and so is what this
    // process was given open, as /dev/stdout or /dev/fd/5.
    void add(const std::string& path, std::string_view bytes);

    // Waits until all is on the disk, gives the files their names in the order in which they were
    // added, and waits until the names are on the disk as well. Throws `InputError` that names the
    // file and the reason.
    void publish();

  private:
    struct File {
        std::string path;       // as it was given
        std::string name;       // in the folder, once it is published
        std::string temporary;  // until then; "" afterwards
        int folder;
        Descriptor descriptor;
    };

    // The folder of `target`, opened; `path` is what was given.
    int folderOf(const std::filesystem::path& target, const std::string& path);

    void requireNew(int folder, const std::string& name, const std::string& path) const;

    bool _areSynced;
    std::map<std::string, Descriptor> _folders;
    std::vector<File> _files;
};

// Waits until the names in `folder` are on the disk, where it may be read.
void syncFolder(const std::string& folder);

}  // namespace tiomipra

#endif
