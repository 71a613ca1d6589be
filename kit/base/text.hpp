// Values as a person reads them.
#ifndef TIOMIPRA_BASE_TEXT_HPP
#define TIOMIPRA_BASE_TEXT_HPP

#include <fmt/format.h>

#include <opencv2/core/types.hpp>
#include <string>

#include "shared/text.hpp"

namespace tiomipra {

using vision::describe;  // a size as "640x480", a matrix as "3x4 CV_64FC1"
using vision::endsWith;
using vision::startsWith;

// With a fixed count of decimals: 1.5 and 2 give "1.50".
std::string fixed(double value, int decimals);

// With a count of significant digits and no needless zeros: 1234.5 and 3 give "1230"; with an
// exponent where there would be very many zeros.
std::string significant(double value, int digits);

// With four significant digits, as depths and disparities are told.
inline std::string digits(double value) {
    return significant(value, 4);
}

// `text` in one line as a terminal may get it, whoever has written it: control characters and bytes
// that are not UTF-8 become \n, \x1b or \u009b. What is printable remains as it is.
std::string printable(const std::string& text);

// The same for several lines.
std::string printableLines(const std::string& text);

// A file's name, or what a user wrote, within a message: 'a.png'. Printable.
std::string quote(const std::string& text);

// "'a.png' is 640x480, 'b.png' is 320x240; their sizes must be the same".
std::string sizesDiffer(const std::string& file, const cv::Size& size, const std::string& otherFile,
                        const cv::Size& otherSize);

// The items in one line: "a, b, c".
template <typename Strings>
std::string joined(const Strings& items, const std::string& separator = ", ") {
    return fmt::format("{}", fmt::join(items, separator));
}

}  // namespace tiomipra

#endif
