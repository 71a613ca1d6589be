// Many pairs: jobs, and ends that come too early.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"

namespace tiomipra::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
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

// How many pairs are done by then depends on how busy the machine is: there are so many that some
// are left in any case.
TEST(Batch, SignalEndsItAfterThePairsAtHand) {
    constexpr std::size_t count = 1000;
    const SamplePairs pairs(1, {{640, 480}});
    for (std::size_t i = 2; i <= count; ++i) {
        for (const std::string side : {"left/", "right/"})
            fs::create_hard_link(pairs / (side + "1.png"),
                                 pairs / (side + std::to_string(i) + ".png"));
    }
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram program(pairs.arguments("rectify"));
        const auto deadline = Clock::now() + std::chrono::minutes(5);
        while (!fs::exists(pairs / "out/1_rectify.json") && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (signal == SIGHUP)
            expectRefusal(pairs.arguments("rectify", {"--rotate-left", "180"}), 3,
                          fmt::format("process {} (tiomipra rectify) is writing other results to",
                                      program.process()));
        program.send(signal);
        const RunResult run = program.wait();
        EXPECT_EQ(run.status, 128 + signal);
        EXPECT_THAT(run.err, testing::HasSubstr("--resume"));
        const std::size_t files = contentsOf(pairs / "out").size();
        EXPECT_LT(files, count * 4);
        EXPECT_EQ(files % 4, 0U) << "every pair is whole";
        fs::remove_all(pairs / "out");
    }
}

// Kills the program again and again at random moments. Set TIOMIPRA_KILLS for more than a handful.
TEST(Batch, KilledAndResumedEndsLikeAnUndisturbedRun) {
    const char* const setting = std::getenv("TIOMIPRA_KILLS");
    const int kills = setting == nullptr ? 5 : std::stoi(setting);
    const SamplePairs pairs(12, {{320, 240}});
    const auto arguments = pairs.arguments("rectify", {"--resume"});
    const auto start = Clock::now();
    runTiomipra(arguments);
    const std::chrono::duration<double> duration = Clock::now() - start;
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

}  // namespace
}  // namespace tiomipra::test
