// Which images arguments stand for, and which of them belong together.
#include "files/image_lists.hpp"

#include <gmock/gmock.h>

#include <filesystem>

#include "base/errors.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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
    std::filesystem::create_directory(folder.path("l3.png"));
    const auto resolve = [&](const std::string& name) {
        return namesOf(resolveImages({folder.path(name)}));
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
    EXPECT_THAT(namesOf(resolveImages({folder.path("lx.png"), folder.path("l1.png")})),
                ElementsAre("lx.png", "l1.png"));
    for (const char* name : {"r*.png", "r%02d.png", "none/l%d.png"})
        EXPECT_THROW(resolve(name), InputError) << name;
}

TEST(Videos, AreKnownByTheirExtension) {
    EXPECT_TRUE(areVideo({"a.avi"}) && areVideo({"a.MOV"}));
    EXPECT_FALSE(areVideo({"a.png"}));
    EXPECT_FALSE(areVideo({"a.avi", "b.avi"}));
    EXPECT_FALSE(areVideo({}));
}

TEST(Partners, ThatAreMissingOrUnlikeAreNamed) {
    using Names = std::vector<std::string>;
    const auto said = [](const Names& left, const Names& right) {
        std::string text;
        try {
            requirePartners(left, right);
            noteUnlikePartners(left, right, [&text](const std::string& note) { text += note; });
        } catch (const InputError& error) {
            text = error.what();
        }
        return text;
    };
    EXPECT_EQ(said({"l1", "l2"}, {"r01", "r002"}), "");
    EXPECT_EQ(said({"cam0_a", "cam0_b"}, {"cam1_a", "cam1_b"}), "") << "the camera's number";
    EXPECT_EQ(said({"a", "b1"}, {"c", "d1"}), "");
    EXPECT_THAT(said({"l1", "l2", "l3"}, {"r1", "r3", "r4"}),
                HasSubstr("note: 'l2' and 'r3' are taken for a pair"));
    EXPECT_THAT(said({"l01", "l02", "l03"}, {"r1", "r3"}),
                HasSubstr("there are 3 images of the left camera and 2 of the right one; 'l02' has "
                          "no partner"));
    EXPECT_THAT(said({"l1"}, {"r1", "r2"}), HasSubstr("'r2' has no partner"));
    EXPECT_THAT(said({"a", "b"}, {"c"}), HasSubstr("'b' has no partner"));
}

}  // namespace
}  // namespace tiomipra::test
