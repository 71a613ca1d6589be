// Reading videos.
#ifndef TIOMIPRA_FILES_VIDEO_FILES_HPP
#define TIOMIPRA_FILES_VIDEO_FILES_HPP

#include <memory>
#include <string>

#include "files/image_files.hpp"
#include "files/video_codecs.hpp"

namespace tiomipra {

// Opens a video; throws `InputError` that names the file when it can't be read, is no video, or has
// larger frames than the limits allow.
std::unique_ptr<Video> openVideo(const std::string& path, const ImageLimits& limits);

// True when the header of an AVI file promises more bytes than there are: its last frame may be
// damaged, which decoders don't tell.
bool isCutOff(const std::string& path);

}  // namespace tiomipra

#endif
