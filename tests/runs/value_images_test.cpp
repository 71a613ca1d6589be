// Disparities and depths in every format of images.
#include "commands/value_images.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>

#include "files/image_files.hpp"
#include "files/protected_files.hpp"
#include "support/matrices.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

// The left third is 2, the right one 9.5, what is between was not measured. 9.5 takes more than
// 65535 steps.
TEST(ValueImages, HoldTheMeasuredValuesInEveryFormat) {
    cv::Mat values(60, 360, CV_32FC1, 9.5F), measured(60, 360, CV_8UC1, 255);
    values.colRange(0, 120) = 2;
    measured.colRange(120, 240) = 0;
    cv::Mat nans = values.clone(), infinities = values.clone(), png(60, 360, CV_16UC1);
    nans.colRange(120, 240) = std::nanf("");
    infinities.colRange(120, 240) = infinity;
    png = 0;
    png.colRange(0, 120) = 16000;
    MatchingOptions options;
    options.formats = {"tiff", "pfm", "npy", "png", "picture", "confidence", "reasons"};
    for (const Quantity quantity : {Quantity::disparity, Quantity::depth}) {
        const ScratchFolder folder;
        const ProtectedFiles inputs({});
        BatchOptions batch;
        batch.output = folder.path("");
        PairFiles files(batch, "a", inputs);
        const cv::Mat reasons = ~measured & static_cast<int>(Reason::speckle);
        const cv::Mat confidence = measured / 2;
        const PairMeasurement measurement = writeValues(
            "a", {quantity, values, measured, reasons, confidence, "m", 1. / 8000}, options, files);
        files.publish();
        EXPECT_EQ(measurement.png->step, 1. / 8000);
        EXPECT_EQ(measurement.png->outOfRange, 120 * 60);
        const std::string name = "a_" + nameOf(quantity);
        EXPECT_THAT(files.names(), ElementsAre(name + ".tiff", name + ".pfm", name + ".npy",
                                               name + ".png", name + "_confidence.png",
                                               name + "_reasons.png", name + "_picture.png"));
        const auto read = [&](const std::string& extension) {
            return readImage(folder.path(name + extension), Pixels::asStored);
        };
        EXPECT_THAT(read(".tiff"), IsSameMatrix(nans));
        EXPECT_THAT(read(".pfm"), IsSameMatrix(infinities));
        EXPECT_THAT(read(".png"), IsSameMatrix(png));
        EXPECT_THAT(read("_confidence.png"), IsSameMatrix(confidence));
        const cv::Mat picture = read("_reasons.png");
        EXPECT_EQ(picture.size(), cv::Size(360, 60 + 2 * 20)) << "with a legend of two lines";
        EXPECT_NE(picture.at<cv::Vec3b>(10, 180), picture.at<cv::Vec3b>(10, 60));
        // NumPy's format 1.0: the description, 118 bytes, ends at a multiple of 64.
        const std::string npy = readFile(folder.path(name + ".npy"));
        ASSERT_EQ(npy.size(), 128U + 60 * 360 * 4);
        EXPECT_EQ(npy.substr(0, 10), std::string("\x93NUMPY\x01\0\x76\0", 10));
        EXPECT_EQ(npy.substr(10, 118),
                  "{'descr': '<f4', 'fortran_order': False, 'shape': (60, 360), }" +
                      std::string(55, ' ') + "\n");
        EXPECT_EQ(std::memcmp(npy.data() + 128, nans.data, npy.size() - 128), 0);
        const auto near = read("_picture.png").at<cv::Vec3b>(10, 60);
        EXPECT_EQ(near[2] > near[0], quantity == Quantity::depth) << "warm";
    }
}

}  // namespace
}  // namespace tiomipra::test
