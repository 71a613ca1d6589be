// Pairs of images from files and videos.
#include "files/frame_source.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "files/input_files.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

class FrameSources : public testing::Test {
  protected:
    std::string write(const std::string& name, const cv::Mat& image) const {
        writeImage(_folder.path(name), image);
        return _folder.path(name);
    }

    std::unique_ptr<FrameSource> open(const FrameArguments& arguments) {
        return openFrames(arguments, [this](const std::string& notice) { _notices += notice; });
    }

    const ScratchFolder _folder;
    std::string _notices;
};

TEST_F(FrameSources, NamesAreUnique) {
    std::filesystem::create_directory(_folder.path("a"));
    const std::vector<std::string> files{write("1.png", cv::Mat::zeros(4, 6, CV_8UC1)),
                                         write("a/1.png", cv::Mat::zeros(4, 6, CV_8UC1))};
    const auto frames = open({files, files, {}});
    EXPECT_EQ(frames->count(), 2U);
    EXPECT_THAT(frames->files(), testing::ElementsAre(files[0], files[1], files[0], files[1]));
    EXPECT_EQ(frames->next()->name, "1_1");
    EXPECT_EQ(frames->next()->name, "1_2");
    EXPECT_FALSE(frames->next());
}

TEST_F(FrameSources, ImagesOfAPairHaveOneSize) {
    const std::string small = write("small.png", cv::Mat::zeros(4, 6, CV_8UC1));
    const std::string large = write("large.png", cv::Mat::zeros(5, 6, CV_8UC3));
    const auto frame = open({{small}, {large}, {}})->next();
    EXPECT_THAT(frame->read, testing::ThrowsMessage<InputError>(
                                 testing::ContainsRegex("small.png' is 6x4.*large.png' is 6x5")));
}

TEST_F(FrameSources, SideBySideImagesAreSplit) {
    const cv::Mat both = (cv::Mat_<unsigned char>(1, 4) << 1, 2, 3, 4);
    const auto frames =
        open({{}, {}, {write("even.png", both), write("odd.png", both.colRange(0, 3))}});
    const StereoImages images = frames->next()->read();
    EXPECT_EQ(cv::countNonZero(images.left != both.colRange(0, 2)), 0);
    EXPECT_EQ(cv::countNonZero(images.right != both.colRange(2, 4)), 0);
    EXPECT_THROW(frames->next()->read(), InputError);
}

// Both alike, and said once; 8 bits stay, and so does what is wanted as stored.
TEST_F(FrameSources, DeepImagesAreStretched) {
    const cv::Mat deep = (cv::Mat_<ushort>(1, 4) << 0, 1600, 2400, 4000);
    const cv::Mat expected = (cv::Mat_<unsigned char>(1, 4) << 0, 100, 150, 250);
    const std::vector<std::string> left{write("l1.png", deep), write("l2.png", deep)};
    const std::vector<std::string> right{write("r1.png", deep * 0.5), write("r2.png", expected)};
    const auto frames = open({left, right, {}});
    const StereoImages first = frames->next()->read(), second = frames->next()->read();
    EXPECT_THAT(first.left, IsSameMatrix(expected));
    EXPECT_EQ(first.right.at<unsigned char>(3), 125);
    EXPECT_THAT(second.left, IsSameMatrix(expected));
    EXPECT_THAT(second.right, IsSameMatrix(expected));
    EXPECT_EQ(_notices, "note: '" + left[0] + "': values from 0 to 4096 are stretched to 8 bits");
    EXPECT_THAT(reopenFrames({left, right, {}}, Pixels::asStored)->next()->read().left,
                IsSameMatrix(deep));
}

TEST_F(FrameSources, VideoWithoutItsEndIsFoundOut) {
    const std::string whole = tiomipra::readFile(photograph("tree.avi"));
    const std::string cut = _folder.write("cut.avi", whole.substr(0, whole.size() - 5000));
    open({{}, {}, {cut}});
    EXPECT_EQ(_notices, "warning: '" + cut + "' is cut off: its last frame may be damaged");
}

// A camera that is mounted turned: 90 degrees clockwise take the first row to the last column.
TEST_F(FrameSources, ImagesAreTurned) {
    const cv::Mat raw = (cv::Mat_<unsigned char>(2, 2) << 1, 2, 3, 4);
    const std::string file = write("raw.png", raw);
    const auto turned = [&](int degrees) {
        FrameArguments arguments{{file}, {file}, {}, 0, degrees};
        const StereoImages images = open(arguments)->next()->read();
        EXPECT_EQ(cv::countNonZero(images.left != raw), 0);
        return std::vector<int>(images.right.reshape(1, 1));
    };
    EXPECT_THAT(turned(90), testing::ElementsAre(3, 1, 4, 2));
    EXPECT_THAT(turned(180), testing::ElementsAre(4, 3, 2, 1));
    EXPECT_THAT(turned(270), testing::ElementsAre(2, 4, 1, 3));

    FrameArguments halves{{}, {}, {write("both.png", cv::Mat::eye(2, 8, CV_8UC1))}, 90, 270};
    EXPECT_EQ(open(halves)->next()->read().left.size(), cv::Size(2, 4));
    halves.rotateLeft = 0;
    EXPECT_THROW(open(halves)->next()->read(), InputError);
}

// Its header promises 444 frames of 320x240, of which there are 68.
TEST_F(FrameSources, ShorterVideoIsFoundOut) {
    const FrameArguments arguments{
        {photograph("tree.avi")}, {write("one.png", cv::Mat::zeros(240, 320, CV_8UC3))}, {}};
    const auto frames = open(arguments);
    EXPECT_EQ(frames->next()->read().left.size(), cv::Size(320, 240));
    const auto alone = frames->next();
    EXPECT_EQ(alone->name, "tree_000001");
    EXPECT_EQ(alone->leftFile, photograph("tree.avi") + ", frame 1");
    EXPECT_THROW(alone->read(), InputError);
    EXPECT_FALSE(frames->next());
    EXPECT_EQ(_notices, "");

    const auto video = open({{}, {}, {photograph("tree.avi")}});
    EXPECT_EQ(video->count(), 444U);
    std::size_t count = 0;
    while (const auto frame = video->next())
        count += frame->read().left.size() == cv::Size(160, 240) ? 1 : 0;
    EXPECT_EQ(count, 68U);
    EXPECT_FALSE(video->next());
    EXPECT_EQ(_notices, "'" + photograph("tree.avi") + "' promises 444 frames, 68 could be read");
}

}  // namespace
}  // namespace tiomipra::test
