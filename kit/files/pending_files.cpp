#include "files/pending_files.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/link_targets.hpp"
#include "files/system_errors.hpp"
#include "files/temporary_files.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

void writeAll(int descriptor, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            throwUnwritable(path);
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

// What is written through a folder that may not be read, and file systems that have no disk, can't
// be waited for.
void sync(int descriptor, const std::string& path) {
    if (fsync(descriptor) != 0 && errno != EBADF && errno != EINVAL && errno != ENOSYS)
        throwUnwritable(path);
}

// A folder may allow to write and not to read.
Descriptor openFolder(const std::string& folder) {
    constexpr int flags = O_DIRECTORY | O_CLOEXEC;
    Descriptor descriptor(open(folder.c_str(), O_RDONLY | flags));
    if (!descriptor.isOpen() && errno == EACCES)
        return Descriptor(open(folder.c_str(), O_PATH | flags));
    return descriptor;
}

// A device or pipe can't be replaced. It may have been exchanged for a file meanwhile.
void writeInPlace(int folder, const std::string& name, std::string_view bytes,
                  const std::string& path) {
    constexpr int flags = O_WRONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
    const Descriptor file(openat(folder, name.c_str(), flags));
    struct stat status {};
    if (!file.isOpen() || fstat(file.number(), &status) != 0)
        throwUnwritable(path);
    if (S_ISREG(status.st_mode))
        throw InputError(fmt::format("can't write {}: it changes meanwhile", quote(path)));
    writeAll(file.number(), bytes, path);
}

std::optional<struct stat> statusOf(int folder, const std::string& name) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return status;
}

// Under whatever names they were opened.
bool isSameFolder(int one, int other) {
    struct stat first {};
    struct stat second {};
    return fstat(one, &first) == 0 && fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

// What the group might do is left to it alone; another one may do what all may.
void keepPermissions(int file, const struct stat& former) {
    constexpr mode_t all = 0777, group = 0070, others = 0007;
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    const bool isGroupKept = fchown(file, former.st_uid, former.st_gid) == 0 ||
                             fchown(file, sameOwner, former.st_gid) == 0;
    mode_t mode = former.st_mode & all;
    if (!isGroupKept)
        mode = (mode & ~group) | (mode & others) << 3U;
    // Some file systems have no permissions.
    static_cast<void>(fchmod(file, mode));
}

// Whose name nobody can have occupied.
std::pair<std::string, Descriptor> createTemporary(int folder, mode_t mode) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    for (;;) {
        std::string name = temporaryName();
        Descriptor file(openat(folder, name.c_str(), flags, mode));
        if (file.isOpen() || errno != EEXIST)
            return {std::move(name), std::move(file)};
    }
}

}  // namespace

PendingFiles::~PendingFiles() {
    for (const File& file : _files)
        if (!file.temporary.empty())
            unlinkat(file.folder, file.temporary.c_str(), 0);
}

void PendingFiles::add(const std::string& path, std::string_view bytes) {
    const fs::path target = followLinks(path, Links::trusted);
    if (const auto descriptor = findDescriptor(target)) {
        // Opened anew, a file would be written from its start. What was said so far comes first.
        std::fflush(stdout);
        writeAll(*descriptor, bytes, path);
        return;
    }
    const int folder = folderOf(target, path);
    const std::string name = target.filename().string();
    const auto former = statusOf(folder, name);
    if (former && !S_ISREG(former->st_mode)) {
        writeInPlace(folder, name, bytes, path);
        return;
    }
    requireNew(folder, name, path);
    // Nobody else may read meanwhile what nobody else might before.
    auto [temporary, file] = createTemporary(folder, former ? 0600 : 0666);
    if (!file.isOpen())
        throwUnwritable(path);
    const int descriptor = file.number();
    _files.push_back({path, name, std::move(temporary), folder, std::move(file)});
    writeAll(descriptor, bytes, path);
    if (former)
        keepPermissions(descriptor, *former);
}

// One of the two would be lost.
void PendingFiles::requireNew(int folder, const std::string& name, const std::string& path) const {
    for (const File& file : _files) {
        if (file.name == name && isSameFolder(file.folder, folder))
            throw InputError(fmt::format("{} and {} are the same file, must be two",
                                         quote(file.path), quote(path)));
    }
}

void PendingFiles::publish() {
    if (_areSynced)
        for (const File& file : _files)
            sync(file.descriptor.number(), file.path);
    for (File& file : _files) {
        if (renameat(file.folder, file.temporary.c_str(), file.folder, file.name.c_str()) != 0)
            throwUnwritable(file.path);
        file.temporary.clear();
    }
    if (_areSynced)
        for (const auto& [path, folder] : _folders)
            sync(folder.number(), path);
    _files.clear();
    _folders.clear();
}

int PendingFiles::folderOf(const fs::path& target, const std::string& path) {
    const std::string folder = (target.parent_path() / ".").string();
    auto found = _folders.find(folder);
    if (found == _folders.end()) {
        Descriptor descriptor = openFolder(folder);
        if (!descriptor.isOpen())
            throwUnwritable(path);
        found = _folders.emplace(folder, std::move(descriptor)).first;
    }
    return found->second.number();
}

void syncFolder(const std::string& folder) {
    const Descriptor descriptor = openFolder(folder);
    if (descriptor.isOpen())
        sync(descriptor.number(), folder);
}

}  // namespace tiomipra
