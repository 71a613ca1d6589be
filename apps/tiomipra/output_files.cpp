#include "output_files.hpp"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <regex>
#include <string>
#include <system_error>

#include "status.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& path, const std::error_code& error) {
    throw InputError("can't write '" + path + "': " + error.message());
}

// The extension stays, as it chooses the syntax of some files. Processes don't share a file.
std::string temporaryName(const std::string& path) {
    const fs::path final(path);
    const std::string name = "." + final.stem().string() + ".tiomipra-" + std::to_string(getpid()) +
                             final.extension().string();
    return (final.parent_path() / name).string();
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

}  // namespace

void prepareFolder(const std::string& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (!error && !fs::is_directory(path, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw InputError("can't create the folder '" + path + "': " + error.message());
    removeLeftovers(path);
}

void writeAtomically(const std::string& path,
                     const std::function<void(const std::string& temporary)>& write) {
    std::error_code error;
    // A device or pipe, as in /dev/stdout, must be written itself, not replaced by a file.
    if (fs::exists(path, error) && !fs::is_regular_file(path, error))
        return write(path);
    const std::string temporary = temporaryName(path);
    try {
        write(temporary);
    } catch (...) {
        fs::remove(temporary, error);
        throw;
    }
    fs::rename(temporary, path, error);
    if (error) {
        const std::error_code renameError = error;
        fs::remove(temporary, error);
        refuse(path, renameError);
    }
}

void writeFile(const std::string& path, std::string_view bytes) {
    writeAtomically(path, [&](const std::string& temporary) {
        if (!writeBytes(temporary, bytes))
            refuse(path, {errno, std::generic_category()});
    });
}

std::string pathIn(const std::string& folder, const std::string& file) {
    return (fs::path(folder) / file).string();
}

}  // namespace tiomipra
