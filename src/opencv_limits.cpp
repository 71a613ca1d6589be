#include "opencv_limits.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "shared/text.hpp"

namespace vision {
namespace {

constexpr std::int64_t largestInt = std::numeric_limits<int>::max();

// The matchers' results are 16-bit numbers in sixteenths of a pixel, in which one pixel less than
// the smallest disparity means "no match".
constexpr int largestDisparity = 2047;
constexpr int smallestDisparity = -2047;

// One more than the largest disparity searched.
std::int64_t endOfDisparities(const AdaptedParameters& parameters) {
    return static_cast<std::int64_t>(parameters.minDisparity) + parameters.disparityNumber;
}

std::string describeRange(const AdaptedParameters& parameters) {
    return "range of disparities is " + std::to_string(parameters.minDisparity) + " to " +
           std::to_string(endOfDisparities(parameters) - 1);
}

std::string complaintAboutRange(const AdaptedParameters& parameters) {
    if (endOfDisparities(parameters) > largestInt)
        return describeRange(parameters) + ", must end below " + std::to_string(largestInt);
    if (parameters.minDisparity < smallestDisparity || parameters.minDisparity > largestInt / 16) {
        return describeRange(parameters) + ", must begin within " +
               std::to_string(smallestDisparity) + " and " + std::to_string(largestInt / 16);
    }
    return {};
}

// The filter keeps coordinates in 16 bits, and takes 9 bytes for each pixel, which it counts in 32.
std::string complaintAboutSpeckleFilter(const AdaptedParameters& parameters, const cv::Size& size) {
    constexpr int longestSide = std::numeric_limits<short>::max();
    constexpr std::int64_t mostPixels = largestInt / 9;
    if (parameters.speckleWindowSize == 0)
        return {};
    if (std::max(size.width, size.height) > longestSide) {
        return "image is " + describe(size) + ", must be at most " + std::to_string(longestSide) +
               " pixels long for the speckle filter";
    }
    if (static_cast<std::int64_t>(size.width) * size.height > mostPixels) {
        return "image is " + describe(size) + ", must have at most " + std::to_string(mostPixels) +
               " pixels for the speckle filter";
    }
    return {};
}

std::string complaintAboutLargestDisparity(const AdaptedParameters& parameters) {
    if (endOfDisparities(parameters) - 1 <= largestDisparity)
        return {};
    return describeRange(parameters) + ", must not end above " + std::to_string(largestDisparity);
}

}  // namespace

std::string complaintAboutBlockMatching(const AdaptedParameters& parameters, const cv::Size& size) {
    for (const auto& complaint :
         {complaintAboutRange(parameters), complaintAboutSpeckleFilter(parameters, size)}) {
        if (!complaint.empty())
            return complaint;
    }
    const std::int64_t end = endOfDisparities(parameters);
    const std::int64_t matchedColumns =
        size.width + std::min<std::int64_t>(end - 1, 0) - parameters.disparityNumber + 1;
    if (matchedColumns < 1 || end > size.width)
        return {};  // The disparity is invalid everywhere, and nothing is computed.

    // A table of costs for a stripe of the image is indexed by 32-bit numbers.
    const std::int64_t stripe =
        std::min<std::int64_t>(size.height, std::int64_t{10} * (parameters.windowSize - 1)) + 1;
    const std::int64_t costs = (stripe + parameters.windowSize + 1) * (parameters.windowSize + 1) *
                               parameters.disparityNumber;
    if (costs > largestInt) {
        return "window of " + std::to_string(parameters.windowSize) + " pixels and " +
               std::to_string(parameters.disparityNumber) + " disparities take " +
               std::to_string(costs) + " costs, must take at most " + std::to_string(largestInt);
    }
    return complaintAboutLargestDisparity(parameters);
}

std::string complaintAboutSemiGlobalMatching(const AdaptedParameters& parameters,
                                             const cv::Size& size) {
    for (const auto& complaint :
         {complaintAboutRange(parameters), complaintAboutSpeckleFilter(parameters, size)}) {
        if (!complaint.empty())
            return complaint;
    }
    const std::int64_t matchedColumns = size.width + std::min(parameters.minDisparity, 0) -
                                        std::max<std::int64_t>(endOfDisparities(parameters), 0);
    if (matchedColumns < 1)
        return {};  // The disparity is invalid everywhere, and nothing is computed.

    // The first sum of costs reads half a window of columns, even where there are fewer.
    const int window = parameters.windowSize > 0 ? parameters.windowSize : 5;  // as OpenCV has it
    if (window / 2 >= matchedColumns) {
        return "window is " + std::to_string(window) +
               " pixels wide, must be less than twice the " + std::to_string(matchedColumns) +
               " columns of the image that all disparities reach";
    }
    // Costs along four paths, a border included, are indexed by 32-bit numbers.
    const std::int64_t costs = 4 * (matchedColumns + 2) * (parameters.disparityNumber + 16);
    if (costs > largestInt) {
        return std::to_string(matchedColumns) + " columns and " +
               std::to_string(parameters.disparityNumber) + " disparities take " +
               std::to_string(costs) + " costs, must take at most " + std::to_string(largestInt);
    }
    return complaintAboutLargestDisparity(parameters);
}

}  // namespace vision
