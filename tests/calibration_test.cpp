#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>
#include <vision/calibration.hpp>

#include "support/log_capture.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using vision::Calibration;
using Change = std::function<void(Calibration&)>;

constexpr cv::Mat Calibration::*matrices[] = {&Calibration::cameraMatrix, &Calibration::distortion,
                                              &Calibration::rectificationMatrix,
                                              &Calibration::projectionMatrix};

constexpr const char* names[] = {"cameraMatrix", "distortion", "rectificationMatrix",
                                 "projectionMatrix"};

Calibration makeCalibration() {
    return makeRig().right;
}

Calibration changed(Calibration calibration, const Change& change) {
    change(calibration);
    return calibration;
}

void expectSame(const Calibration& actual, const Calibration& expected) {
    EXPECT_EQ(actual.width, expected.width);
    EXPECT_EQ(actual.height, expected.height);
    for (int i = 0; i < 4; ++i)
        EXPECT_THAT(actual.*matrices[i], IsSameMatrix(expected.*matrices[i])) << names[i];
}

TEST(Calibration, IsEmptyAtFirst) {
    const Calibration calibration;
    expectSame(calibration, changed(makeCalibration(), [](Calibration& c) {
                   c.width = c.height = 0;
                   for (const auto matrix : matrices)
                       c.*matrix = cv::Mat();
               }));
    EXPECT_TRUE(calibration == Calibration());
}

TEST(Calibration, CopiesShareNoBuffer) {
    Calibration source = makeCalibration();
    const Calibration original = makeCalibration();
    Calibration assigned = makeRig({{320, 240}}).left;
    EXPECT_EQ(&(assigned = source), &assigned);
    const Calibration copied(source);
    const Calibration moved(std::move(source));
    for (const Calibration* copy : {&std::as_const(assigned), &copied, &moved}) {
        expectSame(*copy, original);
        for (const auto matrix : matrices)
            EXPECT_NE((copy->*matrix).data, (source.*matrix).data);
    }
    expectSame(source, original);
}

TEST(Calibration, AssignmentToItselfGivesNewBuffers) {
    Calibration calibration = makeCalibration();
    const cv::Mat before[] = {calibration.cameraMatrix, calibration.distortion,
                              calibration.rectificationMatrix, calibration.projectionMatrix};
    const Calibration& itself = calibration;
    calibration = itself;
    for (int i = 0; i < 4; ++i) {
        EXPECT_THAT(calibration.*matrices[i], IsSameMatrix(before[i]));
        EXPECT_NE((calibration.*matrices[i]).data, before[i].data);
    }
}

TEST(Calibration, EqualityIsExactAndStopsAtTheFirstDifference) {
    const auto shorter = [](Calibration& c) { c.distortion = c.distortion.colRange(0, 4); };
    const Calibration reference = makeCalibration();
    EXPECT_TRUE(reference == makeCalibration());
    EXPECT_FALSE(reference != makeCalibration());

    std::vector<Change> changes = {[](Calibration& c) { c.width = 641; },
                                   [](Calibration& c) { c.height = 481; }};
    for (const auto matrix : matrices)
        changes.push_back([matrix](Calibration& c) {
            float& element = (c.*matrix).at<float>(0, 0);
            element = std::nextafter(element, 1e9F);
        });
    for (std::size_t i = 0; i < changes.size(); ++i) {
        Calibration different = changed(reference, changes[i]);
        // What comes after the first difference is not looked at, comparable or not.
        if (i < 3)
            shorter(different);
        EXPECT_TRUE(reference != different) << i;
        EXPECT_FALSE(reference == different) << i;
    }
    EXPECT_THROW((void)(reference == changed(reference, shorter)), cv::Exception);
}

TEST(Calibration, EqualityOfUnusualMatrices) {
    const auto with = [](const cv::Mat& matrix) {
        return changed(makeCalibration(), [&matrix](Calibration& c) { c.distortion = matrix; });
    };
    const cv::Mat floats = cv::Mat::ones(1, 5, CV_32F);
    EXPECT_TRUE(with({}) == with(cv::Mat(0, 3, CV_32F)));
    const cv::Mat notANumber(1, 5, CV_32F, cv::Scalar(std::nanf("")));
    EXPECT_TRUE(with(notANumber) != with(notANumber));
    const std::vector<std::pair<cv::Mat, cv::Mat>> incomparable = {
        {floats, {}},
        {{}, floats},
        {floats, cv::Mat::ones(1, 4, CV_32F)},
        {floats, cv::Mat::ones(1, 5, CV_64F)},
        {cv::Mat::ones(1, 5, CV_32FC2), cv::Mat::ones(1, 5, CV_32FC2)}};
    for (const auto& [a, b] : incomparable) {
        EXPECT_THROW((void)(with(a) == with(b)), cv::Exception) << a << " " << b;
        EXPECT_THROW((void)(with(a) != with(b)), cv::Exception) << a << " " << b;
    }
}

struct Syntax {
    const char* name;
    const char* beginning;
};

void PrintTo(const Syntax& syntax, std::ostream* out) {
    *out << syntax.name;
}

class CalibrationFile : public testing::TestWithParam<Syntax> {
  protected:
    const ScratchFolder _folder;
};

TEST_P(CalibrationFile, RoundTripKeepsEveryField) {
    const std::string path = _folder.path(GetParam().name);
    const Calibration saved = changed(makeCalibration(), [](Calibration& c) {
        c.cameraMatrix.convertTo(c.cameraMatrix, CV_64F);
        c.distortion = cv::Mat();
    });
    _folder.write(GetParam().name, "what was there");
    saved.save(path);
    EXPECT_THAT(readFile(path), StartsWith(GetParam().beginning));
    Calibration loaded = makeRig({{320, 240}}).left;
    loaded.load(path);
    expectSame(loaded, saved);

    std::vector<std::string> keys;
    const cv::FileStorage storage(path, cv::FileStorage::READ);
    for (const cv::FileNode& node : storage.root())
        keys.push_back(node.name());
    EXPECT_THAT(keys, ElementsAre("width", "height", "cameraMatrix", "distortion",
                                  "rectificationMatrix", "projectionMatrix"));
}

INSTANTIATE_TEST_SUITE_P(Syntaxes, CalibrationFile,
                         testing::Values(Syntax{"rig.yml", "%YAML"}, Syntax{"rig.xml", "<?xml"},
                                         Syntax{"rig.json", "{"}, Syntax{"rig", "%YAML"}));

class CalibrationDocument : public testing::Test {
  protected:
    // Loads a YAML document into a record that holds something already.
    Calibration load(const std::string& content) {
        Calibration calibration = makeRig({{320, 240}}).left;
        calibration.load(_folder.write("rig.yml", "%YAML:1.0\n---\n" + content));
        return calibration;
    }

    const ScratchFolder _folder;
};

TEST_F(CalibrationDocument, SizesAreConvertedToInt) {
    const std::pair<const char*, int> cases[] = {{"width: 640\n", 640},
                                                 {"width: -3\n", -3},
                                                 {"width: 639.5\n", 640},
                                                 {"width: 640.5\n", 640},
                                                 {"width: 640.51\n", 641},
                                                 {"other: 1\n", 0},
                                                 {"width: wide\n", 2147483647},
                                                 {"width: [ 1, 2 ]\n", 2147483647},
                                                 {"width: { a: 1 }\n", 2147483647}};
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(load(content).width, expected) << content;
        const std::string height = std::string(content).replace(0, 5, "height");
        if (expected != 0) {
            EXPECT_EQ(load(height).height, expected) << height;
        }
    }
}

TEST_F(CalibrationDocument, MissingKeysGiveEmptyMatrices) {
    expectSame(load("height: 480\nwidth: 640\nunknown: 3\n"), changed({}, [](Calibration& c) {
                   c.width = 640;
                   c.height = 480;
               }));
}

TEST_F(CalibrationDocument, FileThatDoesNotExistGivesAnEmptyRecord) {
    LogCapture log;
    Calibration calibration = makeCalibration();
    calibration.load(_folder.path("nothing.yml"));
    expectSame(calibration, Calibration());
    EXPECT_THAT(log.takeLines(),
                ElementsAre(StartsWith("verbose vision.stereo.calibration load: Load calibration "
                                       "file: \"" +
                                       _folder.path("nothing.yml") + "\"\nWidth: 0")));
}

TEST_F(CalibrationDocument, LoadLeavesMatricesTakenEarlierAlone) {
    const std::string path = _folder.path("rig.yml");
    makeRig().left.save(path);
    Calibration calibration = makeCalibration();
    const cv::Mat taken = calibration.projectionMatrix;
    calibration.load(path);
    EXPECT_THAT(taken, IsSameMatrix(makeCalibration().projectionMatrix));
}

TEST_F(CalibrationDocument, FailureKeepsTheFieldsReadBefore) {
    const std::string matrix =
        "cameraMatrix: !!opencv-matrix\n   rows: 1\n   cols: 2\n   dt: f\n   data: [ 7., 8. ]\n";
    const std::string path = _folder.write(
        "rig.yml", "%YAML:1.0\n---\nwidth: 64\nheight: 48\n" + matrix + "distortion: 5\n");
    const Calibration before = makeCalibration();
    Calibration calibration = before;
    LogCapture log;
    try {
        calibration.load(path);
        FAIL() << "loaded";
    } catch (const cv::Exception& exception) {
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("error vision.stereo.calibration load: Cannot read calibration "
                                "file \"" +
                                path + "\": " + exception.what()));
    }
    expectSame(calibration, changed(before, [](Calibration& c) {
                   c.width = 64;
                   c.height = 48;
                   c.cameraMatrix = (cv::Mat_<float>(1, 2) << 7, 8);
               }));
}

TEST_F(CalibrationDocument, MalformedDocumentThrows) {
    LogCapture log;
    Calibration calibration;
    EXPECT_THROW(calibration.load(_folder.write("rig.xml", "not XML")), cv::Exception);
    EXPECT_THAT(log.takeLines(),
                ElementsAre(StartsWith("error vision.stereo.calibration load: Cannot read ")));
}

TEST_F(CalibrationDocument, LoadAndSaveLogWhatTheyDo) {
    const Calibration calibration = makeCalibration();
    const std::string path = _folder.path("rig.yml");
    LogCapture log;
    calibration.save(path);
    const std::string save = "verbose vision.stereo.calibration save: ";
    EXPECT_THAT(
        log.takeLines(),
        ElementsAre(save + "Write calibration width.", save + "Write calibration height.",
                    save + "Write camera matrix.", save + "Write distortion matrix.",
                    save + "Write rectification matrix.", save + "Write projection matrix."));
    Calibration().load(path);
    std::ostringstream expected;
    expected << "verbose vision.stereo.calibration load: Load calibration file: \"" << path
             << "\"\nWidth: 640\nHeight: 480\nCamera matrix: " << calibration.cameraMatrix
             << "\nDistortion: " << calibration.distortion
             << "\nRectification matrix: " << calibration.rectificationMatrix
             << "\nProjection matrix: " << calibration.projectionMatrix;
    EXPECT_THAT(log.takeLines(), ElementsAre(expected.str()));
}

TEST_F(CalibrationDocument, EmptyNamesAreRefused) {
    LogCapture log;
    Calibration calibration = makeCalibration();
    EXPECT_THAT([&] { calibration.load(""); },
                Refuses<std::invalid_argument>("Invalid calibration file: \"\"."));
    EXPECT_THAT([&] { calibration.save(""); },
                Refuses<std::invalid_argument>("Invalid calibration save file: "));
    EXPECT_THAT(log.takeLines(),
                ElementsAre("error vision.stereo.calibration load: Invalid calibration file: "
                            "\"\".",
                            "error vision.stereo.calibration save: Invalid calibration save "
                            "file: "));
    expectSame(calibration, makeCalibration());
}

TEST_F(CalibrationDocument, SaveIntoAMissingFolderCreatesNothing) {
    EXPECT_NO_THROW(makeCalibration().save(_folder.path("missing/rig.yml")));
    EXPECT_FALSE(std::filesystem::exists(_folder.path("missing")));
}

// The record scaled by `s`, element by element.
Calibration scaled(Calibration calibration, int width, int height, float s) {
    calibration.width = width;
    calibration.height = height;
    const std::pair<int, int> elements[] = {{0, 0}, {1, 1}, {0, 2}, {1, 2}, {0, 3}, {1, 3}};
    for (const auto& [row, column] : elements) {
        if (column < 3)
            calibration.cameraMatrix.at<float>(row, column) *= s;
        calibration.projectionMatrix.at<float>(row, column) *= s;
    }
    return calibration;
}

TEST(CalibrationScaling, MultipliesThePixelQuantities) {
    const Calibration source = changed(makeCalibration(), [](Calibration& c) {
        for (const auto matrix : matrices)
            cv::randu(c.*matrix, -1000, 1000);
    });
    const Calibration copy = source;
    const std::tuple<int, int, float> cases[] = {
        {320, 240, 0.5F}, {1280, 960, 2.F},   {640, 480, 1.F},          {4, 3, 0.00625F},
        {0, 0, 0.F},      {-640, -480, -1.F}, {212, 159, 212.F / 640.F}};
    for (const auto& [width, height, scale] : cases) {
        SCOPED_TRACE(width);
        expectSame(source.scaleTo(width, height), scaled(source, width, height, scale));
    }
    EXPECT_THROW(source.scaleTo(1, 1), std::invalid_argument);
    expectSame(source, copy);
}

TEST(CalibrationScaling, AspectRatioIsComparedByProductsThatWrap) {
    const Calibration square =
        changed(makeCalibration(), [](Calibration& c) { c.width = c.height = 65536; });
    expectSame(square.scaleTo(1, 65537), scaled(square, 1, 65537, 1.F / 65536.F));
    EXPECT_THROW(square.scaleTo(1, 65538), std::invalid_argument);
    const Calibration largest = changed(makeCalibration(), [](Calibration& c) {
        c.width = c.height = std::numeric_limits<int>::max();
    });
    EXPECT_EQ(largest.scaleTo(-2, -2).height, -2);
}

TEST(CalibrationScaling, RefusesWhatItCannotScale) {
    const auto set = [](cv::Mat Calibration::*matrix, const cv::Mat& value) {
        return [matrix, value](Calibration& c) { c.*matrix = value; };
    };
    const auto camera = &Calibration::cameraMatrix;
    const auto projection = &Calibration::projectionMatrix;
    const std::pair<Change, std::string> cases[] = {
        {[](Calibration& c) { c.height = 481; }, "Invalid aspect ratio for new calibration"},
        {[](Calibration& c) { c.width = c.height = 0; },
         "width of the calibration is 0, must not be 0 to be scaled"},
        {set(camera, {}), "cameraMatrix is 0x0 CV_8UC1, must be at least 2x3 CV_32FC1"},
        {set(camera, cv::Mat::eye(3, 3, CV_64F)),
         "cameraMatrix is 3x3 CV_64FC1, must be at least 2x3 CV_32FC1"},
        {set(camera, cv::Mat::eye(1, 3, CV_32F)),
         "cameraMatrix is 1x3 CV_32FC1, must be at least 2x3 CV_32FC1"},
        {set(projection, cv::Mat::eye(3, 3, CV_32F)),
         "projectionMatrix is 3x3 CV_32FC1, must be at least 2x4 CV_32FC1"},
        {set(projection, cv::Mat::zeros(3, 4, CV_32FC2)),
         "projectionMatrix is 3x4 CV_32FC2, must be at least 2x4 CV_32FC1"},
        {set(projection, cv::Mat(std::vector<int>{2, 4, 2}, CV_32F, cv::Scalar(0))),
         "projectionMatrix is 3-dimensional CV_32FC1, must be at least 2x4 CV_32FC1"}};
    LogCapture log;
    for (const auto& [change, complaint] : cases) {
        const Calibration calibration = changed(makeCalibration(), change);
        EXPECT_THAT([&] { (void)calibration.scaleTo(320, 240); },
                    Refuses<std::invalid_argument>(complaint));
        EXPECT_THAT(log.takeLines(),
                    ElementsAre("error vision.stereo.calibration scaleTo: " + complaint));
    }
    const Calibration smallest = changed(makeCalibration(), [](Calibration& c) {
        c.cameraMatrix = c.cameraMatrix.rowRange(0, 2);
        c.projectionMatrix = c.projectionMatrix.rowRange(0, 2);
    });
    expectSame(smallest.scaleTo(320, 240), scaled(smallest, 320, 240, 0.5F));
}

}  // namespace
