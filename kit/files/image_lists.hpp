// Which image files arguments stand for.
#ifndef TIOMIPRA_FILES_IMAGE_LISTS_HPP
#define TIOMIPRA_FILES_IMAGE_LISTS_HPP

#include <string>
#include <vector>

#include "base/notices.hpp"

namespace tiomipra {

// The image files that the arguments stand for, each of them a file, a folder (its images), a
// pattern with * ? [...] or a printf-style one such as left%02d.png (all that exist, gaps are
// fine). Those of one argument are sorted by name, numbers by value; the arguments keep their
// order. Throws `InputError` that names a folder or pattern which matches nothing; whether a file
// that is named itself exists is left to whoever reads it.
std::vector<std::string> resolveImages(const std::vector<std::string>& arguments);

// True when the arguments are one file with the extension of a video.
bool areVideo(const std::vector<std::string>& arguments);

// Throws `InputError` that names a file without a partner when the lists differ in length.
void requirePartners(const std::vector<std::string>& left, const std::vector<std::string>& right);

// Tells of the first pair whose names end in different numbers, as its images may be of different
// moments. A number that is the same in all names of a side tells the camera and does not count.
void noteUnlikePartners(const std::vector<std::string>& left, const std::vector<std::string>& right,
                        const Notify& notify);

}  // namespace tiomipra

#endif
