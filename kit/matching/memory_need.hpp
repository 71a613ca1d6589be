// How much memory matching takes, to be compared with what there is before it is taken.
#ifndef TIOMIPRA_MATCHING_MEMORY_NEED_HPP
#define TIOMIPRA_MATCHING_MEMORY_NEED_HPP

#include <cstdint>
#include <functional>
#include <limits>
#include <opencv2/core/types.hpp>
#include <string>
#include <vision/stereo.hpp>

#include "files/frame_source.hpp"
#include "matching/matching_steps.hpp"

namespace tiomipra {

// Bytes that can still be had, and what limits them, as in "memory of the machine".
struct MemoryLimit {
    std::uint64_t bytes = std::numeric_limits<std::uint64_t>::max();
    std::string source;
    std::uint64_t perThread = 0;  // that each further thread takes by itself
};

// Told how many bytes a pair takes before it takes them; may wait until others have given theirs
// back. Returns what there is for all of them. From any thread.
using TakeMemory = std::function<MemoryLimit(std::uint64_t bytes)>;

// Bytes that the matcher takes for images of `size`, which are matched as they are.
//
// Semi-global matching keeps 16-bit costs of (columns that can be matched) x disparities: rows of
// them for its window and for the paths, 12 more than the window is high, and with the eight
// directions two for every row of the image (`BufferSGBM` in OpenCV's stereosgbm.cpp). Block
// matching has for every row and disparity 32-bit sums and a byte for each column of the window
// (`BufferBM` in stereobm.cpp). Measured with OpenCV 4.6 it is between 0.8 and 1.03 times this.
// Three directions take rows only. Padding for `steps` adds columns.
std::uint64_t matcherMemory(const vision::Stereo& stereo, const MatchingSteps& steps,
                            const cv::Size& size);

// The same with all else that goes with a pair of raw images of `size`, of which `matched` is
// matched: images, what the steps keep, and with a rig maps and points.
std::uint64_t pairMemory(const vision::Stereo& stereo, const MatchingSteps& steps,
                         const cv::Size& size, const cv::Size& matched, bool hasRig);

// What rectifying these raw images and writing the result takes.
std::uint64_t rectificationMemory(const StereoImages& images);

// "1.2 GB".
std::string describeBytes(std::uint64_t bytes);

// Throws `InputError` unless the `need` of `task`, "rectifying 'a.png'" say, is within `limit`. It
// names all three and `remedy`, which takes less.
void requireMemory(const std::string& task, std::uint64_t need, const MemoryLimit& limit,
                   const std::string& remedy);

// The same for matching `file`, whose images are of `size`; `need` is that of `pairMemory`.
void requireMemoryToMatch(const std::string& file, const cv::Size& size,
                          const vision::Stereo& stereo, const MatchingSteps& steps,
                          std::uint64_t need, const MemoryLimit& limit);

// Throws `InputError` unless so many bytes can be allocated now. OpenCV's matchers end the program
// when their own allocation fails: see docs/opencv-traps.md.
void requireAllocatable(std::uint64_t bytes);

}  // namespace tiomipra

#endif
