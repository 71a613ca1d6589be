// What is told of a pair, and of how good its disparities are.
#include "reports/measurement_report.hpp"

#include <gmock/gmock.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>
#include <opencv2/core.hpp>

#include "reports/evaluation_report.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

// 1 to 200, of which the first 100 were not measured.
PairMeasurement sample(Quantity quantity) {
    cv::Mat values(10, 20, CV_32FC1);
    std::iota(values.begin<float>(), values.end<float>(), 1.F);
    cv::Mat measured(values.size(), CV_8UC1, cv::Scalar(255));
    measured.rowRange(0, 5) = 0;
    PairMeasurement measurement = measure(quantity, values, measured);
    measurement.png = {0.5, 7};
    measurement.camera = {500, {320.25, 240.5}, 0.125, 19.75};
    measurement.unit = "m";
    return measurement;
}

TEST(MeasurementReport, TellsProgramsWhatWasMeasured) {
    const auto json = toJson(sample(Quantity::depth));
    EXPECT_EQ(json["width"], 20);
    EXPECT_EQ(json["height"], 10);
    EXPECT_EQ(json["measuredPixels"], 100);
    EXPECT_EQ(json["measuredShare"], 0.5);
    EXPECT_EQ(json["outOfRangeOfPng"], 7);
    EXPECT_EQ(json["pngStep"], 0.5);
    EXPECT_EQ(json["camera"].dump(),
              R"({"matrix":[[500.0,0,320.25],[0,500.0,240.5],[0,0,1]],"baseline":0.125,)"
              R"("disparityAtInfinity":19.75,"unit":"m"})");
    // Of 100 values the first, second, sixth, 51st, 96th and last two.
    EXPECT_EQ(json["depth"].dump(),
              R"({"smallest":101.0,"percentile1":102.0,"percentile5":106.0,"median":151.0,)"
              R"("percentile95":196.0,"percentile99":200.0,"largest":200.0})");
    EXPECT_TRUE(toJson(sample(Quantity::disparity)).contains("disparity"));
}

TEST(MeasurementReport, TellsPeopleTheSame) {
    const std::string start = "100 of 200 pixels measured (50.0 %), depth 101 to 200, median 151";
    const std::string end = ", 7 outside of what the 16-bit PNG holds (0.5 to 32767.5)";
    PairMeasurement measurement = sample(Quantity::depth);
    EXPECT_EQ(summaryOf(measurement), start + end);
    measurement.unit.reset();
    EXPECT_EQ(summaryOf(measurement), start + ", PNG in steps of 0.5" + end);
    EXPECT_TRUE(toJson(measurement)["camera"]["unit"].is_null());
    measurement.png->outOfRange = 0;
    measurement.quantity = Quantity::disparity;
    EXPECT_THAT(summaryOf(measurement), testing::EndsWith("disparity 101 to 200, median 151"));
}

FileEvaluation masked() {
    Evaluation evaluation;
    evaluation.known = 900;
    evaluation.measured = 700;
    evaluation.density = 7. / 9;
    evaluation.amongMeasured = {{0.5, 0.25, 0.125, 0.0625}, 0.03};
    evaluation.amongKnown = {{0.6, 0.35, 0.225, 0.1625}, 0.04};
    evaluation.averageError = 0.75;
    evaluation.rootMeanSquareError = 1.25;
    Evaluation nonOccluded;
    nonOccluded.known = 5;
    nonOccluded.density = std::nan("");
    return {{"found.pfm", "truth.pfm", "mask.png"}, evaluation, nonOccluded};
}

TEST(EvaluationReport, IsATable) {
    for (const char* part :
         {"bad-0.5   bad-1   bad-2   bad-4      D1\nfound.pfm against truth.pfm\n",
          "  all: 900 pixels known, 77.78 % of them measured, error 0.750 px average, 1.250 RMS\n"
          "    measured                           50.00   25.00   12.50    6.25    3.00\n"
          "    known, bad where not measured      60.00   35.00   22.50   16.25    4.00\n",
          "  non-occluded: 5 pixels known, none of them measured\n"})
        EXPECT_THAT(printTable({masked()}), HasSubstr(part));
}

// In percent.
TEST(EvaluationReport, IsJson) {
    const auto json = toJson(masked());
    const auto& all = json["all"];
    EXPECT_EQ(all["known"], 900);
    EXPECT_EQ(all["measured"], 700);
    EXPECT_DOUBLE_EQ(all["density"], 700. / 9);
    EXPECT_EQ(all["averageError"], 0.75);
    EXPECT_EQ(all["rmsError"], 1.25);
    EXPECT_EQ(all["percentOfMeasured"].dump(),
              R"({"bad0.5":50.0,"bad1":25.0,"bad2":12.5,"bad4":6.25,"d1":3.0})");
    EXPECT_EQ(all["percentOfKnown"]["bad4"], 16.25);
    EXPECT_EQ(json["nonOccluded"]["known"], 5);
}

}  // namespace
}  // namespace tiomipra::test
