#include "files/output_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& path, const std::error_code& error) {
    throw InputError(fmt::format("can't write {}: {}", quote(path), error.message()));
}

// The descriptor of this process that `path` stands for, as /dev/fd/5 does.
std::optional<int> findDescriptor(const fs::path& path) {
    std::error_code error;
    const fs::path descriptors = fs::canonical("/proc/self/fd", error);
    if (error || fs::canonical(path.parent_path(), error) != descriptors)
        return std::nullopt;
    const std::string name = path.filename().string();
    const char* const end = name.data() + name.size();
    int descriptor = 0;
    const auto parsed = std::from_chars(name.data(), end, descriptor);
    constexpr int none = -1;
    return parsed.ec == std::errc() && parsed.ptr == end ? descriptor : none;
}

// What symbolic links lead to, whether it exists or not: a file, a folder or a descriptor.
fs::path followLinks(fs::path path) {
    constexpr int mostLinks = 40;  // as the kernel has it
    std::error_code error;
    for (int links = 0; links < mostLinks && fs::is_symlink(path, error) && !findDescriptor(path);
         ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

// A device or pipe can't be replaced, and what somebody else has open, standard output say, must
// not be, even if it is a file.
bool isWrittenInPlace(const fs::path& target) {
    std::error_code error;
    return findDescriptor(target) ||
           (fs::exists(target, error) && !fs::is_regular_file(target, error));
}

void moveTo(const fs::path& target, const std::string& temporary) {
    std::error_code error;
    fs::rename(temporary, target, error);
    if (error)
        refuse(target, error);
}

void replace(const std::vector<NewFile>& files) {
    std::vector<std::pair<fs::path, std::string>> places;  // where files belong and are now
    try {
        for (const auto& [path, write] : files) {
            const fs::path target = followLinks(path);
            if (isWrittenInPlace(target)) {
                write(target);
            } else {
                places.emplace_back(target, temporaryName(target.parent_path()));
                write(places.back().second);
            }
        }
        for (const auto& [target, temporary] : places)
            moveTo(target, temporary);
    } catch (...) {
        std::error_code error;
        for (const auto& [target, temporary] : places)
            fs::remove(temporary, error);
        throw;
    }
}

// The process whose temporary file that is, if it is one.
std::optional<pid_t> findOwner(const std::string& file) {
    static const std::regex pattern(R"(\.tiomipra-([0-9]{1,9})-.*)");
    std::smatch match;
    if (!std::regex_match(file, match, pattern))
        return std::nullopt;
    return std::stoi(match[1]);
}

bool isRunning(pid_t process) {
    return getpgid(process) >= 0 || errno != ESRCH;
}

void removeLeftovers(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const auto owner = findOwner(entry.path().filename().string());
        if (owner && !isRunning(*owner))
            unlink(entry.path().c_str());
    }
}

// Appends those that had to be created to `created`.
void createFolders(const fs::path& folder, std::vector<std::string>& created,
                   std::error_code& error) {
    if (folder.empty() || fs::exists(folder, error))
        return;
    error.clear();
    createFolders(folder.parent_path(), created, error);
    if (!error && fs::create_directory(folder, error))
        created.push_back(folder.string());
}

void removeEmpty(const std::vector<std::string>& folders) {
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder)
        rmdir(folder->c_str());
}

std::FILE* openToWrite(const std::string& path) {
    const auto descriptor = findDescriptor(path);
    if (!descriptor)
        return std::fopen(path.c_str(), "wbe");
    // Opened anew, a file would be written from its start. What this program has said comes first.
    std::fflush(stdout);
    const int duplicate = fcntl(*descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0)
        return nullptr;
    std::FILE* const file = fdopen(duplicate, "wb");
    if (file == nullptr) {
        const int error = errno == EINVAL ? EACCES : errno;  // one that is open for reading only
        close(duplicate);
        errno = error;
    }
    return file;
}

// Errors may turn up in any of the three calls, that of a full disk usually in the last one.
bool writeBytes(const std::string& path, std::string_view bytes) {
    std::FILE* file = openToWrite(path);
    if (file == nullptr)
        return false;
    const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int writeError = errno;
    const bool isClosed = std::fclose(file) == 0;
    if (!isWritten)
        errno = writeError;
    return isWritten && isClosed;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) {
    // Links may lead to folders that are missing.
    fs::path folder;
    for (const fs::path& part : fs::path(path))
        folder = followLinks(folder / part);
    std::error_code error;
    createFolders(folder, _created, error);
    if (!error && !fs::is_directory(path, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error) {
        removeEmpty(_created);
        throw InputError(
            fmt::format("can't create the folder {}: {}", quote(path), error.message()));
    }
    removeLeftovers(path);
}

OutputFolder::~OutputFolder() {
    removeEmpty(_created);
}

std::string temporaryName(const std::string& folder) {
    // Processes in two containers that share a folder may have the same number.
    static std::atomic<unsigned> count = std::random_device()();
    return pathIn(folder, fmt::format(".tiomipra-{}-{}", getpid(), ++count));
}

NewFile newFile(const std::string& path, std::string bytes) {
    return {path, [path, bytes = std::move(bytes)](const std::string& temporary) {
                if (!writeBytes(temporary, bytes))
                    refuse(path, {errno, std::generic_category()});
            }};
}

void writeAtomically(const NewFile& file) {
    replace({file});
}

void writeTogether(const std::vector<NewFile>& files) {
    replace(files);
}

void writeFile(const std::string& path, std::string bytes) {
    writeAtomically(newFile(path, std::move(bytes)));
}

void removeFile(const std::string& path) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        refuse(path, {errno, std::generic_category()});
}

std::string pathIn(const std::string& folder, const std::string& file) {
    return (fs::path(folder) / file).string();
}

}  // namespace tiomipra
