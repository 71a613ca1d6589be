#include "support/scratch_folder.hpp"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tiomipra::test {

ScratchFolder::ScratchFolder() {
    auto pattern = (std::filesystem::temp_directory_path() / "tiomipra-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), pattern);
    _folder = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_folder, ignored);
}

std::string ScratchFolder::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name)) << content;
    return path(name);
}

std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

}  // namespace tiomipra::test
