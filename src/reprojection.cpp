// The result is to the last bit that of OpenCV's functions one after the other, `reprojectByOpenCv`
// below, at a twelfth of the time or less. What makes that safe:
//
// - Only matrices as rectified pairs have them (`hasRectifiedForm`) take the short way. X then
//   depends on the column alone, Y on the row, Z on nothing and W on the disparity. The products
//   with zero that OpenCV adds as well change no sum: its sums start from +0 and so are never -0.
//   There is one exception, kept in the sum of W: zero times an infinite disparity is NaN.
// - The arithmetic is OpenCV's: double, in its order, nothing fused (the build sets
//   -ffp-contract=off), converted to float where OpenCV does so. Where that is depends on how
//   OpenCV was compiled; `findRounding` finds it out once, by comparison.
// - Other matrices, and all if the comparison fails, are left to OpenCV.
#include "reprojection.hpp"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cstring>
#include <opencv2/calib3d.hpp>
#include <optional>
#include <vector>

namespace vision {
namespace {

// Which points become (0, 0, 0).
struct Limits {
    float maxDepth;
    float minDisparity;
};

// Whether X and Y are rounded to float before they are divided by W, or only afterwards. OpenCV's
// source says before, but GCC 12, which compiled the OpenCV of Debian 12, leaves that step out (for
// X and Y, not for Z).
enum class Rounding { beforeDivision, afterDivision };

// What the pixels of one row have in common: their homogeneous coordinates.
struct Row {
    const double* xs;  // by column
    double y;
    double z;
    double wPerDisparity;
    double wOffset;
    Limits limits;
};

template <int lanes>
struct Vectors {
    using Floats __attribute__((vector_size(lanes * sizeof(float)))) = float;
    using Doubles __attribute__((vector_size(lanes * sizeof(double)))) = double;
};

template <typename Floats>
TIOMIPRA_INLINE void store(const Floats& vector, float* destination) {
    std::memcpy(destination, &vector, sizeof vector);
}

TIOMIPRA_INLINE void storeInterleaved(const Vectors<4>::Floats& x, const Vectors<4>::Floats& y,
                                      const Vectors<4>::Floats& z, float* points) {
    const auto xy = __builtin_shufflevector(x, y, 0, 4, 1, 5);
    const auto yz = __builtin_shufflevector(y, z, 1, 5, 2, 6);
    const auto zx = __builtin_shufflevector(z, x, 2, 7, 3, 3);
    store(__builtin_shufflevector(xy, z, 0, 1, 4, 2), points);
    store(__builtin_shufflevector(yz, x, 0, 1, 6, 2), points + 4);
    store(__builtin_shufflevector(zx, y, 0, 1, 7, 2), points + 8);
}

TIOMIPRA_INLINE void storeInterleaved(const Vectors<8>::Floats& x, const Vectors<8>::Floats& y,
                                      const Vectors<8>::Floats& z, float* points) {
    // First x and y at their places, and lane 0 wherever z follows.
    const auto first = __builtin_shufflevector(x, y, 0, 8, 0, 1, 9, 0, 2, 10);
    const auto second = __builtin_shufflevector(x, y, 0, 3, 11, 0, 4, 12, 0, 5);
    const auto third = __builtin_shufflevector(x, y, 13, 0, 6, 14, 0, 7, 15, 0);
    store(__builtin_shufflevector(first, z, 0, 1, 8, 3, 4, 9, 6, 7), points);
    store(__builtin_shufflevector(second, z, 10, 1, 2, 11, 4, 5, 12, 7), points + 8);
    store(__builtin_shufflevector(third, z, 0, 13, 2, 3, 14, 5, 6, 15), points + 16);
}

// The points of `lanes` pixels side by side.
template <int lanes>
TIOMIPRA_INLINE void reprojectBlock(const float* disparities, const double* xs, const Row& row,
                                    float* points) {
    using Floats = typename Vectors<lanes>::Floats;
    using Doubles = typename Vectors<lanes>::Doubles;
    // OpenCV takes this disparity for a missing one, even when it is told that none is missing.
    constexpr float missingDisparity = FLT_MAX;
    constexpr float missingDepth = 10000.F;

    Floats disparity;
    std::memcpy(&disparity, disparities, sizeof disparity);
    Doubles homogeneousX;
    std::memcpy(&homogeneousX, xs, sizeof homogeneousX);

    const auto d = __builtin_convertvector(disparity, Doubles);
    const Doubles inverseW = 1. / (row.wPerDisparity * d + row.wOffset + 0. * d);
    const auto x = __builtin_convertvector(homogeneousX * inverseW, Floats);
    const auto y = __builtin_convertvector(row.y * inverseW, Floats);
    auto z = __builtin_convertvector(row.z * inverseW, Floats);
    const Floats zero{};
    z = disparity == missingDisparity ? zero + missingDepth : z;
    const auto blank =
        (z > row.limits.maxDepth) | (z < 0.F) | (disparity < row.limits.minDisparity);
    storeInterleaved(blank ? zero : x, blank ? zero : y, blank ? zero : z, points);
}

template <int lanes>
TIOMIPRA_INLINE void reprojectRow(const float* disparities, std::ptrdiff_t columns, const Row& row,
                                  float* points) {
    std::ptrdiff_t column = 0;
    for (; column + lanes <= columns; column += lanes)
        reprojectBlock<lanes>(disparities + column, row.xs + column, row, points + 3 * column);

    const std::ptrdiff_t rest = columns - column;
    float restDisparities[lanes] = {};
    double restXs[lanes] = {};
    float restPoints[3 * lanes];
    std::copy_n(disparities + column, rest, restDisparities);
    std::copy_n(row.xs + column, rest, restXs);
    reprojectBlock<lanes>(restDisparities, restXs, row, restPoints);
    std::copy_n(restPoints, 3 * rest, points + 3 * column);
}

using RowFunction = void(const float* disparities, int columns, const Row& row, float* points);

void reprojectRowBaseline(const float* disparities, int columns, const Row& row, float* points) {
    reprojectRow<4>(disparities, columns, row, points);
}

#if defined(__x86_64__)
TIOMIPRA_FOR_AVX2 void reprojectRowAvx2(const float* disparities, int columns, const Row& row,
                                        float* points) {
    reprojectRow<8>(disparities, columns, row, points);
}

TIOMIPRA_FOR_AVX512 void reprojectRowAvx512(const float* disparities, int columns, const Row& row,
                                            float* points) {
    reprojectRow<8>(disparities, columns, row, points);
}

RowFunction* chooseRowFunction(InstructionSet instructionSet) {
    switch (instructionSet) {
        case InstructionSet::avx512:
            return reprojectRowAvx512;
        case InstructionSet::avx2:
            return reprojectRowAvx2;
        case InstructionSet::baseline:
            break;
    }
    return reprojectRowBaseline;
}
#else
RowFunction* chooseRowFunction(InstructionSet) {
    return reprojectRowBaseline;
}
#endif

// A finite matrix with zeros in all places but these:
//
//     a  0  0  b
//     0  c  0  d
//     0  0  0  e
//     0  0  f  g
bool hasRectifiedForm(const cv::Matx44d& matrix) {
    const bool isRectified = matrix(0, 1) == 0 && matrix(0, 2) == 0 && matrix(1, 0) == 0 &&
                             matrix(1, 2) == 0 && matrix(2, 0) == 0 && matrix(2, 1) == 0 &&
                             matrix(2, 2) == 0 && matrix(3, 0) == 0 && matrix(3, 1) == 0;
    return isRectified && cv::checkRange(matrix);
}

// X by column or Y by row.
double homogeneousCoordinate(double scale, int index, double offset, Rounding rounding) {
    const double coordinate = 0. + scale * index + offset;
    return rounding == Rounding::beforeDivision ? static_cast<float>(coordinate) : coordinate;
}

// The short way for one image.
class OnePass {
  public:
    OnePass(const cv::Mat& disparity, const cv::Matx44d& matrix, const Limits& limits,
            Rounding rounding, InstructionSet instructionSet)
        : _disparity(disparity),
          _matrix(matrix),
          _limits(limits),
          _rounding(rounding),
          _reprojectRow(chooseRowFunction(instructionSet)),
          _xs(static_cast<std::size_t>(disparity.cols)),
          _points(disparity.rows, disparity.cols, CV_32FC3) {
        int column = 0;
        for (double& x : _xs)
            x = homogeneousCoordinate(matrix(0, 0), column++, matrix(0, 3), rounding);
    }

    // Different rows may be processed at the same time.
    void process(const cv::Range& rows) {
        Row row{_xs.data(), 0., 0. + _matrix(2, 3), _matrix(3, 2), 0. + _matrix(3, 3), _limits};
        for (int y = rows.start; y < rows.end; ++y) {
            row.y = homogeneousCoordinate(_matrix(1, 1), y, _matrix(1, 3), _rounding);
            _reprojectRow(_disparity.ptr<float>(y), _disparity.cols, row, _points.ptr<float>(y));
        }
    }

    const cv::Mat& points() const { return _points; }

  private:
    const cv::Mat& _disparity;
    const cv::Matx44d& _matrix;
    Limits _limits;
    Rounding _rounding;
    RowFunction* _reprojectRow;
    std::vector<double> _xs;  // homogeneous, by column
    cv::Mat _points;
};

cv::Mat reprojectByOpenCv(const cv::Mat& disparity, const cv::Matx44d& matrix,
                          const Limits& limits) {
    cv::Mat points(disparity.rows, disparity.cols, CV_32FC3);
    cv::reprojectImageTo3D(disparity, points, matrix, false, CV_32F);
    for (auto& point : cv::Mat_<cv::Vec3f>(points)) {
        if (point[2] > limits.maxDepth || point[2] < 0)
            point = cv::Vec3f(0, 0, 0);
    }
    points.setTo(cv::Scalar::all(0), disparity < static_cast<double>(limits.minDisparity));
    return points;
}

// The rounding with which a small image gets the same points as from OpenCV; none if with neither.
std::optional<Rounding> findRounding() {
    // With these offsets, X and Y have more digits than a float holds.
    const cv::Matx44d matrix(1, 0, 0, -0.1F, 0, 1, 0, -0.3F, 0, 0, 0, 700, 0, 0, 8.1F, 0.7F);
    constexpr Limits noLimits{FLT_MAX, 0.F};
    cv::Mat_<float> disparity(16, 16);
    float value = 0.F;
    for (float& pixel : disparity)
        pixel = value += 0.37F;

    const cv::Mat expected = reprojectByOpenCv(disparity, matrix, noLimits);
    for (const Rounding rounding : {Rounding::afterDivision, Rounding::beforeDivision}) {
        OnePass pass(disparity, matrix, noLimits, rounding, InstructionSet::baseline);
        pass.process(cv::Range(0, disparity.rows));
        if (std::memcmp(pass.points().data, expected.data,
                        expected.total() * expected.elemSize()) == 0)
            return rounding;
    }
    return std::nullopt;
}

}  // namespace

cv::Mat reproject(const cv::Mat& disparity, const cv::Mat& reprojectionMatrix, float maxDepth,
                  float minDisparity, InstructionSet instructionSet) {
    static const std::optional<Rounding> rounding = findRounding();
    const Limits limits{maxDepth, minDisparity};
    cv::Matx44d matrix;
    reprojectionMatrix.convertTo(matrix, CV_64F);
    if (!rounding || disparity.empty() || !hasRectifiedForm(matrix))
        return reprojectByOpenCv(disparity, matrix, limits);
    OnePass pass(disparity, matrix, limits, *rounding, instructionSet);
    cv::parallel_for_(cv::Range(0, disparity.rows),
                      [&pass](const cv::Range& rows) { pass.process(rows); });
    return pass.points();
}

}  // namespace vision
