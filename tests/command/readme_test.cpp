// The commands that README.md tells a newcomer to run.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "frame_source.hpp"
#include "image_files.hpp"
#include "support/run_program.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;

// left01.jpg, right01.jpg ... of a board, and the pair a.png and b.png.
void layOutPhotographs(const ScratchFolder& folder) {
    for (const std::string& path :
         resolveImages({photograph("left[01]?.jpg"), photograph("right[01]?.jpg")}))
        fs::copy(path, folder / fs::path(path).filename().string());
    writeImage(folder / "a.png", readImage(photograph("left01.jpg")));
    writeImage(folder / "b.png", readImage(photograph("right01.jpg")));
}

TEST(Readme, ItsCommandsWorkAsWritten) {
    const ScratchFolder folder;
    layOutPhotographs(folder);
    // The first block of commands.
    const std::string extract = "sed -n '/^    tiomipra /,/^$/{p;/^$/q}' '" TIOMIPRA_README "'";
    const std::string shell = "cd '" + folder / "" + "' && PATH='" +
                              fs::path(programPath()).parent_path().string() + "':$PATH && " +
                              extract + " > commands && sh -ex commands > log 2>&1";
    const int status = std::system(shell.c_str());
    ASSERT_EQ(WEXITSTATUS(status), 0) << readFile(folder / "log");
    for (const char* result : {"rig/left.yml", "rig/report.json", "result/a.ply",
                               "result/a_depth.png", "result/a_depth_picture.png"})
        EXPECT_TRUE(fs::exists(folder / result)) << result;
}

}  // namespace
}  // namespace tiomipra::test
