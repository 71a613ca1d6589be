// Compares the library's matchers with OpenCV's, bit for bit, on whatever images and with whatever
// parameters the bytes ask for.
#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstring>
#include <functional>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vision/stereo.hpp>

#include "block_matching.hpp"
#include "opencv_limits.hpp"
#include "semi_global_matching.hpp"
#include "support/rigs.hpp"

namespace {

using Bytes = FuzzedDataProvider;
using vision::BlockMatching;
using vision::InstructionSet;
using vision::SemiGlobalMatching;
using vision::Stereo;

// Stops the fuzzer: a difference.
void require(bool holds) {
    if (!holds)
        __builtin_trap();
}

bool areSame(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && a.isContinuous() && b.isContinuous() &&
           std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

struct Pair {
    cv::Mat left;
    cv::Mat right;
};

Pair readPhotographs() {
    const std::string folder = TIOMIPRA_PHOTOGRAPHS;
    Pair pair{cv::imread(folder + "/aloeL.jpg", cv::IMREAD_GRAYSCALE),
              cv::imread(folder + "/aloeR.jpg", cv::IMREAD_GRAYSCALE)};
    require(!pair.left.empty() && pair.left.size() == pair.right.size());
    return pair;
}

// A part of the photographs, scaled to `size`.
Pair takePhotographs(Bytes& bytes, const cv::Size& size) {
    static const Pair photographs = readPhotographs();
    const auto [columns, rows] = photographs.left.size();
    const int scale = bytes.ConsumeIntegralInRange(1, 4);
    const cv::Rect part(
        bytes.ConsumeIntegralInRange(0, columns / 2), bytes.ConsumeIntegralInRange(0, rows / 2),
        std::min(size.width * scale, columns / 2), std::min(size.height * scale, rows / 2));
    Pair pair;
    cv::resize(photographs.left(part), pair.left, size, 0, 0, cv::INTER_AREA);
    cv::resize(photographs.right(part), pair.right, size, 0, 0, cv::INTER_AREA);
    return pair;
}

// Few or many grey levels; the right image is moved and has noise of its own.
Pair takeNoise(Bytes& bytes, const cv::Size& size) {
    constexpr int most = 64;
    cv::RNG random(bytes.ConsumeIntegral<std::uint64_t>() | 1U);
    cv::Mat texture(size.height, size.width + 2 * most, CV_8UC1);
    random.fill(texture, cv::RNG::UNIFORM, 0, bytes.ConsumeIntegralInRange(1, 256));
    if (bytes.ConsumeBool())
        cv::GaussianBlur(texture, texture, {}, bytes.ConsumeIntegralInRange(1, 9) / 2.);
    const int begin = most + bytes.ConsumeIntegralInRange(-most, most);
    Pair pair{texture.colRange(most, most + size.width),
              texture.colRange(begin, begin + size.width)};
    cv::Mat noise(size, CV_8UC1);
    random.fill(noise, cv::RNG::UNIFORM, 0, bytes.ConsumeIntegralInRange(1, 100));
    pair.right = pair.right + noise;
    return pair;
}

// The bytes themselves, again and again.
cv::Mat takePattern(Bytes& bytes, const cv::Size& size) {
    cv::Mat image(size, CV_8UC1);
    const auto pattern = bytes.ConsumeBytes<std::uint8_t>(bytes.ConsumeIntegralInRange(1, 200));
    for (std::size_t i = 0; i < image.total(); ++i)
        image.data[i] = pattern.empty() ? 0 : pattern[i % pattern.size()];
    return image;
}

// The same image, at times with other pixels between its rows.
cv::Mat asView(Bytes& bytes, const cv::Mat& image) {
    if (bytes.ConsumeBool())
        return image;
    const int border = bytes.ConsumeIntegralInRange(1, 70);
    cv::Mat larger(image.rows, image.cols + 2 * border, CV_8UC1, cv::Scalar(200));
    cv::Mat view = larger.colRange(border, border + image.cols);
    image.copyTo(view);
    return view;
}

Pair takePair(Bytes& bytes, const cv::Size& size) {
    const int choice = bytes.ConsumeIntegralInRange(0, 4);
    Pair pair;
    if (choice == 0)
        pair = {takePattern(bytes, size), takePattern(bytes, size)};
    else
        pair = choice == 1 ? takePhotographs(bytes, size) : takeNoise(bytes, size);
    return {asView(bytes, pair.left), asView(bytes, pair.right)};
}

// Mostly small, so that there is something to match; else anything.
int takeUsually(Bytes& bytes, int high, int lowest, int highest) {
    return bytes.ConsumeIntegralInRange(0, 7) == 0 ? bytes.ConsumeIntegralInRange(lowest, highest)
                                                   : bytes.ConsumeIntegralInRange(lowest, high);
}

void setParameters(Bytes& bytes, Stereo& stereo, int calibratedWidth) {
    stereo.setWindowSize(takeUsually(bytes, 25, 5, 255) | 1);
    const int width = bytes.ConsumeBool() ? calibratedWidth : std::min(calibratedWidth, 60);
    stereo.setMinDisparity(bytes.ConsumeIntegralInRange(-width, width));
    stereo.setDisparityNumber(takeUsually(bytes, 8, 1, 20) * 16);
    stereo.setPreFilterCap(bytes.ConsumeIntegralInRange(1, 63));
    stereo.setPreFilterSize(bytes.ConsumeIntegralInRange(5, 255) | 1);
    stereo.setTextureThreshold(takeUsually(bytes, 200, 0, 10000));
    stereo.setUniquenessRatio(takeUsually(bytes, 15, 0, 100));
    stereo.setSpeckleWindowSize(bytes.ConsumeIntegralInRange(0, 1000));
    stereo.setSpeckleRange(bytes.ConsumeIntegralInRange(0, 31));
}

// Penalties that fit the window, or anything; at times with its largest value.
int takePenalty(Bytes& bytes, int usual) {
    return takeUsually(bytes, usual, 0, bytes.ConsumeBool() ? 100000 : INT_MAX);
}

void setPathParameters(Bytes& bytes, Stereo& stereo) {
    const int pixels = stereo.getWindowSize() * stereo.getWindowSize();
    stereo.setP1(takePenalty(bytes, 16 * pixels));
    stereo.setP2(takePenalty(bytes, 64 * pixels));
    stereo.setDisp12MaxDiff(takeUsually(bytes, 4, -1, 400));
    stereo.setFullDP(bytes.ConsumeIntegralInRange(0, 3) == 0);
}

BlockMatching makeBlockMatching(const Stereo& stereo, const vision::AdaptedParameters& adapted) {
    return {adapted.windowSize,          adapted.minDisparity,      adapted.disparityNumber,
            stereo.getPreFilterCap(),    stereo.getPreFilterSize(), stereo.getTextureThreshold(),
            stereo.getUniquenessRatio(), adapted.speckleWindowSize, adapted.speckleRange};
}

SemiGlobalMatching makeSemiGlobalMatching(const Stereo& stereo,
                                          const vision::AdaptedParameters& adapted) {
    return {adapted.windowSize,
            adapted.minDisparity,
            adapted.disparityNumber,
            stereo.getPreFilterCap(),
            stereo.getUniquenessRatio(),
            adapted.speckleWindowSize,
            adapted.speckleRange,
            adapted.P1,
            adapted.P2,
            stereo.getDisp12MaxDiff(),
            stereo.getFullDP()};
}

// One of the two matchers.
struct Matcher {
    using Match = std::function<cv::Mat(const Pair& pair)>;
    using MatchWith = std::function<cv::Mat(const Pair& pair, InstructionSet set)>;
    std::string complaint;
    bool canMatch;
    Match matchByOpenCv;
    MatchWith match;
};

Matcher makeMatcher(const Stereo& stereo, int factor, const cv::Size& size) {
    const auto adapted = vision::adapt(stereo, factor);
    if (stereo.getStereoAlgorithm() == Stereo::BM) {
        const BlockMatching settings = makeBlockMatching(stereo, adapted);
        return {
            complaintAboutBlockMatching(adapted, size), canMatchBlocks(settings, size),
            [=](const Pair& pair) { return matchBlocksByOpenCv(pair.left, pair.right, settings); },
            [=](const Pair& pair, InstructionSet set) {
                return matchBlocks(pair.left, pair.right, settings, set);
            }};
    }
    const SemiGlobalMatching settings = makeSemiGlobalMatching(stereo, adapted);
    return {complaintAboutSemiGlobalMatching(adapted, size), canMatchSemiGlobally(settings, size),
            [=](const Pair& pair) {
                return matchSemiGloballyByOpenCv(pair.left, pair.right, settings);
            },
            [=](const Pair& pair, InstructionSet set) {
                return matchSemiGlobally(pair.left, pair.right, settings, set);
            }};
}

// On one thread: with more, OpenCV's result depends on chance.
cv::Mat matchByOpenCv(const Pair& pair, const Matcher& matcher) {
    cv::setNumThreads(1);
    try {
        return matcher.matchByOpenCv(pair);
    } catch (const cv::Exception&) {
        return {};
    }
}

void compareKernels(const Pair& pair, const Matcher& matcher, const cv::Mat& expected) {
    for (const auto set :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (set <= vision::findInstructionSet())
            require(areSame(matcher.match(pair, set), expected));
    }
}

void compareStereo(const Pair& pair, const Stereo& stereo, const cv::Mat& expected) {
    try {
        cv::Mat disparity;
        expected.convertTo(disparity, CV_32F, 1. / 16);
        require(areSame(stereo.computeDisparity(pair.left, pair.right), disparity));
    } catch (const cv::Exception&) {
        require(expected.empty());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    Bytes bytes(data, length);
    const cv::Size size(takeUsually(bytes, 150, 1, 400), takeUsually(bytes, 50, 1, 120));
    const int calibratedWidth =
        size.width * takeUsually(bytes, 3, 1, 45) + bytes.ConsumeIntegralInRange(0, size.width - 1);
    const tiomipra::test::CalibrationPair rig =
        tiomipra::test::makeRig({{calibratedWidth, size.height}});
    Stereo stereo;
    stereo.setMaxDepth(1e6F);  // so that the smallest disparity it asks for is within the image
    stereo.setCalibrations(rig.left, rig.right);
    stereo.setStereoAlgorithm(bytes.ConsumeBool() ? Stereo::BM : Stereo::SGBM);
    setParameters(bytes, stereo, calibratedWidth);
    if (stereo.getStereoAlgorithm() == Stereo::SGBM)
        setPathParameters(bytes, stereo);
    const Matcher matcher = makeMatcher(stereo, calibratedWidth / size.width, size);
    if (!matcher.complaint.empty())
        return 0;

    const Pair pair = takePair(bytes, size);
    const cv::Mat expected = matchByOpenCv(pair, matcher);
    cv::setNumThreads(1 + bytes.ConsumeIntegralInRange(0, 15) % 4);
    if (matcher.canMatch)
        compareKernels(pair, matcher, expected);
    cv::setNumThreads(1);
    compareStereo(pair, stereo, expected);
    return 0;
}
