// Values as a person reads them.
#ifndef TIOMIPRA_TEXT_HPP
#define TIOMIPRA_TEXT_HPP

#include <cstdio>
#include <opencv2/core/types.hpp>
#include <string>
#include <string_view>

namespace tiomipra {

// With a fixed count of decimals: 1.5 and 2 give "1.50".
std::string fixed(double value, int decimals);

// With a count of significant digits and no needless zeros: 1234.5 and 3 give "1230"; with an
// exponent where there would be very many zeros.
std::string significant(double value, int digits);

// A file's name, or what a user wrote, within a message: 'a.png'.
std::string quote(const std::string& text);

bool startsWith(std::string_view text, std::string_view start);

// As std::printf prints them.
template <typename... Values>
std::string printed(const char* pattern, Values... values) {
    const int length = std::snprintf(nullptr, 0, pattern, values...);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, pattern, values...);
    return text;
}

// "640x480".
std::string sizeText(const cv::Size& size);

// "'a.png' is 640x480, 'b.png' is 320x240; their sizes must be the same".
std::string sizesDiffer(const std::string& file, const cv::Size& size, const std::string& otherFile,
                        const cv::Size& otherSize);

// The items in one line: "a, b, c".
template <typename Strings>
std::string joined(const Strings& items, const std::string& separator = ", ") {
    std::string result;
    for (const std::string& item : items)
        result += (result.empty() ? "" : separator) + item;
    return result;
}

}  // namespace tiomipra

#endif
