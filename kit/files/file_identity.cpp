#include "files/file_identity.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "base/errors.hpp"
#include "base/provenance.hpp"
#include "base/text.hpp"
#include "files/input_files.hpp"
#include "files/system_errors.hpp"

namespace tiomipra {
namespace {

constexpr std::size_t largestHashed = std::size_t{1} << 20U;

std::string hashOf(const FileIdentity& file) {
    const bool isHashed = !file.modified.empty() && file.size <= largestHashed;
    return isHashed ? sha256(readFile(file.path)) : "";
}

}  // namespace

bool FileIdentity::operator==(const FileIdentity& other) const {
    return std::tie(path, size, modified, sha256) ==
           std::tie(other.path, other.size, other.modified, other.sha256);
}

FileIdentity identifyByTime(const std::string& path) {
    FileIdentity file;
    std::error_code error;
    // As it is: behind a link, ".." leads elsewhere than it reads.
    file.path = std::filesystem::absolute(path, error).string();
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            throwUnreadable(path);
        return file;
    }
    if (!S_ISREG(status.st_mode))
        return file;
    file.size = static_cast<std::uintmax_t>(status.st_size);
    file.modified = fmt::format("{}.{:09}", status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    return file;
}

FileIdentity identify(const std::string& path) {
    FileIdentity file = identifyByTime(path);
    file.sha256 = hashOf(file);
    return file;
}

void requireUnchanged(const FileIdentities& files) {
    for (const FileIdentity& file : files) {
        const bool isHashed = !file.sha256.empty();
        if (!file.modified.empty() &&
            (isHashed ? identify(file.path) : identifyByTime(file.path)) != file)
            throw InputError(quote(file.path) + " changed while it was read");
    }
}

}  // namespace tiomipra
