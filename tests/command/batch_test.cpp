// Many pairs: failures, resuming, ends that come too early.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include "image_files.hpp"
#include "progress.hpp"
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

TEST(Batch, CarriesOnPastPairsThatFail) {
    const SamplePairs pairs(4);
    pairs.folder.write("left/2.png", "hello");
    const RunResult run = runTiomipra(pairs.arguments("rectify"));
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("1 of 4 pairs failed:\n  2: '" + pairs / "left/2.png"));
    for (const char* name : {"1", "3", "4"})
        EXPECT_TRUE(fs::exists(pairs / ("out/" + std::string(name) + "_rows.png")));

    const auto result = runForJson(pairs.arguments("rectify"), 4);
    EXPECT_EQ(result["pairs"].size(), 3U);
    EXPECT_EQ(result["pairs"][1]["name"], "3");
    EXPECT_EQ(result["failed"][0]["name"], "2");
}

TEST(Batch, NumberOfJobsDoesNotChangeTheResult) {
    const SamplePairs pairs(7);
    ASSERT_EQ(runTiomipra(pairs.arguments("rectify", {"--jobs", "1"})).status, 0);
    const Contents one = contentsOf(pairs / "out");
    ASSERT_EQ(runTiomipra(pairs.arguments("rectify", {"--jobs", "5"})).status, 0);
    EXPECT_EQ(contentsOf(pairs / "out"), one);
}

// What --resume says about how many pairs were there already.
std::string resume(const SamplePairs& pairs) {
    const RunResult run = runTiomipra(pairs.arguments("rectify", {"--resume"}));
    EXPECT_EQ(run.status, 0) << run.err;
    const auto start = run.out.find('(');
    return start == std::string::npos ? "" : run.out.substr(start);
}

TEST(Batch, ResumeDoesOnlyWhatIsMissing) {
    const SamplePairs pairs(3);
    EXPECT_EQ(resume(pairs), "");
    // Another subcommand's results in the same folder change nothing.
    EXPECT_EQ(runTiomipra(pairs.arguments("disparity", {"--disparity-number", "16"})).status, 0);
    EXPECT_EQ(resume(pairs), "(3 were there already)\n");
    fs::remove(pairs / "out/1_rows.png");
    pairs.folder.write("out/2_rectify.json", "{\"files\": [1]}");
    EXPECT_EQ(resume(pairs), "(1 were there already)\n");

    ::Rig other = pairs.rig;
    other.left.cameraMatrix.at<float>(0, 0) += 1;
    saveRig(pairs / "rig", other);
    EXPECT_EQ(resume(pairs), "");
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

TEST(Batch, TwoRunsMayShareAFolder) {
    const SamplePairs pairs(20);
    RunningProgram first(pairs.arguments("rectify"));
    RunningProgram second(pairs.arguments("rectify"));
    for (RunningProgram* program : {&first, &second}) {
        const RunResult run = program->wait();
        EXPECT_EQ(run.status, 0) << run.err;
    }
}

// Kills the program again and again at random moments. Set TIOMIPRA_KILLS for more than a handful.
TEST(Batch, KilledAndResumedEndsLikeAnUndisturbedRun) {
    const char* const setting = std::getenv("TIOMIPRA_KILLS");
    const int kills = setting == nullptr ? 5 : std::stoi(setting);
    const SamplePairs pairs(12, {{320, 240}});
    const auto arguments = pairs.arguments("rectify", {"--resume"});
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(runTiomipra(arguments).status, 0);
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
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
    ASSERT_EQ(runTiomipra(arguments).status, 0);
    EXPECT_TRUE(contentsOf(pairs / "out") == undisturbed);
}

TEST(Progress, TellsRateAndTimeLeft) {
    EXPECT_EQ(formatBar(3, 12, 4.5), "[======                  ]   3/12  4.5 pairs/s  2 s left");
    EXPECT_EQ(formatBar(5, 0, 2), "5  2.0 pairs/s");
    EXPECT_EQ(formatDuration(125), "2 min 05 s");
    EXPECT_EQ(formatDuration(3720), "1 h 02 min");
}

}  // namespace
}  // namespace tiomipra::test
