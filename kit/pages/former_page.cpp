#include "pages/former_page.hpp"

#include "files/input_files.hpp"
#include "files/output_files.hpp"
#include "files/own_png.hpp"

namespace tiomipra {

void removeFormerPage(const std::string& path) {
    constexpr std::size_t longestHead = 16384;
    if (readStart(path, longestHead).find(pageMark) != std::string::npos)
        removeFile(path);
}

void removeFormerPictures(const std::string& folder) {
    for (const char* name : {"coverage.png", "rectified.png"})
        removeOwnPng(pathIn(folder, name));
}

}  // namespace tiomipra
