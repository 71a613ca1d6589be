#include <gmock/gmock.h>

#include <cmath>
#include <utility>

#include "support/log_capture.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;
using vision::Calibration;

constexpr cv::Mat Calibration::*matrices[] = {&Calibration::cameraMatrix, &Calibration::distortion,
                                              &Calibration::rectificationMatrix,
                                              &Calibration::projectionMatrix};

Calibration makeCalibration() {
    return makeRig().right;
}

Calibration withSize(Calibration calibration, int width, int height) {
    calibration.width = width;
    calibration.height = height;
    return calibration;
}

TEST(Calibration, CopiesShareNoBuffer) {
    Calibration source = makeCalibration();
    const cv::Mat before = source.distortion;
    source = std::as_const(source);
    EXPECT_NE(source.distortion.data, before.data);
    Calibration assigned = makeRig({{320, 240}}).left;
    EXPECT_EQ(&(assigned = source), &assigned);
    const Calibration copied(source);
    const Calibration moved(std::move(source));  // NOLINT(performance-move-const-arg): it copies
    for (const Calibration& copy : {std::cref(assigned), std::cref(copied), std::cref(moved)}) {
        EXPECT_EQ(copy, makeCalibration());
        for (const auto matrix : matrices)
            EXPECT_NE((copy.*matrix).data, (source.*matrix).data);
    }
    EXPECT_EQ(source, makeCalibration());
}

TEST(Calibration, EqualityIsExactAndStopsAtTheFirstDifference) {
    const Calibration reference = makeCalibration();
    Calibration different = reference;
    EXPECT_TRUE(reference == different && !(reference != different));
    for (int i = 3; i >= 0; --i) {
        // The matrices behind this one can't be compared.
        cv::Mat& matrix = different.*matrices[i];
        matrix.at<float>(0, 0) = std::nextafter(matrix.at<float>(0, 0), 1e9F);
        EXPECT_TRUE(reference != different && !(reference == different));
        matrix = cv::Mat();
        EXPECT_THROW((void)(reference == different), cv::Exception);
    }
    EXPECT_TRUE(reference != withSize(different, reference.width + 1, reference.height));
    EXPECT_TRUE(reference != withSize(different, reference.width, reference.height + 1));

    const auto with = [](const cv::Mat& distortion) {
        Calibration calibration;
        calibration.distortion = distortion;
        return calibration;
    };
    const cv::Mat floats(1, 5, CV_32F, cv::Scalar(std::nanf(""))), pairs(1, 5, CV_32FC2);
    EXPECT_TRUE(with({}) == with(cv::Mat(0, 3, CV_32F)));
    EXPECT_TRUE(with(floats) != with(floats));
    EXPECT_THROW((void)(with(floats) == with(cv::Mat(1, 5, CV_64F))), cv::Exception);
    EXPECT_THROW((void)(with(pairs) == with(pairs)), cv::Exception);
}

class CalibrationFile : public testing::Test {
  protected:
    const ScratchFolder _folder;
    const std::string _path = _folder.path("rig.yml");
    LogCapture _log;
};

TEST_F(CalibrationFile, RoundTripKeepsEveryFieldInEverySyntax) {
    Calibration saved = makeCalibration();
    saved.cameraMatrix.convertTo(saved.cameraMatrix, CV_64F);
    saved.distortion = cv::Mat();
    // What follows a "?" or ".gz" is an option of OpenCV's and no part of the file's name.
    const std::pair<std::string, std::string> cases[] = {
        {"a.yml", "%YAML"},   {"a.xml", "<?xml"},       {"a.json", "{"},
        {"a", "%YAML"},       {"a.yml.gz", "\x1f\x8b"}, {"a.json.gz", "\x1f\x8b"},
        {"a.xml.gz9", ""},    {"a.yml.gzz", "%YAML"},   {"b.yml?base64", ""},
        {"b.xml?base64", ""}, {"b.json?base64", ""}};
    for (const auto& [name, beginning] : cases) {
        const std::string path = _folder.write(name, "what was there");
        saved.save(path);
        EXPECT_THAT(readFile(path), StartsWith(beginning));
        Calibration loaded = makeRig({{320, 240}}).left;
        cv::Mat takenBefore = loaded.projectionMatrix;
        takenBefore = 7;
        loaded.load(path);
        EXPECT_EQ(loaded, saved);
        EXPECT_EQ(loaded.cameraMatrix.type(), CV_64F);
        EXPECT_EQ(cv::countNonZero(takenBefore != 7), 0);

        std::vector<std::string> written;
        const cv::FileStorage storage(path, cv::FileStorage::READ);
        for (const cv::FileNode& node : storage.root())
            written.push_back(node.name());
        EXPECT_THAT(written, ElementsAre("width", "height", "cameraMatrix", "distortion",
                                         "rectificationMatrix", "projectionMatrix"));
    }
}

TEST_F(CalibrationFile, SizesAreConvertedToInt) {
    const std::pair<std::string, int> cases[] = {
        {"640", 640},    {"-3", -3},           {"639.5", 640},           {"640.5", 640},
        {"640.51", 641}, {"wide", 2147483647}, {"[ 1, 2 ]", 2147483647}, {"{ a: 1 }", 2147483647}};
    for (const auto& [text, value] : cases) {
        Calibration calibration = makeCalibration();
        calibration.load(_folder.write(
            "rig.yml", "%YAML:1.0\n---\nheight: " + text + "\nother: 7\nwidth: " + text + "\n"));
        EXPECT_EQ(calibration, withSize({}, value, value));
    }
}

TEST_F(CalibrationFile, ThatCannotBeOpenedIsNoError) {
    Calibration calibration = makeCalibration();
    EXPECT_NO_THROW(calibration.save(_folder.path("missing/rig.yml")));
    for (const std::string& name : {_path, std::string("n")}) {
        calibration.load(name);
        EXPECT_EQ(calibration, Calibration());
    }
}

TEST_F(CalibrationFile, ThatIsMalformedKeepsTheFieldsReadBefore) {
    _folder.write("rig.yml",
                  "%YAML:1.0\n---\nwidth: 64\nheight: 48\ncameraMatrix: !!opencv-matrix\n"
                  "   rows: 1\n   cols: 2\n   dt: f\n   data: [ 7., 8. ]\ndistortion: 5\n");
    Calibration calibration = makeCalibration();
    EXPECT_THROW(calibration.load(_path), cv::Exception);
    EXPECT_THAT(_log.takeLines(),
                ElementsAre(StartsWith("error vision.stereo.calibration load: Cannot read "
                                       "calibration file \"" +
                                       _path + "\": OpenCV(")));
    Calibration expected = withSize(makeCalibration(), 64, 48);
    expected.cameraMatrix = (cv::Mat_<float>(1, 2) << 7, 8);
    EXPECT_EQ(calibration, expected);
}

// The record with what is in pixels multiplied by `s`.
Calibration scaled(Calibration calibration, int width, int height, float s) {
    calibration = withSize(calibration, width, height);
    for (const auto& [row, column] : {std::pair(0, 0), {1, 1}, {0, 2}, {1, 2}, {0, 3}, {1, 3}}) {
        if (column < 3)
            calibration.cameraMatrix.at<float>(row, column) *= s;
        calibration.projectionMatrix.at<float>(row, column) *= s;
    }
    return calibration;
}

TEST(CalibrationScaling, MultipliesWhatIsInPixels) {
    Calibration source = makeCalibration();
    for (const auto matrix : matrices)
        cv::randu(source.*matrix, -1000, 1000);
    const Calibration copy = source;
    const std::tuple<int, int, float> cases[] = {
        {320, 240, 0.5F}, {1280, 960, 2.F}, {0, 0, 0.F}, {212, 159, 212.F / 640.F}};
    for (const auto& [width, height, scale] : cases)
        EXPECT_EQ(source.scaleTo(width, height), scaled(source, width, height, scale));
    EXPECT_EQ(source, copy);
    // The products of the sides are compared, and wrap.
    const Calibration square = withSize(source, 65536, 65536);
    EXPECT_EQ(square.scaleTo(1, 65537), scaled(square, 1, 65537, 1.F / 65536.F));
    // No more of the matrices is needed.
    source.cameraMatrix = source.cameraMatrix.rowRange(0, 2);
    source.projectionMatrix = source.projectionMatrix.rowRange(0, 2);
    EXPECT_EQ(source.scaleTo(320, 240), scaled(source, 320, 240, 0.5F));
}

}  // namespace
}  // namespace tiomipra::test
