#include "reprojection.hpp"

#include <cfloat>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "support/matrices.hpp"

namespace tiomipra::test {
namespace {

using vision::InstructionSet;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

// Disparities as matchers give them, and any bits that a float may have.
cv::Mat makeDisparity(const cv::Size& size, std::mt19937& random) {
    cv::Mat_<float> disparity(size);
    const float special[] = {0.F,        -0.F,          infinity, -infinity, FLT_MAX, -FLT_MAX,
                             notANumber, FLT_MIN / 3.F, FLT_MIN,  1.F,       -1.F,    0.75F};
    for (float& value : disparity) {
        const std::uint32_t bits = random();
        if (bits % 4 == 0)
            std::memcpy(&value, &bits, sizeof value);
        else {
            value = bits % 64 == 1 ? special[bits / 64 % std::size(special)]
                                   : static_cast<float>(bits % 1360) / 16.F - 5.F;
        }
    }
    return disparity;
}

// As a rectified pair has it, with random numbers; at times the zeros have a sign.
cv::Mat makeRectifiedMatrix(std::mt19937& random) {
    std::normal_distribution<float> normal;
    const float zero = random() % 2 == 0 ? 0.F : -0.F;
    const float offset = random() % 3 == 0 ? zero : normal(random);
    return (cv::Mat_<float>(4, 4) << 1, zero, 0, -300.F * normal(random),  //
            zero, normal(random), zero, 300.F * normal(random),            //
            0, zero, 0, 500.F * normal(random),                            //
            zero, 0, 9.F * normal(random), offset);
}

// With each instruction set that the processor has.
void expectWhatOpenCvGives(const cv::Mat& disparity, const cv::Mat& matrix, float maxDepth,
                           float minDisparity) {
    const cv::Mat expected = reprojectByOpenCv(disparity, matrix, maxDepth, minDisparity);
    for (const auto set :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (set > vision::findInstructionSet())
            break;
        ASSERT_THAT(vision::reproject(disparity, matrix, maxDepth, minDisparity, set),
                    IsSameMatrix(expected))
            << disparity.size() << ", limits " << maxDepth << " and " << minDisparity << "\n"
            << matrix;
    }
}

TEST(Reprojection, GivesTheBitsOfOpenCv) {
    std::mt19937 random(1);
    for (const float maxDepth : {5.F, 300.F, 20000.F, infinity, notANumber}) {
        for (const float minDisparity : {1.F, 0.F, -0.75F, infinity, -infinity, notANumber}) {
            for (const cv::Size size : {cv::Size(1, 1), {3, 2}, {9, 70}, {640, 37}, {1023, 11}}) {
                const cv::Mat disparity = makeDisparity(size, random);
                const cv::Mat matrix = makeRectifiedMatrix(random);
                for (const cv::Mat& image : {disparity, withRowStep(disparity)})
                    expectWhatOpenCvGives(image, matrix, maxDepth, minDisparity);
            }
        }
    }
}

// Each element of the matrix in turn is made what a rectified pair never has.
TEST(Reprojection, GivesTheBitsOfOpenCvForAnyMatrix) {
    std::mt19937 random(2);
    const cv::Mat disparity = makeDisparity({75, 13}, random);
    for (const float strange : {0.F, 0.01F, -3.F, 1e30F, infinity, notANumber}) {
        for (int element = 0; element < 16; ++element) {
            cv::Mat matrix = makeRectifiedMatrix(random);
            matrix.at<float>(element / 4, element % 4) = strange;
            expectWhatOpenCvGives(disparity, matrix, 1000.F, -2.F);
        }
    }
}

}  // namespace
}  // namespace tiomipra::test
