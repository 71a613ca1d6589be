#include "files/video_files.hpp"

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/codec_modules.hpp"
#include "files/input_files.hpp"

namespace tiomipra {

std::unique_ptr<Video> openVideo(const std::string& path) {
    requireReadable(path);
    static const auto open = *static_cast<const OpenVideo*>(findInModule("video", openVideoSymbol));
    auto video = open(path);
    if (video == nullptr)
        throw InputError(quote(path) + " is not a video, or is damaged");
    return video;
}

}  // namespace tiomipra
