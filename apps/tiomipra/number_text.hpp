// Numbers as a person reads them.
#ifndef TIOMIPRA_NUMBER_TEXT_HPP
#define TIOMIPRA_NUMBER_TEXT_HPP

#include <opencv2/core/types.hpp>
#include <string>

namespace tiomipra {

// With a fixed count of decimals: 1.5 and 2 give "1.50".
std::string fixed(double value, int decimals);

// With a count of significant digits and no needless zeros: 1234.5 and 3 give "1230"; with an
// exponent where there would be very many zeros.
std::string significant(double value, int digits);

// "640x480".
std::string sizeText(const cv::Size& size);

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
