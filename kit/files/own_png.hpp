// Pictures that can be told from those of others, as what they show may be gone one day.
#ifndef TIOMIPRA_FILES_OWN_PNG_HPP
#define TIOMIPRA_FILES_OWN_PNG_HPP

#include <opencv2/core/mat.hpp>
#include <string>

#include "files/output_files.hpp"

namespace tiomipra {

// A PNG that says what made it, as its "Software" (a text chunk, see the standard of PNG). `image`
// is as `encodeImage` takes it.
NewFile newOwnPng(const std::string& path, const cv::Mat& image);

// Removes the file at `path` if it is such a PNG, of whatever version. Throws as `removeFile`.
void removeOwnPng(const std::string& path);

}  // namespace tiomipra

#endif
