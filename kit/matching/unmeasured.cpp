#include "matching/unmeasured.hpp"

#include <opencv2/core.hpp>

namespace tiomipra {

namespace {

struct Words {
    const char* name;
    const char* description;
};

// In the order of `allReasons`.
constexpr std::array<Words, allReasons.size()> words{
    {{"measured", "measured"},
     {"notSeen", "not seen by the raw images"},
     {"outsideOfView", "outside of the right image"},
     {"noTexture", "no texture"},
     {"notUnique", "no unique match"},
     {"leftRight", "left and right differ"},
     {"speckle", "speckle"},
     {"unsure", "not sure enough"},
     {"outsideOfRange", "outside of the range"}}};

const Words& wordsFor(Reason reason) {
    return words.at(static_cast<std::size_t>(reason));
}

}  // namespace

std::string nameOf(Reason reason) {
    return wordsFor(reason).name;
}

std::string describe(Reason reason) {
    return wordsFor(reason).description;
}

void reject(cv::Mat& reasons, const cv::Mat& kept, Reason reason) {
    const auto code = static_cast<uchar>(reason);
    const int columns = reasons.cols;
    for (int y = 0; y < reasons.rows; ++y) {
        auto* const row = reasons.ptr<uchar>(y);
        const auto* const isKept = kept.ptr<uchar>(y);
        for (int x = 0; x < columns; ++x)
            row[x] = ((isKept[x] == 0) & (row[x] == 0)) != 0 ? code : row[x];
    }
}

ReasonCounts countReasons(const cv::Mat& reasons) {
    ReasonCounts counts{};
    for (const Reason reason : allReasons)
        counts.at(static_cast<std::size_t>(reason)) =
            static_cast<std::size_t>(cv::countNonZero(reasons == static_cast<int>(reason)));
    return counts;
}

}  // namespace tiomipra
