// Pages and pictures of results that are gone.
#ifndef TIOMIPRA_PAGES_FORMER_PAGE_HPP
#define TIOMIPRA_PAGES_FORMER_PAGE_HPP

#include <string>

namespace tiomipra {

// In the head of each page, before the program's version.
constexpr auto pageMark = R"(<meta name="generator" content="tiomipra )";

// Removes the page at `path`, if there is one that has the mark.
void removeFormerPage(const std::string& path);

// Removes the pictures that calibrating leaves in `folder`, as far as they name their maker.
void removeFormerPictures(const std::string& folder);

}  // namespace tiomipra

#endif
