// What pages are made of, embedded when the program is built: the files of `kit/pages/assets` and
// the scripts of three.js.
#ifndef TIOMIPRA_PAGES_ASSETS_HPP
#define TIOMIPRA_PAGES_ASSETS_HPP

#include <string>
#include <string_view>

namespace tiomipra {

// The content of a file by its name, as in "page.css"; throws `std::out_of_range` if there is none.
std::string_view readAsset(const std::string& name);

}  // namespace tiomipra

#endif
