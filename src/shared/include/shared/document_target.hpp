// Which file cv::FileStorage opens under a name.
#ifndef VISION_SHARED_DOCUMENT_TARGET_HPP
#define VISION_SHARED_DOCUMENT_TARGET_HPP

#include <cctype>
#include <string>

#include "shared/text.hpp"

namespace vision {

struct DocumentTarget {
    std::string path;
    bool isCompressed;  // by its name
};

// Options may follow the last '?', and the level of compression, a digit, may follow ".gz".
inline DocumentTarget documentTarget(const std::string& filename) {
    std::string path = filename.substr(0, filename.find_last_of('?'));
    const bool hasLevel = path.size() >= 4 && path.compare(path.size() - 4, 3, ".gz") == 0 &&
                          std::isdigit(static_cast<unsigned char>(path.back())) != 0;
    if (hasLevel)
        path.pop_back();
    return {path, endsWith(path, ".gz")};
}

}  // namespace vision

#endif
