#include "base/text.hpp"

#include <algorithm>
#include <cmath>

namespace tiomipra {

std::string fixed(double value, int decimals) {
    return fmt::format("{:.{}f}", value, decimals);
}

std::string significant(double value, int digits) {
    if (value == 0 || !std::isfinite(value))
        return fixed(value, 0);
    const int magnitude = static_cast<int>(std::floor(std::log10(std::abs(value))));
    if (magnitude < -6 || magnitude > 9)
        return fmt::format("{:.{}g}", value, digits);
    const double unit = std::pow(10., magnitude - digits + 1);
    const double rounded = std::round(value / unit) * unit;
    std::string text = fixed(rounded, std::max(0, digits - 1 - magnitude));
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}

std::string quote(const std::string& text) {
    return "'" + text + "'";
}

std::string sizesDiffer(const std::string& file, const cv::Size& size, const std::string& otherFile,
                        const cv::Size& otherSize) {
    return fmt::format("{} is {}, {} is {}; their sizes must be the same", quote(file),
                       describe(size), quote(otherFile), describe(otherSize));
}

}  // namespace tiomipra
