// Pairs of images from files and videos.
#include "files/frame_source.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <opencv2/core.hpp>

#include "base/errors.hpp"
#include "base/provenance.hpp"
#include "files/input_files.hpp"
#include "support/matrices.hpp"
#include "support/photographs.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

class FrameSources : public testing::Test {
  protected:
    std::string write(const std::string& name,
                      const cv::Mat& image = cv::Mat::zeros(4, 6, CV_8UC1)) const {
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
    const std::vector<std::string> files{write("1.png"), write("a/1.png")};
    const auto frames = open({files, files, {}});
    EXPECT_EQ(frames->count(), 2U);
    EXPECT_THAT(frames->files(), testing::ElementsAre(files[0], files[1], files[0], files[1]));
    EXPECT_EQ(frames->next()->name, "1_1");
    EXPECT_EQ(frames->next()->name, "1_2");
    EXPECT_FALSE(frames->next());
}

TEST_F(FrameSources, ImagesOfAPairHaveOneSize) {
    const std::string large = write("large.png", cv::Mat::zeros(5, 6, CV_8UC3));
    const auto frame = open({{write("small.png")}, {large}, {}})->next();
    EXPECT_THAT(frame->read, testing::ThrowsMessage<InputError>(
                                 testing::ContainsRegex("small.png' is 6x4.*large.png' is 6x5")));
}

// 90 degrees clockwise take the first row to the last column.
TEST_F(FrameSources, ImagesAreSplitAndTurned) {
    const std::string raw = write("raw.png", (cv::Mat_<unsigned char>(2, 2) << 1, 2, 3, 4));
    const cv::Mat row = (cv::Mat_<unsigned char>(1, 4) << 1, 2, 3, 4);
    const std::string both = write("both.png", row), odd = write("odd.png", row.colRange(0, 3));
    const struct {
        FrameArguments arguments;
        std::vector<int> left, right;
    } cases[] = {{{{raw}, {raw}, {}, 0, 90}, {1, 2, 3, 4}, {3, 1, 4, 2}},
                 {{{raw}, {raw}, {}, 0, 180}, {1, 2, 3, 4}, {4, 3, 2, 1}},
                 {{{raw}, {raw}, {}, 0, 270}, {1, 2, 3, 4}, {2, 4, 1, 3}},
                 {{{}, {}, {both}}, {1, 2}, {3, 4}},
                 {{{}, {}, {both}, 90, 270}, {1, 2}, {4, 3}}};
    for (const auto& [arguments, left, right] : cases) {
        const StereoImages images = open(arguments)->next()->read();
        EXPECT_EQ(std::vector<int>(images.left.reshape(1, 1)), left);
        EXPECT_EQ(std::vector<int>(images.right.reshape(1, 1)), right);
    }
    EXPECT_THROW(open({{}, {}, {odd}})->next()->read(), InputError);
    EXPECT_THROW(open({{}, {}, {both}, 0, 270})->next()->read(), InputError);
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

// Of videos that is when they are opened, as their frames are decoded ahead. Pipes are let alone.
TEST_F(FrameSources, FilesAreIdentifiedBeforeTheyAreRead) {
    const std::string image = write("1.png"), video = _folder.path("clip.avi");
    std::filesystem::copy(photograph("tree.avi"), video);
    const std::string pipe = _folder.path("pipe.png");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const auto ofImages = open({{image}, {pipe}, {}})->next()->identify;
    const auto ofVideo = open({{}, {}, {video}})->next()->identify;
    const FileIdentities before = ofImages();
    EXPECT_EQ(before[0].path, image);
    EXPECT_EQ(before[0].size, std::filesystem::file_size(image));
    EXPECT_EQ(before[0].sha256, sha256(tiomipra::readFile(image)));
    EXPECT_EQ(before[1].path + before[1].modified + before[1].sha256, pipe);
    EXPECT_NO_THROW(requireUnchanged(before));
    for (const std::string& file : {image, video})
        std::filesystem::last_write_time(file, std::filesystem::file_time_type());
    for (const FileIdentities& files : {before, ofVideo()})
        EXPECT_THAT([&files] { requireUnchanged(files); },
                    testing::ThrowsMessage<InputError>("'" + files[0].path +
                                                       "' changed while it was read"));
    EXPECT_NE(ofImages()[0], before[0]);
}

// Its header promises 444 frames of 320x240, of which there are 68.
TEST_F(FrameSources, ShorterVideosAreFoundOut) {
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

    FrameArguments small{{}, {}, {photograph("tree.avi")}};
    small.limits.maxPixels = 76799;
    EXPECT_THAT([&] { open(small); }, testing::ThrowsMessage<InputError>(testing::HasSubstr(
                                          "tree.avi' has 320x240 pixels, at most 76799")));
    const auto video = open({{}, {}, {photograph("tree.avi")}});
    EXPECT_EQ(video->count(), 444U);
    std::size_t count = 0;
    while (const auto frame = video->next())
        count += frame->read().left.size() == cv::Size(160, 240) ? 1 : 0;
    EXPECT_EQ(count, 68U);
    EXPECT_FALSE(video->next());
    EXPECT_EQ(_notices, "'" + photograph("tree.avi") + "' promises 444 frames, 68 could be read");

    const std::string whole = tiomipra::readFile(photograph("tree.avi"));
    const std::string cut = _folder.write("cut.avi", whole.substr(0, whole.size() - 5000));
    _notices.clear();
    open({{}, {}, {cut}});
    EXPECT_EQ(_notices, "warning: '" + cut + "' is cut off: its last frame may be damaged");
}

}  // namespace
}  // namespace tiomipra::test
