#include "files/output_files.hpp"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/link_targets.hpp"
#include "files/pending_files.hpp"
#include "files/system_errors.hpp"
#include "files/temporary_files.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

// Appends those that had to be created to `created`.
void createFolders(const fs::path& folder, std::vector<std::string>& created,
                   std::error_code& error) {
    if (folder.empty() || fs::exists(folder, error))
        return;
    error.clear();
    createFolders(folder.parent_path(), created, error);
    if (!error && fs::create_directory(folder, error)) {
        created.push_back(folder.string());
        syncFolder((folder.parent_path() / ".").string());
    }
}

}  // namespace

// Its destructor runs although this throws, as another constructor has ended before.
CreatedFolders::CreatedFolders(const std::string& path) : CreatedFolders() {
    // Links may lead to folders that are missing.
    fs::path folder;
    for (const fs::path& part : fs::path(path))
        folder = followLinks(folder / part, Links::anyones);
    std::error_code error;
    createFolders(folder, _folders, error);
    if (!error && !fs::is_directory(path, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw FileError(fmt::format("can't create the folder {}: {}", quote(path), error.message()),
                        path, error.value());
}

CreatedFolders::~CreatedFolders() {
    for (auto folder = _folders.rbegin(); folder != _folders.rend(); ++folder)
        rmdir(folder->c_str());
}

OutputFolder::OutputFolder(const std::string& path, const FolderUse& use)
    : _created(path), _lock(path, use) {
    removeLeftovers(path);
}

OutputFolder::~OutputFolder() = default;

void writeTogether(const std::vector<NewFile>& files) {
    PendingFiles pending;
    for (const auto& [path, bytes] : files)
        pending.add(path, bytes);
    pending.publish();
}

void writeFile(const std::string& path, const std::string& bytes) {
    removeLeftovers((fs::path(path).parent_path() / ".").string());
    writeTogether({{path, bytes}});
}

void removeFile(const std::string& path) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        throwUnwritable(path);
}

std::string pathIn(const std::string& folder, const std::string& file) {
    return (fs::path(folder) / file).string();
}

}  // namespace tiomipra
