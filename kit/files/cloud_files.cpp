#include "files/cloud_files.hpp"

#include <charconv>
#include <cstdint>
#include <cstring>

#include "base/text.hpp"

namespace tiomipra {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "clouds are written as they lie in memory");

std::string plyHeader(std::size_t count, const char* format,
                      const std::vector<std::string>& comments) {
    std::string header = fmt::format("ply\nformat {} 1.0\n", format);
    for (const std::string& comment : comments)
        header += fmt::format("comment {}\n", printable(comment));
    header += fmt::format("element vertex {}\n", count);
    for (const char* name : {"x", "y", "z"})
        header += fmt::format("property float {}\n", name);
    for (const char* name : {"red", "green", "blue"})
        header += fmt::format("property uchar {}\n", name);
    return header + "end_header\n";
}

std::string pcdHeader(std::size_t count, const std::vector<std::string>& comments) {
    std::string header = "# .PCD v0.7 - Point Cloud Data file format\n";
    for (const std::string& comment : comments)
        header += fmt::format("# {}\n", printable(comment));
    return header + fmt::format(
                        "VERSION 0.7\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\nCOUNT 1 1 1 1\n"
                        "WIDTH {0}\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS {0}\nDATA binary\n",
                        count);
}

// Appends the bytes of `values`, one after the other.
template <typename... Values>
void appendBytes(std::string& bytes, const Values&... values) {
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
}

void appendPlyBinary(std::string& bytes, const CloudPoint& point) {
    appendBytes(bytes, point.position, point.colour[2], point.colour[1], point.colour[0]);
}

template <typename Value>
void appendText(std::string& bytes, Value value, char separator) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    bytes.append(text, end).push_back(separator);
}

void appendPlyText(std::string& bytes, const CloudPoint& point) {
    for (int i = 0; i < 3; ++i)
        appendText(bytes, point.position[i], ' ');
    appendText(bytes, point.colour[2], ' ');
    appendText(bytes, point.colour[1], ' ');
    appendText(bytes, point.colour[0], '\n');
}

void appendPcd(std::string& bytes, const CloudPoint& point) {
    const auto colour =
        static_cast<std::uint32_t>(point.colour[2] << 16 | point.colour[1] << 8 | point.colour[0]);
    appendBytes(bytes, point.position, colour);
}

using Append = void (*)(std::string&, const CloudPoint&);

std::string encodePoints(std::string bytes, const std::vector<CloudPoint>& cloud,
                         std::size_t bytesPerPoint, Append append) {
    bytes.reserve(bytes.size() + cloud.size() * bytesPerPoint);
    for (const CloudPoint& point : cloud)
        append(bytes, point);
    return bytes;
}

cv::Vec3b colourAt(const cv::Mat& image, int y, int x) {
    return image.channels() == 3 ? image.at<cv::Vec3b>(y, x)
                                 : cv::Vec3b::all(image.at<uchar>(y, x));
}

}  // namespace

std::vector<CloudPoint> collectCloud(const cv::Mat& points, const cv::Mat& measured,
                                     const cv::Mat& image) {
    std::vector<CloudPoint> cloud;
    cloud.reserve(static_cast<std::size_t>(cv::countNonZero(measured)));
    for (int y = 0; y < points.rows; ++y)
        for (int x = 0; x < points.cols; ++x)
            if (measured.at<uchar>(y, x) != 0)
                cloud.push_back({points.at<cv::Vec3f>(y, x), colourAt(image, y, x)});
    return cloud;
}

std::string encodeCloud(const std::vector<CloudPoint>& cloud, CloudFormat format,
                        const std::vector<std::string>& comments) {
    const std::size_t count = cloud.size();
    switch (format) {
        case CloudFormat::plyBinary:
            return encodePoints(plyHeader(count, "binary_little_endian", comments), cloud, 15,
                                appendPlyBinary);
        case CloudFormat::plyText:
            return encodePoints(plyHeader(count, "ascii", comments), cloud, 48, appendPlyText);
        case CloudFormat::pcd:
            return encodePoints(pcdHeader(count, comments), cloud, 16, appendPcd);
    }
    return {};
}

}  // namespace tiomipra
