// Point clouds as files.
//
// X right, Y down, Z forward in the frame of the rectified left camera, in the unit of the
// calibrations; each point has the colour of its pixel.
#ifndef TIOMIPRA_FILES_CLOUD_FILES_HPP
#define TIOMIPRA_FILES_CLOUD_FILES_HPP

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace tiomipra {

struct CloudPoint {
    cv::Vec3f position;
    cv::Vec3b colour;  // blue, green, red
};

enum class CloudFormat {
    plyBinary,  // Polygon File Format 1.0, little-endian: x, y, z float, red, green, blue uchar
    plyText,    // the same as text; the shortest digits that give the same floats back
    pcd         // Point Cloud Data 0.7, binary: x, y, z, rgb (0x00RRGGBB in the bits of a float)
};

// The points (`CV_32FC3`) where `measured` (`CV_8UC1`) is not 0, row by row, with the colours of
// `image` (`CV_8UC1` or `CV_8UC3`); all of the same size.
std::vector<CloudPoint> collectCloud(const cv::Mat& points, const cv::Mat& measured,
                                     const cv::Mat& image);

// The bytes of a file with these points. `comments`, one line each, stand in the header.
std::string encodeCloud(const std::vector<CloudPoint>& cloud, CloudFormat format,
                        const std::vector<std::string>& comments);

}  // namespace tiomipra

#endif
