#include "pages/former_page.hpp"

#include <fstream>

#include "files/output_files.hpp"
#include "files/own_png.hpp"

namespace tiomipra {

void removeFormerPage(const std::string& path) {
    constexpr std::streamsize longestHead = 16384;
    std::string start(longestHead, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), longestHead);
    if (start.find(pageMark) != std::string::npos)
        removeFile(path);
}

void removeFormerPictures(const std::string& folder) {
    for (const char* name : {"coverage.png", "rectified.png"})
        removeOwnPng(pathIn(folder, name));
}

}  // namespace tiomipra
