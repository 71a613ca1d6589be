// Results as pages for a browser: one file each that needs no network.
//
// A page holds its text, its style and its scripts, which are all embedded when the program is
// built, and beside them data, which no browser takes for anything else: the page's policy lets
// those scripts run whose digests it names, and refuses whatever would be loaded. The scripts show
// data as text, never as markup.
#ifndef TIOMIPRA_PAGES_PAGE_HPP
#define TIOMIPRA_PAGES_PAGE_HPP

#include <nlohmann/json.hpp>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

namespace tiomipra {

// Bytes that the scripts of a page read by a name: `blockBytes` and `loadPicture` in
// `assets/page.js`.
struct PageBlock {
    std::string name;  // of letters, digits and '-', unique within the page
    std::string type;  // as in "image/jpeg"
    std::string bytes;
};

// An image (`CV_8UC1` or `CV_8UC3`) as a block.
PageBlock jpegBlock(const std::string& name, const cv::Mat& image);

// NOLINTNEXTLINE(bugprone-exception-escape): moving JSON checks its invariants, nothing else
struct Page {
    std::string title;                 // any text
    std::string body;                  // the asset with what stands in the page
    std::vector<std::string> scripts;  // the assets that fill it; those of all pages run before
    bool hasScene = false;             // draws in space: with three.js and `assets/scene.js`
    nlohmann::ordered_json data;       // any texts; `pageData` in the scripts
    std::vector<PageBlock> blocks;
};

// The bytes of the HTML file.
std::string composePage(const Page& page);

}  // namespace tiomipra

#endif
