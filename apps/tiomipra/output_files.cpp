#include "output_files.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <system_error>

#include "interruption.hpp"
#include "status.hpp"
#include "text.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& path, const std::error_code& error) {
    throw InputError("can't write " + quote(path) + ": " + error.message());
}

// The file that symbolic links lead to, whether it exists or not.
fs::path followLinks(fs::path path) {
    constexpr int mostLinks = 40;  // as the kernel has it
    std::error_code error;
    for (int links = 0; links < mostLinks && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

constexpr auto standardOutput = "/dev/stdout";

// The file to replace, if any: a device or pipe must be written itself, and so must standard
// output, even when it is redirected to a file.
std::optional<fs::path> findTarget(const fs::path& path) {
    std::error_code error;
    fs::path target = followLinks(path);
    const bool isDevice = fs::exists(path, error) && !fs::is_regular_file(target, error);
    if (isDevice || path == standardOutput)
        return std::nullopt;
    return target;
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
            if (const auto target = findTarget(path)) {
                places.emplace_back(*target, temporaryName(path, target->parent_path()));
                write(places.back().second);
            } else {
                write(path);
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
    static const std::regex pattern(R"(\..*\.tiomipra-([0-9]{1,9})(\.[^.]*)?)");
    std::smatch match;
    if (!std::regex_match(file, match, pattern))
        return std::nullopt;
    return std::stoi(match[1]);
}

bool isRunning(pid_t process) {
    return kill(process, 0) == 0 || errno != ESRCH;
}

void removeLeftovers(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const auto owner = findOwner(entry.path().filename().string());
        if (owner && !isRunning(*owner))
            fs::remove(entry.path(), error);
    }
}

// Errors may turn up in any of the three calls, that of a full disk usually in the last one.
bool writeBytes(const std::string& path, std::string_view bytes) {
    // Opened anew, a redirected standard output would be written from its start.
    if (path == standardOutput)
        return bool(std::cout << bytes << std::flush);
    std::FILE* file = std::fopen(path.c_str(), "wbe");
    if (file == nullptr)
        return false;
    const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const int writeError = errno;
    const bool isClosed = std::fclose(file) == 0;
    if (!isWritten)
        errno = writeError;
    return isWritten && isClosed;
}

std::optional<std::pair<dev_t, ino_t>> identify(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

}  // namespace

void prepareFolder(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!error && !fs::is_directory(path, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw InputError("can't create the folder " + quote(path) + ": " + error.message());
    removeLeftovers(path);
}

// The extension stays, as it chooses the syntax of some files. Processes don't share a file.
std::string temporaryName(const std::string& path, const std::string& folder) {
    const fs::path final(path);
    return pathIn(folder, "." + final.stem().string() + ".tiomipra-" + std::to_string(getpid()) +
                              final.extension().string());
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
    const InterruptionWatch watch;
    replace(files);
    if (watch.isInterrupted())
        throw Interrupted("interrupted when the results had been written");
}

void writeFile(const std::string& path, std::string bytes) {
    writeAtomically(newFile(path, std::move(bytes)));
}

void ProtectedFiles::add(const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        if (const auto identity = identify(file))
            _paths.emplace(*identity, file);
    }
}

void ProtectedFiles::requireOther(const std::string& path) const {
    const auto identity = identify(path);
    if (!identity)
        return;
    const auto input = _paths.find(*identity);
    if (input != _paths.end())
        throw InputError("the result " + quote(path) + " would replace the input " +
                         quote(input->second) + "; it must be written elsewhere");
}

std::string pathIn(const std::string& folder, const std::string& file) {
    return (fs::path(folder) / file).string();
}

}  // namespace tiomipra
