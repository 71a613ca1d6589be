#include "support/scenes.hpp"

#include <algorithm>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace tiomipra::test {
namespace {

// Columns of the texture beyond the left image's, for what only the right camera sees.
constexpr int margin = 256;

cv::Mat makeTexture(const cv::Size& size, unsigned seed) {
    cv::Mat texture(size.height, size.width + margin, CV_8UC1);
    cv::RNG(seed).fill(texture, cv::RNG::UNIFORM, 0, 256);
    cv::GaussianBlur(texture, texture, {}, 1.2);
    cv::normalize(texture, texture, 0, 255, cv::NORM_MINMAX);
    return texture;
}

// The column of the left image that shows what the right one shows in column `x`.
float leftColumn(const Plane& plane, float x) {
    return (x + plane.disparity) / (1.F - plane.slope);
}

// The nearest plane that shows in the right image's column `x`; the farthest fills what the left
// camera does not see.
const Plane& planeInRight(const std::vector<Plane>& planes, float x) {
    const auto found = std::find_if(planes.begin(), planes.end(), [x](const Plane& plane) {
        const float left = leftColumn(plane, x);
        return left >= static_cast<float>(plane.begin) && left < static_cast<float>(plane.end);
    });
    return found == planes.end() ? planes.back() : *found;
}

}  // namespace

Scene renderScene(const SceneOptions& options) {
    const cv::Mat texture = makeTexture(options.size, options.seed);
    cv::Mat_<cv::Point2f> places(options.size);
    places.forEach([&](cv::Point2f& place, const int* pixel) {
        const auto x = static_cast<float>(pixel[1]);
        place = {leftColumn(planeInRight(options.planes, x), x), static_cast<float>(pixel[0])};
    });
    Scene scene{texture.colRange(0, options.size.width).clone(), {}};
    cv::remap(texture, scene.right, places, cv::noArray(), cv::INTER_CUBIC, cv::BORDER_REPLICATE);
    return scene;
}

cv::Mat renderRawView(const cv::Mat& rectified, const vision::Calibration& camera) {
    std::vector<cv::Point2f> rawPixels;
    for (int y = 0; y < camera.height; ++y) {
        for (int x = 0; x < camera.width; ++x)
            rawPixels.emplace_back(static_cast<float>(x), static_cast<float>(y));
    }
    cv::Mat positions;
    cv::undistortPoints(rawPixels, positions, camera.cameraMatrix, camera.distortion,
                        camera.rectificationMatrix, camera.projectionMatrix);
    cv::Mat raw;
    cv::remap(rectified, raw, positions.reshape(2, camera.height), cv::noArray(), cv::INTER_CUBIC);
    return raw;
}

}  // namespace tiomipra::test
