// Pages and pictures of results that are gone.
#ifndef TIOMIPRA_PAGES_FORMER_PAGE_HPP
#define TIOMIPRA_PAGES_FORMER_PAGE_HPP

#include <string>

namespace tiomipra {

// In the head of each page, before the program's version.
constexpr auto pageMark = R"(<meta name="generator" content="tiomipra )";

// Of the page of a calibration.
constexpr auto calibrationTitle = "Calibration of two cameras";

// Removes the page at `path` if it is one of a calibration.
void removeFormerPage(const std::string& path);

// Removes the pictures that calibrating leaves in `folder`, as far as they name their maker.
void removeFormerPictures(const std::string& folder);

}  // namespace tiomipra

#endif
