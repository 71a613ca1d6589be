#include "files/input_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/system_errors.hpp"

namespace tiomipra {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File openFile(const std::string& path) {
    File file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (file == nullptr)
        throwUnreadable(path);
    return file;
}

}  // namespace

std::string readFile(const std::string& path, std::size_t largest,
                     const std::function<void(const std::string& start)>& checkStart) {
    const File file = openFile(path);
    std::string bytes;
    std::array<char, 65536> block{};
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
        bytes.append(block.data(), count);
        if (checkStart && bytes.size() == count)
            checkStart(bytes);
        if (bytes.size() > largest)
            throw InputError(fmt::format("{} is larger than {} bytes", quote(path), largest));
    }
    if (std::ferror(file.get()) != 0)
        throwUnreadable(path);
    return bytes;
}

std::string readStart(const std::string& path, std::size_t size) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return "";
    std::string start(size, '\0');
    std::ifstream(path, std::ios::binary).read(start.data(), static_cast<std::streamsize>(size));
    return start;
}

void requireReadable(const std::string& path) {
    // Without waiting for the other end of a FIFO.
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        throwUnreadable(path);
    close(file);
}

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& letter : extension)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return extension;
}

}  // namespace tiomipra
