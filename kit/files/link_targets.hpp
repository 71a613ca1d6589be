// Where names lead: through symbolic links, and to what this process has open.
#ifndef TIOMIPRA_FILES_LINK_TARGETS_HPP
#define TIOMIPRA_FILES_LINK_TARGETS_HPP

#include <filesystem>
#include <optional>

namespace tiomipra {

// Whose symbolic links are followed. Where others may write, a link of theirs would have this
// process replace any file that it may write to.
enum class Links { anyones, trusted };

// The descriptor of this process that `path` stands for, as /dev/fd/5 does; -1 for a bad number.
std::optional<int> findDescriptor(const std::filesystem::path& path);

// What symbolic links lead to, whether it exists or not: a file, a folder or a descriptor. With
// `Links::trusted` throws `InputError` that names a link unless it belongs to the user of this
// process or to the owner of the folder that it stands in.
std::filesystem::path followLinks(std::filesystem::path path, Links links);

}  // namespace tiomipra

#endif
