// Files are written whole or not at all.
#include "files/output_files.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "base/errors.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;

using Contents = std::map<std::string, std::string>;

Contents contentsOf(const ScratchFolder& folder) {
    Contents contents;
    for (const auto& entry : fs::directory_iterator(folder.path("")))
        contents[entry.path().filename().string()] = readFile(entry.path().string());
    return contents;
}

TEST(WriteTogether, WritesAllOrNothing) {
    const ScratchFolder folder;
    const std::string first = folder.write("first", "former");
    const auto fail = [](const std::string&) { throw std::runtime_error("no room"); };
    EXPECT_THROW(writeTogether({newFile(first, "new"), {folder.path("second"), fail}}),
                 std::runtime_error);
    EXPECT_EQ(contentsOf(folder), (Contents{{"first", "former"}}));
    writeTogether({newFile(folder.path("second"), "whole"), newFile(first, "new")});
    EXPECT_EQ(contentsOf(folder), (Contents{{"first", "new"}, {"second", "whole"}}));
}

TEST(WriteFile, FollowsLinks) {
    const ScratchFolder folder;
    fs::create_directory(folder.path("there"));
    folder.write("there/old", "a longer text");
    // The last one is as long as the system takes.
    for (const std::string& file :
         {std::string("old"), std::string("new"), std::string(NAME_MAX - 4, 'a')}) {
        fs::create_symlink("there/" + file, folder.path(file));
        fs::create_symlink(file, folder.path(file + "Link"));
        writeFile(folder.path(file + "Link"), "text");
        EXPECT_EQ(readFile(folder.path("there/" + file)), "text");
        EXPECT_TRUE(fs::is_symlink(folder.path(file)) &&
                    fs::is_symlink(folder.path(file + "Link")));
    }
}

TEST(WriteFile, GoesOnInWhatIsOpen) {
    const ScratchFolder folder;
    const int file = open(folder.path("file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    fs::create_symlink("/dev/fd/" + std::to_string(file), folder.path("link"));
    EXPECT_EQ(write(file, "one ", 4), 4);
    writeFile(folder.path("link"), "two ");
    EXPECT_EQ(write(file, "three", 5), 5);
    close(file);
    EXPECT_EQ(readFile(folder.path("file")), "one two three");
}

// With those above it, through links that lead to nothing yet; only what is empty at its end goes.
TEST(OutputFolders, LastWithWhatIsInThem) {
    const ScratchFolder folder;
    fs::create_symlink("missing/deeper", folder.path("link"));
    for (const bool isUsed : {false, true}) {
        for (const char* path : {"a/b", "a/c/", "link/folder"}) {
            const OutputFolder made(folder.path(path));
            EXPECT_TRUE(fs::is_directory(folder.path(path)));
            if (isUsed)
                folder.write("a/file", "");
        }
        EXPECT_EQ(fs::exists(folder.path("a")), isUsed);
        EXPECT_FALSE(fs::exists(folder.path("a/b")));
        EXPECT_FALSE(fs::exists(folder.path("missing")));
    }
    { const OutputFolder there(folder.path("")); }
    EXPECT_TRUE(fs::exists(folder.path("")));
    EXPECT_THROW(OutputFolder(folder.path("new/" + std::string(NAME_MAX + 1, 'a'))), InputError);
    EXPECT_FALSE(fs::exists(folder.path("new")));
}

// Of a process that has ended, of this one, and two that only look similar.
TEST(OutputFolders, RemoveWhatDeadRunsHaveLeft) {
    const ScratchFolder folder;
    const pid_t process = fork();
    if (process == 0)
        _exit(0);
    waitpid(process, nullptr, 0);
    const std::string dead = ".tiomipra-" + std::to_string(process) + "-7";
    const std::string living = ".tiomipra-" + std::to_string(getpid()) + "-7";
    for (const std::string& name : {dead, living, std::string(".tiomipra-x-7"), "a" + dead})
        folder.write(name, "");
    const OutputFolder prepared(folder.path(""));
    EXPECT_EQ(contentsOf(folder).count(dead), 0U);
    EXPECT_EQ(contentsOf(folder).size(), 3U);
    EXPECT_THROW(OutputFolder(folder.path(living)), InputError);
}

}  // namespace
}  // namespace tiomipra::test
