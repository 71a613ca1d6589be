#include "files/folder_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <sstream>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/system_errors.hpp"
#include "files/temporary_files.hpp"

namespace tiomipra {
namespace {

enum class Locked { yes, byOthers, impossible };

Locked lock(int file, int operation) {
    while (flock(file, operation) != 0) {
        if (errno == EWOULDBLOCK)
            return Locked::byOthers;
        if (errno != EINTR)
            return Locked::impossible;
    }
    return Locked::yes;
}

[[noreturn]] void refuseUse(const std::string& lockPath, const std::string& holder) {
    const std::string folder = std::filesystem::path(lockPath).parent_path().string();
    throw InputError(
        fmt::format("{} is writing other results to {}; what to do: wait until it has ended, or "
                    "write to another folder",
                    holder, quote(folder)));
}

// Its maker may be another user. Not open where the folder lets nobody write.
Descriptor openLock(const std::string& path) {
    constexpr int flags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | flags, 0644));
    if (!file.isOpen() && errno == EACCES)
        file = Descriptor(open(path.c_str(), O_RDONLY | flags));
    if (!file.isOpen() && errno == ELOOP)
        throw InputError(quote(path) + " is a link, must be a file or missing");
    if (!file.isOpen() && errno != ENOENT && errno != EROFS && errno != EPERM)
        throwUnwritable(path);
    struct stat status {};
    if (file.isOpen() && fstat(file.number(), &status) == 0 && !S_ISREG(status.st_mode))
        throw InputError(fmt::format("{} is not a file, must be one or missing", quote(path)));
    return file;
}

bool isReadOnly(int file) {
    return (static_cast<unsigned>(fcntl(file, F_GETFL)) & O_ACCMODE) == O_RDONLY;
}

bool append(int file, const std::string& text) {
    return write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string readAll(int file) {
    std::array<char, 65536> bytes{};
    const ssize_t count = pread(file, bytes.data(), bytes.size(), 0);
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

// Names the last one to come of those that run. Anyone may have written what is in the file.
void requireNobody(std::istream& holders, const std::string& path) {
    constexpr auto letters = "abcdefghijklmnopqrstuvwxyz";
    pid_t process = 0;
    std::string command, holder;
    while (holders >> process >> command)
        if (isRunning(process))
            holder = fmt::format("process {} (tiomipra {})", process,
                                 command.substr(0, command.find_first_not_of(letters)));
    if (!holder.empty())
        refuseUse(path, holder);
}

}  // namespace

// When it throws the destructor runs, as another constructor has ended before: the last one may
// have found the file locked by this look at it.
FolderLock::FolderLock(const std::string& folder, const FolderUse& use)
    : FolderLock((std::filesystem::path(folder) / ".tiomipra-lock").string()) {
    const std::string settings = use.settings.empty() ? randomDigits() : use.settings;
    const std::string holder = fmt::format("{} {}\n", getpid(), use.command);
    constexpr int mostTries = 1000;
    for (int i = 0; !take(settings, holder); ++i) {
        if (i == mostTries)
            refuseUse(_path, "another process");
        usleep(1000);
    }
}

FolderLock::~FolderLock() {
    if (_file.isOpen() && lock(_file.number(), LOCK_EX | LOCK_NB) == Locked::yes && isNamed())
        unlink(_path.c_str());
}

// False when that is to be tried again: the last one has just removed the file, or those that it
// names have died while others look at it.
bool FolderLock::take(const std::string& settings, const std::string& holder) {
    _file = openLock(_path);
    if (!_file.isOpen())
        return true;
    const Locked alone = lock(_file.number(), LOCK_EX | LOCK_NB);
    if (alone == Locked::impossible) {
        if (readAll(_file.number()).empty())
            unlink(_path.c_str());
        _file = Descriptor();
        return true;
    }
    if (alone == Locked::yes && !occupy(settings + "\n" + holder))
        return !_file.isOpen();
    return share(settings, alone == Locked::yes ? "" : holder);
}

// What another user has left can only be removed, and where not even that, the folder is not
// locked.
bool FolderLock::occupy(const std::string& content) {
    const int file = _file.number();
    if (isReadOnly(file)) {
        if (unlink(_path.c_str()) != 0)
            _file = Descriptor();
        return false;
    }
    if (ftruncate(file, 0) == 0 && append(file, content))
        return true;
    const int error = errno;
    unlink(_path.c_str());
    errno = error;
    throwUnwritable(_path);
}

// Somebody may come between having a file alone and sharing it, so that all look whose it is.
bool FolderLock::share(const std::string& settings, const std::string& holder) {
    if (lock(_file.number(), LOCK_SH | LOCK_NB) == Locked::byOthers || !isNamed())
        return false;
    std::istringstream content(readAll(_file.number()));
    std::string itsSettings;
    std::getline(content, itsSettings);
    if (itsSettings == settings) {
        append(_file.number(), holder);
        return true;
    }
    requireNobody(content, _path);
    return false;
}

bool FolderLock::isNamed() const {
    struct stat opened {};
    struct stat named {};
    return fstat(_file.number(), &opened) == 0 && lstat(_path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace tiomipra
