#include "files/protected_files.hpp"

#include <sys/stat.h>

#include <optional>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

std::optional<std::pair<dev_t, ino_t>> inodeOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

}  // namespace

void ProtectedFiles::add(const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        if (const auto identity = inodeOf(file))
            _paths.emplace(*identity, file);
    }
}

void ProtectedFiles::requireOther(const std::string& path) const {
    const auto identity = inodeOf(path);
    if (!identity)
        return;
    const auto input = _paths.find(*identity);
    if (input != _paths.end())
        throw InputError(
            fmt::format("the result {} would replace the input {}; it must be written elsewhere",
                        quote(path), quote(input->second)));
}

}  // namespace tiomipra
