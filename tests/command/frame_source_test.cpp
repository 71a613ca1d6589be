// Which images the arguments of a command stand for.
#include "frame_source.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <opencv2/core.hpp>

#include "image_files.hpp"
#include "status.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> namesOf(const std::vector<std::string>& paths) {
    std::vector<std::string> names;
    for (const std::string& path : paths)
        names.push_back(std::filesystem::path(path).filename().string());
    return names;
}

TEST(ResolveImages, UnderstandsFilesFoldersAndPatterns) {
    const ScratchFolder folder;
    for (const char* name :
         {"l2.png", "l10.png", "l1.png", "l01.png", "lx.png", "notes.txt", "100%d.png", "[a].JPG"})
        folder.write(name, "");
    std::filesystem::create_directory(folder / "l3.png");
    const auto resolve = [&](const std::string& name) {
        return namesOf(resolveImages({folder / name}));
    };
    EXPECT_THAT(resolve(""), ElementsAre("100%d.png", "[a].JPG", "l01.png", "l1.png", "l2.png",
                                         "l10.png", "lx.png"));
    EXPECT_THAT(resolve("l*.png"), ElementsAre("l01.png", "l1.png", "l2.png", "l10.png", "lx.png"));
    EXPECT_THAT(resolve("l%d.png"), ElementsAre("l01.png", "l1.png", "l2.png", "l10.png"));
    EXPECT_THAT(resolve("l%02d.png"), ElementsAre("l01.png", "l10.png"));
    EXPECT_THAT(resolve("notes.txt"), ElementsAre("notes.txt"));
    EXPECT_THAT(resolve("100%d.png"), ElementsAre("100%d.png"));
    EXPECT_THAT(resolve("[a].JPG"), ElementsAre("[a].JPG"));
    EXPECT_THAT(resolve("none.png"), ElementsAre("none.png")) << "left to whoever reads it";
    EXPECT_THAT(namesOf(resolveImages({folder / "lx.png", folder / "l1.png"})),
                ElementsAre("lx.png", "l1.png"));
    for (const char* name : {"r*.png", "r%02d.png", "none/l%d.png"})
        EXPECT_THROW(resolve(name), InputError) << name;
}

TEST(FrameSource, NamesAreUnique) {
    const ScratchFolder folder;
    std::filesystem::create_directory(folder / "a");
    for (const char* name : {"1.png", "a/1.png"})
        writeImage(folder / name, cv::Mat(4, 6, CV_8UC1));
    const std::vector<std::string> files{folder / "1.png", folder / "a/1.png"};
    const auto frames = openFrames({files, files, {}});
    EXPECT_EQ(frames->count(), 2U);
    EXPECT_EQ(frames->next()->name, "1_1");
    EXPECT_EQ(frames->next()->name, "1_2");
    EXPECT_FALSE(frames->next());
}

TEST(FrameSource, SplitsSideBySideImages) {
    const ScratchFolder folder;
    const cv::Mat both = (cv::Mat_<unsigned char>(1, 4) << 1, 2, 3, 4);
    writeImage(folder / "even.png", both);
    writeImage(folder / "odd.png", both.colRange(0, 3));
    const auto frames = openFrames({{}, {}, {folder / "even.png", folder / "odd.png"}});
    const StereoImages images = frames->next()->read();
    EXPECT_EQ(cv::countNonZero(images.left != both.colRange(0, 2)), 0);
    EXPECT_EQ(cv::countNonZero(images.right != both.colRange(2, 4)), 0);
    EXPECT_THROW(frames->next()->read(), InputError);
}

TEST(FrameSource, ShorterVideoIsFoundOut) {
    const ScratchFolder folder;
    writeImage(folder / "one.png", cv::Mat(240, 320, CV_8UC3));
    const auto frames = openFrames({{photograph("tree.avi")}, {folder / "one.png"}, {}});
    EXPECT_EQ(frames->next()->read().left.size(), cv::Size(320, 240));
    const auto alone = frames->next();
    EXPECT_EQ(alone->name, "tree_000001");
    EXPECT_THROW(alone->read(), InputError);
    EXPECT_FALSE(frames->next());
}

}  // namespace
}  // namespace tiomipra::test
