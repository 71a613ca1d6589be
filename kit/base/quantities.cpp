#include "base/quantities.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/text.hpp"

namespace tiomipra {
namespace {

constexpr std::pair<std::string_view, double> metresPerUnit[] = {
    {"mm", 0.001}, {"cm", 0.01}, {"m", 1}, {"in", 0.0254}};

[[noreturn]] void refuse(const std::string& text, const std::string& rule) {
    throw std::invalid_argument(quote(text) + " must be " + rule);
}

// Reads a number from the start of `text` and takes it off.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

// A finite number above 0 at the start of `text`, taken off, or 0.
double takePositive(std::string_view& text) {
    double number = 0;
    return takeNumber(text, number) && std::isfinite(number) && number > 0 ? number : 0;
}

}  // namespace

bool isUnit(const std::string& text) {
    return text.empty() || text == metres;
}

Length parseLength(const std::string& text) {
    constexpr auto rule = "a positive number, alone or with mm, cm, m or in";
    std::string_view rest = text;
    const double number = takePositive(rest);
    if (number == 0)
        refuse(text, rule);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (rest.empty())
        return {number, ""};
    for (const auto& [unit, inMetres] : metresPerUnit) {
        if (rest == unit)
            return {number * inMetres, metres};
    }
    refuse(text, rule);
}

DepthRange parseDepthRange(const std::string& text) {
    constexpr auto rule =
        "NEAR..FAR, two positive lengths, both with a suffix or none, the nearer one first; FAR "
        "may be inf; or auto";
    if (text == "auto")
        return {0, 0, "", true};
    const auto dots = text.find("..");
    if (dots == std::string::npos)
        refuse(text, rule);
    const Length nearest = parseLength(text.substr(0, dots));
    const std::string far = text.substr(dots + 2);
    const Length farthest = far == "inf"
                                ? Length{std::numeric_limits<double>::infinity(), nearest.unit}
                                : parseLength(far);
    if (nearest.unit != farthest.unit || nearest.value >= farthest.value)
        refuse(text, rule);
    return {nearest.value, farthest.value, nearest.unit, false};
}

cv::Size parseSize(const std::string& text) {
    std::string_view rest = text;
    cv::Size size;
    const bool hasWidth = takeNumber(rest, size.width);
    const bool hasTimes = !rest.empty() && (rest.front() == 'x' || rest.front() == 'X');
    rest.remove_prefix(hasTimes ? 1 : 0);
    const bool hasHeight = takeNumber(rest, size.height);
    const bool isWhole = hasWidth && hasTimes && hasHeight && rest.empty();
    if (!isWhole || size.width <= 0 || size.height <= 0)
        refuse(text, "WIDTHxHEIGHT, two positive whole numbers, as in 9x6");
    return size;
}

Interval parseInterval(const std::string& text) {
    const auto dots = text.find("..");
    std::string_view low = std::string_view(text).substr(0, dots);
    std::string_view high = dots == text.npos ? "" : std::string_view(text).substr(dots + 2);
    Interval interval;
    const bool isWhole = takeNumber(low, interval.low) && low.empty() &&
                         takeNumber(high, interval.high) && high.empty();
    const bool isRising =
        std::isfinite(interval.high - interval.low) && interval.low < interval.high;
    if (!isWhole || !isRising)
        refuse(text, "LOW..HIGH, two numbers, the lower one first");
    return interval;
}

double parsePositiveNumber(const std::string& text) {
    std::string_view rest = text;
    const double number = takePositive(rest);
    if (number == 0 || !rest.empty())
        refuse(text, "a positive number");
    return number;
}

}  // namespace tiomipra
