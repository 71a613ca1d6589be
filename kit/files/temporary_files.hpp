// The names of files that are not whole yet, ".tiomipra-PROCESS-RANDOM", and those that a process
// which died has left behind.
#ifndef TIOMIPRA_FILES_TEMPORARY_FILES_HPP
#define TIOMIPRA_FILES_TEMPORARY_FILES_HPP

#include <sys/types.h>

#include <string>

namespace tiomipra {

// 16 hexadecimal digits that nobody can guess.
std::string randomDigits();

// A new name, which nobody can occupy beforehand.
std::string temporaryName();

// As far as this machine or container knows.
bool isRunning(pid_t process);

// Removes those that processes which died have left in `folder`.
void removeLeftovers(const std::string& folder);

// A new folder for temporary files (in $TMPDIR or /tmp) that its owner alone may enter, removed
// with all that is in it at its end. Throws `InputError` when there can be none.
class PrivateFolder {
  public:
    PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder();

    const std::string& path() const { return _path; }

  private:
    std::string _path;
};

}  // namespace tiomipra

#endif
