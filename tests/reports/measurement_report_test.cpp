// What is told of a pair, and of how good its disparities are.
#include "reports/measurement_report.hpp"

#include <gmock/gmock.h>

#include <numeric>
#include <opencv2/core.hpp>

#include "json_values.hpp"
#include "reports/evaluation_report.hpp"

namespace tiomipra::test {
namespace {

// Of 1 to 200 the first 100 were not measured. Percentiles of 100 values are the second, sixth,
// 51st, 96th and last one.
TEST(MeasurementReport, TellsWhatWasMeasured) {
    cv::Mat values(10, 20, CV_32FC1), reasons(10, 20, CV_8UC1, cv::Scalar(0));
    std::iota(values.begin<float>(), values.end<float>(), 1.F);
    reasons.rowRange(0, 5) = static_cast<int>(Reason::noTexture);
    PairMeasurement measurement = measure(Quantity::depth, values, reasons);
    measurement.png = {0.5, 7};
    measurement.camera = {500, {320.25, 240.5}, 0.125, 19.75};
    measurement.unit = "m";
    EXPECT_THAT(toJson(measurement), HoldsValues(R"({
        "width": 20, "height": 10, "measuredPixels": 100, "measuredShare": 0.5,
        "unmeasured": {"noTexture": 100, "speckle": 0}, "pngStep": 0.5, "outOfRangeOfPng": 7,
        "camera": {"matrix": [[500, 0, 320.25], [0, 500, 240.5], [0, 0, 1]],
                   "baseline": 0.125, "disparityAtInfinity": 19.75, "unit": "m"},
        "depth": {"smallest": 101, "percentile1": 102, "percentile5": 106, "median": 151,
                  "percentile95": 196, "percentile99": 200, "largest": 200}})"));
    const std::string start = "100 of 200 pixels measured (50.0 %), depth 101 to 200, median 151";
    const std::string end = ", 7 outside of what the 16-bit PNG holds (0.5 to 32767.5)";
    EXPECT_EQ(summaryOf(measurement), start + end);
    measurement.unit.reset();
    EXPECT_EQ(summaryOf(measurement), start + ", PNG in steps of 0.5" + end);
    EXPECT_TRUE(toJson(measurement)["camera"]["unit"].is_null());
    measurement.png->outOfRange = 0;
    measurement.quantity = Quantity::disparity;
    EXPECT_THAT(summaryOf(measurement), testing::EndsWith("disparity 101 to 200, median 151"));
}

// In percent.
TEST(EvaluationReport, IsATableOrJson) {
    Evaluation all, nonOccluded;
    all.known = 900;
    all.measured = 700;
    all.density = 0.75;
    all.amongMeasured = {{0.5, 0.25, 0.125, 0.0625}, 0.03};
    all.amongKnown = {{0.6, 0.35, 0.225, 0.1625}, 0.04};
    all.averageError = 0.75;
    all.rootMeanSquareError = 1.25;
    nonOccluded.known = 5;
    const FileEvaluation masked{{"found.pfm", "truth.pfm", "mask.png"}, all, nonOccluded};
    for (const char* part :
         {"bad-0.5   bad-1   bad-2   bad-4      D1\nfound.pfm against truth.pfm\n",
          "  all: 900 pixels known, 75.00 % of them measured, error 0.750 px average, 1.250 RMS\n"
          "    measured                           50.00   25.00   12.50    6.25    3.00\n"
          "    known, bad where not measured      60.00   35.00   22.50   16.25    4.00\n",
          "  non-occluded: 5 pixels known, none of them measured\n"})
        EXPECT_THAT(printTable({masked}), testing::HasSubstr(part));
    EXPECT_THAT(toJson(masked), HoldsValues(R"({
        "disparity": "found.pfm", "groundTruth": "truth.pfm", "mask": "mask.png",
        "all": {"known": 900, "measured": 700, "density": 75, "averageError": 0.75, "rmsError": 1.25,
                "percentOfMeasured": {"bad0.5": 50, "bad1": 25, "bad2": 12.5, "bad4": 6.25, "d1": 3},
                "percentOfKnown": {"bad4": 16.25}},
        "nonOccluded": {"known": 5}})"));
}

}  // namespace
}  // namespace tiomipra::test
