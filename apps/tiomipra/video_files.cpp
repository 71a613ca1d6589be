#include "video_files.hpp"

#include "input_files.hpp"
#include "module.hpp"
#include "status.hpp"
#include "text.hpp"

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
