#include "pages/cloud_page.hpp"

#include <cmath>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "pages/page.hpp"

namespace tiomipra {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "disparities are written as they lie in memory");

constexpr std::uint16_t unmeasured = 0xffff;

// A disparity is `least` + `step` * its number.
struct FixedPoint {
    double least = 0;
    double step = 1;
};

FixedPoint chooseSteps(const cv::Mat& disparity, const cv::Mat& measured) {
    double least = 0, largest = 0;
    cv::minMaxLoc(disparity, &least, &largest, nullptr, nullptr, measured);
    if (!(largest > least))
        return {least};
    return {least, std::exp2(std::ceil(std::log2((largest - least) / (unmeasured - 1))))};
}

std::string encodeDisparities(const cv::Mat& disparity, const cv::Mat& measured,
                              const FixedPoint& steps) {
    std::vector<std::uint16_t> numbers(disparity.total(), unmeasured);
    auto number = numbers.begin();
    for (int y = 0; y < disparity.rows; ++y) {
        const auto* value = disparity.ptr<float>(y);
        const auto* isMeasured = measured.ptr<uchar>(y);
        for (int x = 0; x < disparity.cols; ++x, ++number)
            if (isMeasured[x] != 0)
                *number = static_cast<std::uint16_t>(
                    std::lround((static_cast<double>(value[x]) - steps.least) / steps.step));
    }
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof numbers[0]};
}

nlohmann::ordered_json describe(const CloudContent& content, const FixedPoint& steps) {
    const DepthCamera& camera = content.camera;
    const auto& unit = content.madeWith.unit;
    return {{"width", content.disparity.cols},
            {"height", content.disparity.rows},
            {"leastDisparity", steps.least},
            {"disparityStep", steps.step},
            {"camera",
             {{"focalLength", camera.focalLength},
              {"centre", {camera.centre.x, camera.centre.y}},
              {"baseline", camera.baseline},
              {"disparityAtInfinity", camera.disparityAtInfinity}}},
            {"unit", unit ? nlohmann::ordered_json(*unit) : nullptr},
            {"colours", {content.colours.low, content.colours.high}},
            {"madeWith", toJson(content.madeWith)}};
}

}  // namespace

std::string composeCloudPage(const CloudContent& content) {
    const FixedPoint steps = chooseSteps(content.disparity, content.measured);
    Page page;
    page.title = "Cloud of " + content.name;
    page.body = "cloud_page.html";
    page.scripts = {"provenance.js",   "pointers.js",      "overlay.js",   "cloud.js",
                    "cloud_points.js", "depth_picture.js", "distances.js", "cloud_page.js"};
    page.hasScene = true;
    page.data = describe(content, steps);
    page.blocks = {jpegBlock("left", content.image),
                   {"disparities", "application/octet-stream",
                    encodeDisparities(content.disparity, content.measured, steps)}};
    return composePage(page);
}

}  // namespace tiomipra
