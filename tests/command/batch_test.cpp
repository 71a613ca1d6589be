// Many pairs: jobs, and ends that come too early.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include "files/image_files.hpp"
#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

using Contents = std::map<std::string, std::string>;

Contents contentsOf(const std::string& folder) {
    Contents contents;
    for (const auto& entry : fs::directory_iterator(folder))
        contents[entry.path().filename().string()] = readFile(entry.path().string());
    return contents;
}

// Not even where two runs share a folder.
TEST(Batch, NumberOfJobsDoesNotChangeTheResult) {
    const SamplePairs pairs(20);
    runTiomipra(pairs.arguments("rectify", {"--jobs", "1"}));
    const Contents one = contentsOf(pairs / "out");
    fs::remove_all(pairs / "out");
    RunningProgram first(pairs.arguments("rectify", {"--jobs", "5"}));
    RunningProgram second(pairs.arguments("rectify"));
    for (RunningProgram* program : {&first, &second})
        EXPECT_EQ(program->wait().status, 0);
    EXPECT_TRUE(contentsOf(pairs / "out") == one);
}

std::chrono::duration<double> durationOf(const Arguments& arguments) {
    const auto start = std::chrono::steady_clock::now();
    runTiomipra(arguments);
    return std::chrono::steady_clock::now() - start;
}

TEST(Batch, SignalEndsItAfterThePairsAtHand) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const SamplePairs pairs(60, {{640, 480}});
        RunningProgram program(pairs.arguments("rectify"));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!fs::exists(pairs / "out/1_rectify.json")) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        program.send(signal);
        const RunResult run = program.wait();
        EXPECT_EQ(run.status, 128 + signal);
        EXPECT_THAT(run.err, HasSubstr("--resume"));
        const std::size_t files = contentsOf(pairs / "out").size();
        EXPECT_LT(files, 60U * 4);
        EXPECT_EQ(files % 4, 0U) << "every pair is whole";
    }
}

// Kills the program again and again at random moments. Set TIOMIPRA_KILLS for more than a handful.
TEST(Batch, KilledAndResumedEndsLikeAnUndisturbedRun) {
    const char* const setting = std::getenv("TIOMIPRA_KILLS");
    const int kills = setting == nullptr ? 5 : std::stoi(setting);
    const SamplePairs pairs(12, {{320, 240}});
    const auto arguments = pairs.arguments("rectify", {"--resume"});
    const auto duration = durationOf(arguments);
    const Contents undisturbed = contentsOf(pairs / "out");
    fs::remove_all(pairs / "out");

    std::mt19937 random(1);
    std::uniform_real_distribution<double> share(0., 0.6);
    for (int kill = 0; kill < kills; ++kill) {
        RunningProgram program(arguments);
        std::this_thread::sleep_for(duration * share(random));
        program.send(SIGKILL);
        const bool isFinished = program.wait().status == 0;
        fs::create_directories(pairs / "out");
        for (const auto& [name, bytes] : contentsOf(pairs / "out"))
            EXPECT_TRUE(name.front() == '.' || bytes == undisturbed.at(name)) << name;
        if (isFinished)
            fs::remove_all(pairs / "out");
    }
    runTiomipra(arguments);
    EXPECT_TRUE(contentsOf(pairs / "out") == undisturbed);
}

// At moments all over the run, of which one at least must come before the end: when exactly depends
// on how busy the machine is.
TEST(Interruption, LeavesResultsOfOneRunWithoutTraces) {
    const ScratchFolder folder;
    const Arguments calibrate{"calibrate",
                              "--corners",
                              "9x6",
                              "--square",
                              "1",
                              "--left",
                              photograph("left0[12346].jpg"),
                              "--right",
                              photograph("right0[12346].jpg"),
                              "--output",
                              folder / "rig"};
    const auto duration = durationOf(calibrate);
    const Contents undisturbed = contentsOf(folder / "rig");
    Contents former = undisturbed;
    int interrupted = 0;
    for (const double share : {0.2, 0.5, 0.9}) {
        for (auto& [name, bytes] : former)
            folder.write("rig/" + name, bytes = "former");
        RunningProgram program(calibrate);
        std::this_thread::sleep_for(duration * share);
        program.send(SIGINT);
        const int status = program.wait().status;
        EXPECT_THAT(status, testing::AnyOf(0, 128 + SIGINT)) << share;
        interrupted += status == 0 ? 0 : 1;
        EXPECT_THAT(contentsOf(folder / "rig"), testing::AnyOf(former, undisturbed)) << share;
    }
    EXPECT_GT(interrupted, 0);
}

}  // namespace
}  // namespace tiomipra::test
