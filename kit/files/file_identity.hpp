// Which file it was, and whether it is still the same.
#ifndef TIOMIPRA_FILES_FILE_IDENTITY_HPP
#define TIOMIPRA_FILES_FILE_IDENTITY_HPP

#include <cstdint>
#include <string>
#include <vector>

namespace tiomipra {

// What tells a file from any other one and from itself at another time. Times alone do not, as
// copies keep them and file systems know them to some milliseconds at best; so what is small is
// hashed as well.
struct FileIdentity {
    std::string path;         // absolute; links are not followed in it
    std::uintmax_t size = 0;  // in bytes, of what a link leads to, as all below
    std::string modified;     // seconds since 1970 with nine decimals; "" for what is no file
    std::string sha256;       // "" where it was not asked for, or the file is large

    bool operator==(const FileIdentity& other) const;
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

using FileIdentities = std::vector<FileIdentity>;

// That of the file `path`, without its hash. What is missing or no file has but a path. Throws
// `InputError` that names the file when the operating system can't tell.
FileIdentity identifyByTime(const std::string& path);

// The same with the hash of what it holds, up to 1 MiB. Throws `InputError` that names the file
// when it can't be read.
FileIdentity identify(const std::string& path);

// Throws `InputError` that names the first of `files` that is another one than it was. What was no
// file, a pipe say, is left out.
void requireUnchanged(const FileIdentities& files);

}  // namespace tiomipra

#endif
