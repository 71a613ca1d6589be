#include "files/temporary_files.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <regex>
#include <system_error>

#include "base/errors.hpp"
#include "base/text.hpp"

namespace tiomipra {
namespace {

// The process whose temporary file that is, if it is one.
std::optional<pid_t> findOwner(const std::string& file) {
    static const std::regex pattern(R"(\.tiomipra-([0-9]{1,9})-.*)");
    std::smatch match;
    if (!std::regex_match(file, match, pattern))
        return std::nullopt;
    return std::stoi(match[1]);
}

}  // namespace

std::string randomDigits() {
    std::uint64_t number = 0;
    if (getentropy(&number, sizeof number) != 0)
        throw std::system_error(errno, std::generic_category(), "there are no random numbers");
    return fmt::format("{:016x}", number);
}

std::string temporaryName() {
    return fmt::format(".tiomipra-{}-{}", getpid(), randomDigits());
}

bool isRunning(pid_t process) {
    return getpgid(process) >= 0 || errno != ESRCH;
}

void removeLeftovers(const std::string& folder) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto owner = findOwner(entry->path().filename().string());
        if (owner && !isRunning(*owner))
            unlink(entry->path().c_str());
    }
}

PrivateFolder::PrivateFolder()
    : _path((std::filesystem::temp_directory_path() / "tiomipra-XXXXXX").string()) {
    if (mkdtemp(_path.data()) == nullptr)
        throw InputError(fmt::format("can't create a folder for temporary files, {}: {}",
                                     quote(_path), std::generic_category().message(errno)));
}

PrivateFolder::~PrivateFolder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
}

}  // namespace tiomipra
