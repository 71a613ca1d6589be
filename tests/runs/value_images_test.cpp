// Disparities and depths in every format of images.
#include "commands/value_images.hpp"

#include <gmock/gmock.h>

#include <cmath>

#include "files/image_files.hpp"
#include "files/protected_files.hpp"
#include "support/matrices.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

bool isWarm(const cv::Vec3b& colour) {
    return colour[2] > colour[0];
}

// The left part 2, the right one 9.5, what is between was not measured.
class ValueImages : public testing::TestWithParam<Quantity> {
  protected:
    ValueImages() : _values(60, 360, CV_32FC1, 2.F), _measured(60, 360, CV_8UC1, 255) {
        _values.colRange(120, 360) = 9.5F;
        _measured.colRange(120, 240) = 0;
    }

    cv::Mat read(const std::string& extension) const {
        return readImage(_folder.path("a_" + nameOf(GetParam()) + extension), Pixels::asStored);
    }

    cv::Mat marked(float mark) const {
        cv::Mat values = _values.clone();
        values.colRange(120, 240) = mark;
        return values;
    }

    const ScratchFolder _folder;
    cv::Mat _values;
    cv::Mat _measured;
};

TEST_P(ValueImages, HoldTheMeasuredValuesInEveryFormat) {
    const ProtectedFiles inputs({});
    PairFiles files(_folder.path(""), "a", inputs);
    MatchingOptions options;
    options.formats = {"tiff", "pfm", "npy", "png", "picture"};
    const double step = 1. / 8000;  // 9.5 of these are more than 65535
    const PairMeasurement measurement =
        writeValues("a", {GetParam(), _values, _measured, "m", step}, options, files);
    const std::string name = "a_" + nameOf(GetParam());
    EXPECT_THAT(files.names(), ElementsAre(name + ".tiff", name + ".pfm", name + ".npy",
                                           name + ".png", name + "_picture.png"));
    EXPECT_EQ(measurement.quantity, GetParam());
    EXPECT_EQ(measurement.statistics.count, 2U * 120 * 60);
    EXPECT_EQ(measurement.statistics.largest, 9.5);
    EXPECT_EQ(measurement.png->step, step);
    EXPECT_EQ(measurement.png->outOfRange, 120 * 60);

    EXPECT_THAT(read(".tiff"), IsSameMatrix(marked(std::nanf(""))));
    EXPECT_THAT(read(".pfm"), IsSameMatrix(marked(infinity)));
    // NumPy's format 1.0: the description ends at a multiple of 64 bytes.
    const std::string npy = readFile(_folder.path(name + ".npy"));
    EXPECT_EQ(npy.substr(0, 72), std::string("\x93NUMPY\x01\0\x76\0", 10) +
                                     "{'descr': '<f4', 'fortran_order': False, 'shape': (60, 360), "
                                     "}");
    EXPECT_EQ(npy[127], '\n');
    ASSERT_EQ(npy.size(), 128U + 60 * 360 * 4);
    EXPECT_THAT(cv::Mat(60, 360, CV_32FC1, const_cast<char*>(npy.data() + 128)),
                IsSameMatrix(marked(std::nanf(""))));
    cv::Mat png(60, 360, CV_16UC1, cv::Scalar(0));
    png.colRange(0, 120) = 16000;
    EXPECT_THAT(read(".png"), IsSameMatrix(png));
    const cv::Mat picture = read("_picture.png");
    EXPECT_EQ(isWarm(picture.at<cv::Vec3b>(10, 60)), GetParam() == Quantity::depth) << "near";
    EXPECT_EQ(isWarm(picture.at<cv::Vec3b>(10, 300)), GetParam() == Quantity::disparity);
    EXPECT_EQ(picture.at<cv::Vec3b>(10, 180), cv::Vec3b::all(48)) << "no value";
}

INSTANTIATE_TEST_SUITE_P(Quantities, ValueImages,
                         testing::Values(Quantity::disparity, Quantity::depth));

}  // namespace
}  // namespace tiomipra::test
