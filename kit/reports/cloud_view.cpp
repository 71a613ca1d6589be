#include "reports/cloud_view.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "base/statistics.hpp"
#include "reports/pictures.hpp"
#include "rigs/rig_geometry.hpp"

namespace tiomipra {
namespace {

// Drawn this many times larger and then reduced, as edges would be jagged else.
constexpr int oversampling = 2;

Statistics statisticsOf(const cv::Mat& vectors, const cv::Mat& chosen, int channel) {
    std::vector<float> values;
    for (int y = 0; y < vectors.rows; ++y) {
        for (int x = 0; x < vectors.cols; ++x) {
            if (chosen.at<uchar>(y, x) != 0)
                values.push_back(vectors.at<cv::Vec3f>(y, x)[channel]);
        }
    }
    return summarise(std::move(values));
}

cv::Matx33f rotation(double degreesAboutX, double degreesAboutY) {
    cv::Matx33d aboutX, aboutY;
    cv::Rodrigues(cv::Vec3d(toRadians(degreesAboutX), 0, 0), aboutX);
    cv::Rodrigues(cv::Vec3d(0, toRadians(degreesAboutY), 0), aboutY);
    return aboutX * aboutY;
}

// The points in the frame of a camera that has moved around the scene's middle, which it still
// looks at from the same distance.
cv::Mat lookFromAside(const cv::Mat& points, const cv::Mat& measured) {
    const cv::Vec3f middle(0, 0, static_cast<float>(statisticsOf(points, measured, 2).median));
    const cv::Matx33f turn = rotation(10, 14);
    cv::Mat turned(points.size(), CV_32FC3);
    std::transform(points.begin<cv::Vec3f>(), points.end<cv::Vec3f>(), turned.begin<cv::Vec3f>(),
                   [&](const cv::Vec3f& point) { return turn * (point - middle) + middle; });
    return turned;
}

// Points in front of the camera to x / z, y / z and z, in their place.
void project(cv::Mat& points) {
    std::transform(points.begin<cv::Vec3f>(), points.end<cv::Vec3f>(), points.begin<cv::Vec3f>(),
                   [](const cv::Vec3f& point) {
                       return cv::Vec3f(point[0] / point[2], point[1] / point[2], point[2]);
                   });
}

// From x / z and y / z to pixels of a canvas, such that nearly all points are on it.
class Placement {
  public:
    Placement(const cv::Mat& projected, const cv::Mat& chosen, const cv::Size& canvas) {
        const Statistics x = statisticsOf(projected, chosen, 0);
        const Statistics y = statisticsOf(projected, chosen, 1);
        const double width = x.percentile99 - x.percentile1;
        const double height = y.percentile99 - y.percentile1;
        const double fitting = std::min(canvas.width / width, canvas.height / height);
        constexpr double margin = 0.04;
        _scale = static_cast<float>(std::isfinite(fitting) ? (1 - margin) * fitting : 1);
        _origin = place(canvas.width / 2., x.percentile1 + width / 2, canvas.height / 2.,
                        y.percentile1 + height / 2);
    }

    cv::Point2f operator()(const cv::Vec3f& projected) const {
        return _origin + _scale * cv::Point2f(projected[0], projected[1]);
    }

  private:
    cv::Point2f place(double column, double x, double row, double y) const {
        return {static_cast<float>(column - _scale * x), static_cast<float>(row - _scale * y)};
    }

    float _scale = 1;
    cv::Point2f _origin;
};

// A canvas on which what is nearer hides what is farther.
class Canvas {
  public:
    explicit Canvas(const cv::Size& size)
        : _picture(size, CV_8UC3, darkGrey),
          _depth(size, CV_32FC1, cv::Scalar(std::numeric_limits<double>::infinity())) {}

    void fill(const cv::Rect& area, float depth, const cv::Vec3b& colour) {
        const cv::Rect within = area & cv::Rect({}, _picture.size());
        for (int y = within.y; y < within.br().y; ++y) {
            for (int x = within.x; x < within.br().x; ++x) {
                if (depth >= _depth.at<float>(y, x))
                    continue;
                _depth.at<float>(y, x) = depth;
                _picture.at<cv::Vec3b>(y, x) = colour;
            }
        }
    }

    const cv::Mat& picture() const { return _picture; }

  private:
    cv::Mat _picture;
    cv::Mat _depth;
};

// What a pixel covers: up to its neighbours on the right and below, as far as they belong to the
// same surface.
class Footprints {
  public:
    Footprints(const cv::Mat& projected, const cv::Mat& chosen, const Placement& place)
        : _projected(projected), _chosen(chosen), _place(place) {}

    cv::Rect at(const cv::Point& pixel) const {
        const cv::Point2f start = _place(_projected.at<cv::Vec3f>(pixel));
        cv::Point2f low = start, high = start;
        for (const cv::Point& step : {cv::Point(1, 0), cv::Point(0, 1), cv::Point(1, 1)}) {
            if (!isConnected(pixel, pixel + step))
                continue;
            const cv::Point2f end = _place(_projected.at<cv::Vec3f>(pixel + step));
            low = {std::min(low.x, end.x), std::min(low.y, end.y)};
            high = {std::max(high.x, end.x), std::max(high.y, end.y)};
        }
        return {cv::Point(cvFloor(low.x), cvFloor(low.y)),
                cv::Point(cvFloor(high.x) + 1, cvFloor(high.y) + 1)};
    }

  private:
    bool isConnected(const cv::Point& pixel, const cv::Point& other) const {
        constexpr float closeness = 0.01F;
        if (other.x >= _chosen.cols || other.y >= _chosen.rows || _chosen.at<uchar>(other) == 0)
            return false;
        const float depth = _projected.at<cv::Vec3f>(pixel)[2];
        return std::abs(_projected.at<cv::Vec3f>(other)[2] - depth) < closeness * depth;
    }

    const cv::Mat& _projected;
    const cv::Mat& _chosen;
    const Placement& _place;
};

// Without the points behind the camera that looks from aside, or nearly beside it.
cv::Mat findVisible(const cv::Mat& turned, const cv::Mat& measured) {
    constexpr float steepest = 10;
    cv::Mat visible = measured.clone();
    for (int y = 0; y < turned.rows; ++y) {
        for (int x = 0; x < turned.cols; ++x) {
            const auto& point = turned.at<cv::Vec3f>(y, x);
            const float aside = std::max(std::abs(point[0]), std::abs(point[1]));
            if (!(aside < steepest * point[2]))
                visible.at<uchar>(y, x) = 0;
        }
    }
    return visible;
}

}  // namespace

cv::Mat drawCloudView(const cv::Mat& points, const cv::Mat& measured, const cv::Mat& image) {
    cv::Mat projected = lookFromAside(points, measured);
    const cv::Mat visible = findVisible(projected, measured);
    project(projected);
    Canvas canvas(points.size() * oversampling);
    const Placement place(projected, visible, canvas.picture().size());
    const Footprints footprints(projected, visible, place);
    const cv::Mat colours = toColour(image);
    for (int y = 0; y < points.rows; ++y) {
        for (int x = 0; x < points.cols; ++x) {
            if (visible.at<uchar>(y, x) != 0)
                canvas.fill(footprints.at({x, y}), projected.at<cv::Vec3f>(y, x)[2],
                            colours.at<cv::Vec3b>(y, x));
        }
    }
    cv::Mat picture;
    cv::resize(canvas.picture(), picture, points.size(), 0, 0, cv::INTER_AREA);
    return picture;
}

}  // namespace tiomipra
