#include "text.hpp"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace tiomipra {

std::string fixed(double value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

std::string significant(double value, int digits) {
    if (value == 0 || !std::isfinite(value))
        return fixed(value, 0);
    const int magnitude = static_cast<int>(std::floor(std::log10(std::abs(value))));
    if (magnitude < -6 || magnitude > 9) {
        std::ostringstream text;
        text << std::setprecision(digits) << value;
        return text.str();
    }
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

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string sizeText(const cv::Size& size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::string sizesDiffer(const std::string& file, const cv::Size& size, const std::string& otherFile,
                        const cv::Size& otherSize) {
    return quote(file) + " is " + sizeText(size) + ", " + quote(otherFile) + " is " +
           sizeText(otherSize) + "; their sizes must be the same";
}

}  // namespace tiomipra
