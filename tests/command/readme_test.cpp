// The commands that README.md tells a newcomer to run, and its sample.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "files/image_files.hpp"
#include "files/image_lists.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;

TEST(Readme, ItsCommandsAndItsSampleWork) {
    const ScratchFolder folder;
    for (const std::string& path :
         resolveImages({photograph("left[01]?.jpg"), photograph("right[01]?.jpg")}))
        fs::copy(path, folder / fs::path(path).filename().string());
    writeImage(folder / "a.png", readImage(photograph("left01.jpg")));
    writeImage(folder / "b.png", readImage(photograph("right01.jpg")));
    // The first block of commands.
    const std::string extract = "sed -n '/^    tiomipra /,/^$/{p;/^$/q}' '" + readmePath() + "'";
    const std::string shell = "cd '" + folder / "" + "' && PATH='" +
                              fs::path(programPath()).parent_path().string() + "':$PATH && " +
                              extract + " > commands && sh -ex commands > log 2>&1";
    const int status = std::system(shell.c_str());
    ASSERT_EQ(WEXITSTATUS(status), 0) << readFile(folder / "log");
    for (const char* result : {"rig/left.yml", "rig/report.json", "result/a.ply",
                               "result/a_depth.png", "result/a_depth_picture.png"})
        EXPECT_TRUE(fs::exists(folder / result)) << result;

    if (samplePath().empty())
        GTEST_SKIP() << "the examples are not built";
    // The sample, with what they made: a board of which a corner beside the centre is 0.337 m away.
    writeImage(folder / "left.png", readImage(photograph("left13.jpg")));
    writeImage(folder / "right.png", readImage(photograph("right13.jpg")));
    const std::string sample =
        "cd '" + folder / "" + "' && '" + samplePath() + "' | grep -E 'Z 0.3[34]$' > /dev/null";
    EXPECT_EQ(std::system(sample.c_str()), 0);
}

}  // namespace
}  // namespace tiomipra::test
