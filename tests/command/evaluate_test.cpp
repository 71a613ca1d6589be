// `tiomipra evaluate`, run as a user would.
#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core.hpp>

#include "files/image_files.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// Of four known pixels three are measured, with errors of 0, 1.5 and 3.
class Evaluate : public testing::Test {
  protected:
    Evaluate() {
        writeImage(_folder / "truth.tiff", (cv::Mat_<float>(1, 5) << 10, 10, 10, 10, 0));
        writeImage(_folder / "found.tiff", (cv::Mat_<float>(1, 5) << 10, 11.5F, 13, 0, 5));
        writeImage(_folder / "mask.png", (cv::Mat_<unsigned char>(1, 5) << 255, 255, 128, 0, 0));
        writeImage(_folder / "bytes.png", (cv::Mat_<unsigned char>(1, 5) << 20, 20, 20, 20, 0));
    }

    Arguments arguments(const Arguments& options) const {
        return joined({"evaluate", "--ground-truth", _folder / "truth.tiff"}, options);
    }

    const ScratchFolder _folder;
};

// All pixels are judged, though those that the mask leaves have errors of 0 and 1.5.
TEST_F(Evaluate, IsAGateWhenAskedTo) {
    const Arguments gate = arguments({"--disparity", _folder / "found.tiff", "--max-bad2"});
    EXPECT_THAT(runTiomipra(joined(gate, {"33.4"})).out,
                HasSubstr("  all: 4 pixels known, 75.00 % of them"));
    const json masked = runForJson(joined(gate, {"0", "--mask", _folder / "mask.png"}), 1);
    EXPECT_EQ(masked["evaluations"][0]["nonOccluded"]["known"], 2);
    runTiomipra(arguments({"--disparity", _folder / "truth.tiff", "--max-bad2", "0"}));
    const RunResult refused = runTiomipra(joined(gate, {"33.3"}), 1);
    EXPECT_THAT(refused.out, HasSubstr("33.33"));
    EXPECT_THAT(refused.err, HasSubstr("found.tiff"));
    expectRefusal(joined(gate, {"101"}), 2, "--max-bad2");
    const Arguments scaled{"evaluate", "--disparity", _folder / "found.tiff", "--ground-truth",
                           _folder / "bytes.png"};
    const json printed = runForJson(joined(scaled, {"--ground-truth-scale", "2"}));
    EXPECT_NEAR(printed["evaluations"][0]["all"]["averageError"], 1.5, 1e-6);
    expectRefusal(scaled, 3, "bytes.png' holds 8-bit");
    std::filesystem::create_hard_link(_folder / "bytes.png", _folder / "bytes.html");
    const Arguments page{"--ground-truth-scale", "2", "--report"};
    expectRefusal(joined(scaled, page, {_folder / "bytes.html"}), 3, "would replace the input");
    runTiomipra(joined(scaled, page, {_folder / "page.html"}));
    EXPECT_THAT(readFile(_folder / "page.html"), HasSubstr("block-errors-0"));
    writeImage(_folder / "found.tiff", cv::Mat::zeros(1, 5, CV_32FC1));
    EXPECT_THAT(runTiomipra(joined(gate, {"100"}), 1).err,
                HasSubstr("found.tiff: none of the known pixels is measured"));
}

}  // namespace
}  // namespace tiomipra::test
