#include "files/link_targets.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <climits>
#include <string>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/descriptor.hpp"

namespace tiomipra {
namespace {

namespace fs = std::filesystem;

void requireTrusted(const fs::path& link, uid_t owner) {
    struct stat folder {};
    if (owner != geteuid() &&
        (stat((link.parent_path() / ".").c_str(), &folder) != 0 || owner != folder.st_uid))
        throw InputError(
            fmt::format("the link {} is not followed, as it belongs neither to this user nor to "
                        "the owner of its folder; what to do: remove it",
                        quote(link.string())));
}

// What the link at `path` holds; nothing where there is none. It is opened, so that nobody
// exchanges it between the look at its owner and that at its target.
std::optional<fs::path> readLink(const fs::path& path, Links links) {
    const Descriptor link(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!link.isOpen() || fstat(link.number(), &status) != 0 || !S_ISLNK(status.st_mode))
        return std::nullopt;
    if (links == Links::trusted)
        requireTrusted(path, status.st_uid);
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlinkat(link.number(), "", target.data(), target.size());
    if (length <= 0)
        return std::nullopt;
    return std::string(target.data(), static_cast<std::size_t>(length));
}

}  // namespace

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

fs::path followLinks(fs::path path, Links links) {
    constexpr int mostLinks = 40;  // as the kernel has it
    for (int i = 0; i < mostLinks && !findDescriptor(path); ++i) {
        const auto target = readLink(path, links);
        if (!target)
            break;
        path = path.parent_path() / *target;
    }
    return path;
}

}  // namespace tiomipra
