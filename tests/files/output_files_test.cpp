// Files are written whole or not at all.
#include "files/output_files.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <thread>

#include "base/errors.hpp"
#include "base/text.hpp"
#include "files/descriptor.hpp"
#include "files/pending_files.hpp"
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

// What goes on below, and what goes wrong there.
struct Faults {
    std::vector<std::uint64_t> numbers;  // drawn next, the last one first
    bool isDiskBroken = false;
    bool isLogged = false;
    std::vector<std::string> calls;
};
Faults faults;

}  // namespace

// In place of those of the C library.
extern "C" int getentropy(void* buffer, std::size_t length) {
    if (faults.numbers.empty())
        return syscall(SYS_getrandom, buffer, length, 0) < 0 ? -1 : 0;
    std::memcpy(buffer, &faults.numbers.back(), length);
    faults.numbers.pop_back();
    return 0;
}

extern "C" int fsync(int file) {
    struct stat status {};
    fstat(file, &status);
    if (faults.isLogged)
        faults.calls.push_back(S_ISDIR(status.st_mode) ? "sync folder" : "sync file");
    errno = EIO;
    return faults.isDiskBroken ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int renameat(int from, const char* name, int to, const char* newName) noexcept {
    if (faults.isLogged)
        faults.calls.push_back(std::string("rename ") + newName);
    return static_cast<int>(syscall(SYS_renameat2, from, name, to, newName, 0));
}

namespace {

TEST(WriteTogether, WritesAllOrNothing) {
    const ScratchFolder folder;
    const std::string first = folder.write("first", "former");
    EXPECT_THROW(writeTogether({{first, "new"}, {folder.path("no/folder"), ""}}), InputError);
    EXPECT_EQ(contentsOf(folder), (Contents{{"first", "former"}}));
    EXPECT_THROW(writeTogether({{first, "new"}, {folder.path("./first"), ""}}), InputError);
    writeTogether({{folder.path("second"), "whole"}, {first, "new"}});
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
    if (geteuid() != 0)
        return;
    const std::string link = folder.path("oldLink");
    EXPECT_EQ(lchown(link.c_str(), 12345, 12345), 0);
    try {
        writeFile(link, "evil");
        ADD_FAILURE() << "another user's link was followed";
    } catch (const InputError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("link '" + link + "' is not followed"));
    }
    EXPECT_EQ(chown(folder.path("").c_str(), 12345, 12345), 0);
    writeFile(link, "good");
    EXPECT_EQ(readFile(folder.path("there/old")), "good");
}

TEST(WriteFile, KeepsPermissionsOfWhatItReplaces) {
    const ScratchFolder folder;
    const std::string file = folder.write("file", "former");
    const auto describe = [&](const std::string& path) {
        struct stat status {};
        stat(path.c_str(), &status);
        return fmt::format("{:o} {} {}", status.st_mode & 07777, status.st_uid, status.st_gid);
    };
    const bool isRoot = geteuid() == 0;
    EXPECT_EQ(chown(file.c_str(), isRoot ? 12345 : geteuid(), isRoot ? 54321 : getegid()), 0);
    EXPECT_EQ(chmod(file.c_str(), 0460), 0);
    const std::string former = describe(file);
    const mode_t mask = umask(0027);
    writeFile(file, "new");
    writeFile(folder.path("other"), "new");
    umask(mask);
    EXPECT_EQ(describe(file), former);
    EXPECT_EQ(describe(folder.path("other")).substr(0, 3), "640");
}

// The first of two names that are about to be drawn is occupied.
TEST(WriteFile, IsNotLuredElsewhere) {
    const ScratchFolder folder;
    const std::string victim = folder.write("victim", "precious");
    const std::string name = fmt::format(".tiomipra-{}-{:016x}", getpid(), 7);
    fs::create_symlink(victim, folder.path(name));
    faults.numbers = {8, 7};
    writeFile(folder.path("file"), "text");
    EXPECT_TRUE(faults.numbers.empty());
    EXPECT_EQ(contentsOf(folder),
              (Contents{{"victim", "precious"}, {name, "precious"}, {"file", "text"}}));
}

// What is to last through a power cut: first all content, then the names, then the folder's list.
TEST(WriteTogether, LetsFilesAppearOnceTheyAreOnTheDisk) {
    const ScratchFolder folder;
    const std::vector<NewFile> files{{folder.path("a"), "1"}, {folder.path("b"), "2"}};
    faults.calls = {};
    faults.isLogged = true;
    writeTogether(files);
    EXPECT_THAT(faults.calls, testing::ElementsAre("sync file", "sync file", "rename a", "rename b",
                                                   "sync folder"));
    faults.calls.clear();
    PendingFiles quick(false);
    quick.add(folder.path("c"), "3");
    quick.publish();
    EXPECT_THAT(faults.calls, testing::ElementsAre("rename c"));
    faults.calls.clear();
    { const CreatedFolders created(folder.path("d/e")); }
    EXPECT_THAT(faults.calls, testing::ElementsAre("sync folder", "sync folder"));
    faults.isLogged = false;
    faults.isDiskBroken = true;
    EXPECT_THROW(writeFile(folder.path("a"), "lost"), InputError);
    faults.isDiskBroken = false;
    EXPECT_EQ(contentsOf(folder), (Contents{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
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
            const OutputFolder made(folder.path(path), {"depth", "a"});
            EXPECT_TRUE(fs::is_directory(folder.path(path)));
            if (isUsed)
                folder.write("a/file", "");
        }
        EXPECT_EQ(fs::exists(folder.path("a")), isUsed);
        EXPECT_FALSE(fs::exists(folder.path("a/b")));
        EXPECT_FALSE(fs::exists(folder.path("missing")));
    }
    { const OutputFolder there(folder.path(""), {"depth", "a"}); }
    EXPECT_TRUE(fs::exists(folder.path("")));
    EXPECT_THROW(CreatedFolders(folder.path("new/" + std::string(NAME_MAX + 1, 'a'))), InputError);
    EXPECT_FALSE(fs::exists(folder.path("new")));
}

pid_t deadProcess() {
    const pid_t process = fork();
    if (process == 0)
        _exit(0);
    waitpid(process, nullptr, 0);
    return process;
}

// Of a process that has ended, of this one, and two that only look similar.
TEST(OutputFolders, RemoveWhatDeadRunsHaveLeft) {
    const ScratchFolder folder;
    const std::string dead = ".tiomipra-" + std::to_string(deadProcess()) + "-7";
    const std::string living = ".tiomipra-" + std::to_string(getpid()) + "-7";
    const Contents others{{living, ""}, {".tiomipra-x-7", ""}, {"a" + dead, ""}};
    for (const auto& [name, content] : others)
        folder.write(name, content);
    folder.write(dead, "");
    { const OutputFolder prepared(folder.path(""), {"depth", "a"}); }
    EXPECT_EQ(contentsOf(folder), others);
    folder.write(dead, "");
    writeFile(folder.path("file"), "");
    EXPECT_EQ(contentsOf(folder).count(dead), 0U) << "in a folder of the user's own";
    EXPECT_THROW(CreatedFolders(folder.path(living)), InputError);
}

// What somebody who wants the folder for `use` is told; nothing when it is had.
std::string refusalOf(const ScratchFolder& folder, const FolderUse& use) {
    try {
        const FolderLock lock(folder.path("."), use);
        return "";
    } catch (const InputError& error) {
        return error.what();
    }
}

TEST(FolderLocks, AreSharedBySameSettingsAndDieWithTheirHolders) {
    const ScratchFolder folder;
    const std::string file = folder.path(".tiomipra-lock");
    auto first = std::make_unique<FolderLock>(folder.path("."), FolderUse{"depth", "a"});
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t process = fork();
    if (process == 0) {
        const FolderLock second(folder.path("."), {"rectify", "a"});
        if (write(ready[1], "", 1) != 1)
            _exit(1);
        pause();
        _exit(0);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    first.reset();
    const std::string holder = fmt::format("process {} (tiomipra rectify)", process);
    for (const std::string settings : {"b", ""})
        EXPECT_THAT(
            refusalOf(folder, {"depth", settings}),
            testing::AllOf(testing::HasSubstr(holder), testing::HasSubstr(folder.path(""))));
    EXPECT_EQ(refusalOf(folder, {"depth", "a"}), "");
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    EXPECT_TRUE(fs::exists(file));
    {
        const FolderLock alone(folder.path("."), {"calibrate", ""});
        EXPECT_NE(refusalOf(folder, {"calibrate", ""}), "");
    }
    EXPECT_FALSE(fs::exists(file));
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THAT(refusalOf(folder, {"depth", "a"}), testing::HasSubstr("is not a file"));
    fs::remove(file);
    fs::create_symlink("elsewhere", file);
    EXPECT_THAT(refusalOf(folder, {"depth", "a"}), testing::HasSubstr("is a link, must be"));
    fs::remove(file);
    const Descriptor stranger(open(file.c_str(), O_RDWR | O_CREAT, 0600));
    ASSERT_EQ(flock(stranger.number(), LOCK_EX), 0);
    EXPECT_THAT(refusalOf(folder, {"depth", "a"}), testing::HasSubstr("another process"));
}

// However they meet. Locks of one process exclude each other as well.
TEST(FolderLocks, NeverHoldForTwoSettings) {
    const ScratchFolder folder;
    std::atomic<int> holders[2] = {{0}, {0}};
    const auto takeOften = [&](int mine) {
        for (int taken = 0; taken < 500;) {
            try {
                const FolderLock lock(folder.path("."), {"depth", std::to_string(mine)});
                ++holders[mine];
                usleep(20);
                EXPECT_EQ(holders[1 - mine], 0);
                --holders[mine];
                ++taken;
            } catch (const InputError&) {
                std::this_thread::yield();
            }
        }
    };
    std::thread one(takeOften, 0), other(takeOften, 1);
    one.join();
    other.join();
    EXPECT_EQ(contentsOf(folder), Contents());
}

}  // namespace
}  // namespace tiomipra::test
