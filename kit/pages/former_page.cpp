#include "pages/former_page.hpp"

#include "files/input_files.hpp"
#include "files/output_files.hpp"
#include "files/own_png.hpp"

namespace tiomipra {

void removeFormerPage(const std::string& path) {
    constexpr std::size_t longestHead = 16384;
    const std::string start = readStart(path, longestHead);
    const auto has = [&](const std::string& text) { return start.find(text) != std::string::npos; };
    if (has(pageMark) && has(std::string("<title>") + calibrationTitle))
        removeFile(path);
}

void removeFormerPictures(const std::string& folder) {
    for (const char* name : {"coverage.png", "rectified.png"})
        removeOwnPng(pathIn(folder, name));
}

}  // namespace tiomipra
