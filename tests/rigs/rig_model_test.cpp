// The rig before and after rectification, what its numbers say, and its files.
#include "rigs/rig_model.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <functional>

#include "base/errors.hpp"
#include "rigs/calibration_faults.hpp"
#include "rigs/document_guard.hpp"
#include "rigs/rig_files.hpp"
#include "rigs/rig_geometry.hpp"
#include "rigs/rig_model_files.hpp"
#include "rigs/row_differences.hpp"
#include "support/matrices.hpp"
#include "support/rigs.hpp"
#include "support/scratch_folder.hpp"
#include "support/synthetic_views.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;

TEST(Rectify, PutsEveryPointOnOneRowAtItsDepth) {
    const RigModel model = makeModel();
    const PointScene scene = makeScene(model, 200);
    const Matches seen = see(model, scene);
    const double baseline = cv::norm(model.rightFromLeftTranslation);
    for (const double alpha : {-1., 0., 0.5, 1.}) {
        const RectifiedRig rig = rectify(model, alpha);
        EXPECT_TRUE(findFaults(rig.left, rig.right).empty());
        const auto left = rectifyPoints(seen.left, rig.left);
        const auto right = rectifyPoints(seen.right, rig.right);
        const double focal = rig.left.projectionMatrix.at<float>(0, 0);
        const cv::Matx33d turn = cv::Mat_<double>(rig.left.rectificationMatrix);
        for (std::size_t i = 0; i < scene.size(); ++i) {
            EXPECT_NEAR(left[i].y, right[i].y, 0.01) << alpha;
            const double depth = (turn * scene[i]).z;
            EXPECT_NEAR((left[i].x - right[i].x) * depth, focal * baseline, 0.02) << alpha;
        }
    }
}

TEST(Rectify, AlphaSaysHowManyRawPixelsAreKept) {
    const RigModel model = makeModel();
    for (const double alpha : {0., 1.}) {
        const RectifiedRig rig = rectify(model, alpha);
        for (const auto* camera : {&rig.left, &rig.right}) {
            for (const auto& corner :
                 rectifyPoints({{0, 0}, {639, 0}, {0, 479}, {639, 479}}, *camera))
                EXPECT_EQ(cv::Rect2d(-2, -2, 644, 484).contains(corner), alpha == 1) << corner;
        }
    }
    EXPECT_LT(rectify(model, 1).left.projectionMatrix.at<float>(0, 0),
              rectify(model, 0.5).left.projectionMatrix.at<float>(0, 0));
    for (const double alpha : {1.01, -0.5, -2., std::nan("")})
        EXPECT_THROW(rectify(model, alpha), SettingError) << alpha;
}

double degreesOf(double tangent) {
    return std::atan(tangent) * 180 / CV_PI;
}

// The centre of the image is between pixels 319 and 320, 239 and 240, and its edges are half a
// pixel beyond the first and the last centre. The diagonal is that of a principal point in the
// middle.
TEST(DescribeCamera, MeasuresWhatTheImageShows) {
    const vision::Calibration left = makeRig().left;
    const CameraGeometry camera = describeCamera(left);
    const double cx = left.cameraMatrix.at<float>(0, 2);
    const double cy = left.cameraMatrix.at<float>(1, 2);
    EXPECT_EQ(camera.size, cv::Size(640, 480));
    EXPECT_EQ(camera.focal, cv::Point2d(520, 515));
    EXPECT_NEAR(camera.principalOffset.x, cx - 319.5, 1e-9);
    EXPECT_NEAR(camera.principalOffset.y, cy - 239.5, 1e-9);
    const FieldOfView& seen = camera.fieldOfView;
    EXPECT_NEAR(seen.horizontal, degreesOf((cx + 0.5) / 520) + degreesOf((639.5 - cx) / 520), 1e-9);
    EXPECT_NEAR(seen.vertical, degreesOf((cy + 0.5) / 515) + degreesOf((479.5 - cy) / 515), 1e-9);
    EXPECT_NEAR(seen.diagonal, 2 * degreesOf(std::hypot(320 / 520., 240 / 515.)), 1e-9);
}

TEST(DescribeGeometry, DisparitiesAreThoseOfProjectedPoints) {
    RigOptions options;
    options.baseline = 0.12F;
    for (const float rightCentre : {320.25F, 326.F}) {
        options.rightCentreX = rightCentre;
        const CalibrationPair rig = makeRig(options);
        const RigGeometry geometry = describeGeometry(rig.left, rig.right);
        EXPECT_NEAR(geometry.baseline, 0.12, 1e-7);
        EXPECT_EQ(geometry.rectifiedFocal, 500);
        EXPECT_NEAR(geometry.rectifiedFieldOfView.vertical,
                    degreesOf(237 / 500.) + degreesOf(243 / 500.), 1e-9);
        const auto disparityAt = [&](double depth) {
            return 320.25 - rightCentre + 500 * 0.12 / depth;
        };
        // From a quarter of the width of 640 to one pixel: 60 / 160 = 0.375 to 60.
        EXPECT_EQ(geometry.depthSteps.front().depth, 0.5);
        EXPECT_EQ(geometry.depthSteps.back().depth, 50);
        for (const DepthStep& step : geometry.depthSteps) {
            EXPECT_NEAR(step.disparity, disparityAt(step.depth), 1e-3);
            EXPECT_NEAR(geometry.disparity.depthAt(step.disparity), step.depth, 1e-9);
            // One step of 1/16 pixel more is nearer by the resolution.
            EXPECT_NEAR(disparityAt(step.depth - step.resolution), step.disparity + 1. / 16, 1e-3);
        }
    }
}

class RigFiles : public testing::Test {
  protected:
    RigFiles() {
        const CalibrationPair rig = makeRig();
        rig.left.save(_left);
        rig.right.save(_right);
    }

    const ScratchFolder _folder;
    const std::string _left = _folder.path("left.yml");
    const std::string _right = _folder.path("right.yml");
};

TEST_F(RigFiles, UnitIsThatOfTheReportOnTheseFiles) {
    const std::string hash = hashRig(readFile(_left), readFile(_right));
    const std::string start = R"({"calibrationSha256": ")" + hash;
    for (const std::string& other : {start + R"(0", "unit": "m"})", start + R"("})",
                                     start + R"(", "unit": 3})", std::string("no JSON")}) {
        _folder.write("report.json", other);
        EXPECT_FALSE(readRig(_left, _right).unit) << other;
    }
    _folder.write("report.json", start + R"(", "unit": "m"})");
    const Rig rig = readRig(_left, _right);
    EXPECT_EQ(rig.unit, "m");
    EXPECT_EQ(filesOf(rig).size(), 3U);
    _folder.write("report.json", start + R"(", "unit": "m\n\u001b[31m"})");
    EXPECT_THAT(
        [this] { readRig(_left, _right); },
        testing::ThrowsMessage<InputError>(HasSubstr(
            R"(report.json' says that the unit of lengths is 'm\n\x1b[31m', must be 'm')")));
}

TEST_F(RigFiles, AreForImagesThatThereAreAndHaveMatricesOfTwoDimensions) {
    using Change = std::function<void(vision::Calibration&)>;
    const std::pair<Change, std::string> cases[] = {
        {[](auto& broken) {
             broken.distortion = cv::Mat({3, 3, 2}, CV_32FC1, cv::Scalar(1));
         },
         "distortion is 3-dimensional CV_32FC1, must have rows and columns only"},
        {[](auto& broken) { broken.width = 7; }, "width is 7, must be from 8 to 32766"},
        {[](auto& broken) { broken.height = 32767; }, "height is 32767, must be from 8 to 32766"},
        {[](auto& broken) { broken.height = -1; }, "height is missing or not positive"}};
    for (const auto& [change, complaint] : cases) {
        vision::Calibration broken = makeRig().left;
        change(broken);
        broken.save(_left);
        EXPECT_THAT([this] { readCalibration(_left); },
                    testing::ThrowsMessage<InputError>(
                        HasSubstr("left.yml' is not a whole calibration: " + complaint)));
    }
}

// OpenCV would read the file `a` for the first.
TEST_F(RigFiles, HaveAnyName) {
    const vision::Calibration calibration = makeRig().left;
    for (const char* name : {"a?b.yml", "line\nbreak.yml", "<?xml"}) {
        EXPECT_FALSE(isPlainName(name));
        const std::string path = _folder.write(name, encodeCalibration(name, calibration));
        EXPECT_EQ(readCalibration(path), calibration);
    }
}

TEST_F(RigFiles, AreWrittenWholeOrNotAtAll) {
    vision::Calibration broken = makeRig().left;
    broken.cameraMatrix.at<float>(0, 0) = NAN;
    for (const auto& [calibration, complaint] :
         {std::pair(broken, "cameraMatrix must hold finite numbers"), {{}, "width is missing"}})
        EXPECT_THAT([&written = calibration] { encodeCalibration("a.yml", written); },
                    testing::ThrowsMessage<InputError>(testing::StartsWith(
                        std::string("'a.yml' is not a whole calibration: ") + complaint)));
}

// A FIFO without waiting; what is compressed even if it is sound.
TEST_F(RigFiles, AreRegularAndNotCompressed) {
    const std::string fifo = _folder.path("fifo.yml");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string packed = _folder.path("left.yml.gz");
    makeRig().left.save(packed);
    std::filesystem::copy(packed, packed + "?base64");
    const std::string why = "is compressed; unpack it first";
    const std::pair<std::string, std::string> cases[] = {
        {fifo, "not a regular file"}, {packed, why}, {packed + "?base64", why}};
    for (const auto& test : cases) {
        const auto complaint = testing::ThrowsMessage<InputError>(
            testing::AllOf(HasSubstr(test.first + "' is not a"), HasSubstr(test.second)));
        EXPECT_THAT([&] { readCalibration(test.first); }, complaint);
        EXPECT_THAT([&] { readRigModel(test.first); }, complaint);
    }
}

class RigModelFile : public testing::Test {
  protected:
    std::string write(const std::string& text) const { return _folder.write("rig.yml", text); }

    const ScratchFolder _folder;
};

TEST_F(RigModelFile, ReadsBackExactly) {
    for (const std::size_t count : {0, 4, 5, 8, 12, 14}) {
        RigModel model = makeModel();
        model.left.cameraMatrix(0, 0) = 1000. / 3;
        model.right.lens.coefficients.assign(count, -1. / 7);
        const RigModel same = readRigModel(write(encodeRigModel(model)));
        EXPECT_EQ(same.right.lens.coefficients, model.right.lens.coefficients);
        EXPECT_EQ(encodeRigModel(same), encodeRigModel(model));
    }
}

// As another program reads it that knows the page on the file only.
TEST_F(RigModelFile, HoldsWhatItsDescriptionSays) {
    const RigModel model = makeModel();
    const cv::FileStorage file(write(encodeRigModel(model)), cv::FileStorage::READ);
    EXPECT_EQ(static_cast<int>(file["right"]["width"]), 640);
    EXPECT_EQ(static_cast<int>(file["right"]["height"]), 480);
    EXPECT_EQ(file["unit"].string(), "m");
    EXPECT_EQ(file["left"]["lens"].string(), "radial-tangential");
    EXPECT_THAT(file["left"]["cameraMatrix"].mat(), IsSameMatrix(cameraMatrixOf(model.left)));
    EXPECT_THAT(file["right"]["lensCoefficients"].mat(), IsSameMatrix(distortionOf(model.right)));
    EXPECT_THAT(file["rightFromLeftRotation"].mat(),
                IsSameMatrix(cv::Mat(model.rightFromLeftRotation)));
    EXPECT_THAT(file["rightFromLeftTranslation"].mat(),
                IsSameMatrix(cv::Mat(model.rightFromLeftTranslation)));
}

// The first `from` at or behind the key replaced.
std::string replaced(std::string text, const std::string& key, const std::string& from,
                     const std::string& to) {
    const auto found = text.find(from, text.find(key));
    EXPECT_NE(found, std::string::npos) << key << from;
    return text.replace(found, from.size(), to);
}

TEST_F(RigModelFile, NamesTheKeyAndTheRuleThatIsBroken) {
    const std::string text = encodeRigModel(makeModel());
    const struct {
        std::string key, from, to, message;
    } cases[] = {
        {"unit", "unit", "unjt", "unit is missing, must be a text"},
        {"left", "640", "0", "left.width is 0, must be above 0"},
        {"right", "480", "480.5", "right.height must be a whole number"},
        {"left", "600.", ".Nan", "left.cameraMatrix.data has element 0"},
        {"cameraMatrix", "[", "[ {a: 1}, ", "left.cameraMatrix.data has element 0"},
        {"cameraMatrix", "!!opencv-matrix", "7 #", ""},
        {"lens:", "radial-tangential", "fisheye",
         "left.lensCoefficients is 1x5, must be one row of 4"},
        {"lens:", "radial-tangential", "omni", "'omni', must be radial-tangential or fisheye"},
        {"lensCoefficients", "cols: 5\n      dt: d\n      data: [",
         "cols: 6\n      dt: d\n      data: [ 1.,",
         "left.lensCoefficients is 1x6, must be one row of"},
        {"right:", "608., 0.", "608., 1.", "right.cameraMatrix must be fx 0 cx / 0 fy cy"},
        {"rightFromLeftRotation", "9.99", "4.99", "rightFromLeftRotation"},
        {"rightFromLeftRotation", "data: [",
         "data: [ -1., 0., 0., 0., 1., 0., 0., 0., 1. ]\nunused: [", "its determinant is -1"},
        {"rightFromLeftTranslation", "data: [", "data: [ 0., 0., 0. ]\nunused: [",
         "rightFromLeftTranslation is 0, must lead"},
    };
    for (const auto& test : cases) {
        const std::string path = write(replaced(text, test.key, test.from, test.to));
        EXPECT_THAT([&] { readRigModel(path); },
                    testing::ThrowsMessage<InputError>(testing::AllOf(
                        HasSubstr(path + "' is not a rig model: "), HasSubstr(test.message))));
    }
}

// What OpenCV's parser does not survive must not reach it.
TEST_F(RigModelFile, HostileOnesAreRefused) {
    const std::string start = "%YAML:1.0\n---\n";
    for (const std::string& text :
         {start + "unit: " + std::string(100000, '['), start + "unit: !!binary |\n   MQ==\n",
          start + "unit: \"m", start + ": 1\n", start + "left: m\n", std::string("\0\1", 2),
          std::string("[]"), std::string("<?xml"), std::string()})
        EXPECT_THROW(readRigModel(write(text)), InputError) << text.substr(0, 40);
    EXPECT_THROW(readRigModel(_folder.path("none.yml")), InputError);
}

}  // namespace
}  // namespace tiomipra::test
