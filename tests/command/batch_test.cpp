// Many pairs: failures, resuming, ends that come too early.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>
#include <thread>

#include "image_files.hpp"
#include "interruption.hpp"
#include "output_files.hpp"
#include "progress.hpp"
#include "support/run_program.hpp"
#include "support/sample_pairs.hpp"
#include "workers.hpp"

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
    const RunResult run = runTiomipra(pairs.arguments("rectify"), 4);
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
    runTiomipra(pairs.arguments("rectify", {"--jobs", "1"}));
    const Contents one = contentsOf(pairs / "out");
    runTiomipra(pairs.arguments("rectify", {"--jobs", "5"}));
    EXPECT_EQ(contentsOf(pairs / "out"), one);
}

TEST(OrderedWork, KeepsTheOrderAndEndsWithWhatIsThrown) {
    const auto run = [](int last) {
        std::vector<int> accepted;
        OrderedWork<int, int> work(
            [next = 0]() mutable { return next < 40 ? std::optional(next++) : std::nullopt; },
            [&](int number, const Outcome<int>& outcome) {
                if (number > last)
                    throw std::out_of_range("the last one was accepted");
                EXPECT_EQ(std::holds_alternative<CommandError>(outcome), number == 3);
                accepted.push_back(number);
            });
        const OrderedWork<int, int>::Worker worker = [](int number) {
            // The first one keeps all that others can do from being accepted.
            std::this_thread::sleep_for(std::chrono::milliseconds(number == 0 ? 50 : number % 3));
            return number == 3 ? throw std::runtime_error("3") : number;
        };
        if (last < 40)
            EXPECT_THROW(work.run(std::vector(4, worker)), std::out_of_range);
        else
            work.run(std::vector(4, worker));
        return accepted;
    };
    std::vector<int> all(40);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(run(40), all);
    all.resize(18);
    EXPECT_EQ(run(17), all);
}

// What --resume says about how many pairs were there already.
std::string resume(const SamplePairs& pairs) {
    const RunResult run = runTiomipra(pairs.arguments("rectify", {"--resume"}));
    const auto start = run.out.find('(');
    return start == std::string::npos ? "" : run.out.substr(start);
}

TEST(Batch, ResumeDoesOnlyWhatIsMissing) {
    const SamplePairs pairs(3);
    EXPECT_EQ(resume(pairs), "");
    // Another subcommand's results in the same folder change nothing.
    runTiomipra(pairs.arguments("disparity", {"--disparity-number", "16"}));
    EXPECT_EQ(resume(pairs), "(3 were there already)\n");
    fs::remove(pairs / "out/1_rows.png");
    pairs.folder.write("out/2_rectify.json", "{\"files\": [1]}");
    EXPECT_EQ(resume(pairs), "(1 were there already)\n");
    pairs.folder.write("out/2_left.png", "");
    fs::last_write_time(pairs / "right/3.png", fs::last_write_time(pairs / "out/3_rectify.json") +
                                                   std::chrono::seconds(1));
    EXPECT_EQ(resume(pairs), "(1 were there already)\n");

    CalibrationPair other = pairs.rig;
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
    runTiomipra(arguments);
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
    runTiomipra(arguments);
    EXPECT_TRUE(contentsOf(pairs / "out") == undisturbed);
}

// At moments all over their runs.
TEST(Interruption, LeavesResultsOfOneRunWithoutTraces) {
    const ScratchFolder folder;
    const Arguments images{"--left", photograph("left0[12346].jpg"), "--right",
                           photograph("right0[12346].jpg"), "--output"};
    const Arguments calibrate = joined({"calibrate", "--corners", "9x6", "--square", "1"}, images);
    const Arguments check = joined({"check", "--calibration", folder / "rig"}, images);
    runTiomipra(joined(calibrate, {folder / "rig"}));
    for (const Arguments& arguments : {calibrate, check}) {
        const std::string output = folder / arguments.front();
        const auto start = std::chrono::steady_clock::now();
        runTiomipra(joined(arguments, {output}));
        const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
        const Contents undisturbed = contentsOf(output);
        Contents former = undisturbed;
        for (const double share : {0.3, 0.6, 0.9}) {
            for (auto& [name, bytes] : former)
                folder.write(arguments.front() + "/" + name, bytes = "former");
            RunningProgram program(joined(arguments, {output}));
            std::this_thread::sleep_for(duration * share);
            program.send(SIGINT);
            const RunResult run = program.wait();
            EXPECT_TRUE(run.status == 128 + SIGINT || (run.status == 0 && share > 0.5)) << share;
            EXPECT_THAT(contentsOf(output), testing::AnyOf(former, undisturbed)) << share;
        }
    }
}

TEST(WriteTogether, WritesAllOrNothing) {
    const ScratchFolder folder;
    const std::string first = folder.write("first", "former");
    const auto fail = [](const std::string&) { throw std::runtime_error("no room"); };
    EXPECT_THROW(writeTogether({newFile(first, "new"), {folder / "second", fail}}),
                 std::runtime_error);
    EXPECT_EQ(contentsOf(folder / ""), (Contents{{"first", "former"}}));
    const auto interrupt = [](const std::string& path) {
        std::raise(SIGTERM);
        writeFile(path, "whole");
    };
    EXPECT_THROW(writeTogether({{folder / "second", interrupt}, newFile(first, "new")}),
                 Interrupted);
    EXPECT_EQ(contentsOf(folder / ""), (Contents{{"first", "new"}, {"second", "whole"}}));
}

TEST(WriteFile, FollowsLinks) {
    const ScratchFolder folder;
    fs::create_directory(folder / "there");
    folder.write("there/old", "a longer text");
    for (const std::string file : {"old", "new"}) {
        fs::create_symlink("there/" + file, folder / file);
        fs::create_symlink(file, folder / (file + "Link"));
        writeFile(folder / (file + "Link"), "text");
        EXPECT_EQ(readFile(folder / ("there/" + file)), "text");
        EXPECT_TRUE(fs::is_symlink(folder / file) && fs::is_symlink(folder / (file + "Link")));
    }
    fs::create_symlink("missing", folder / "link");
    prepareFolder(folder / "link/folder");
    EXPECT_TRUE(fs::is_directory(folder / "missing/folder"));
}

TEST(WriteFile, GoesOnInWhatIsOpen) {
    const ScratchFolder folder;
    const int file = open((folder / "file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    fs::create_symlink("/dev/fd/" + std::to_string(file), folder / "link");
    EXPECT_EQ(write(file, "one ", 4), 4);
    writeFile(folder / "link", "two ");
    EXPECT_EQ(write(file, "three", 5), 5);
    close(file);
    EXPECT_EQ(readFile(folder / "file"), "one two three");
}

TEST(WriteFile, NamesMayBeAsLongAsTheSystemTakes) {
    const ScratchFolder folder;
    const std::string path = folder / std::string(NAME_MAX, 'a');
    writeFile(path, "text");
    EXPECT_EQ(readFile(path), "text");
}

TEST(Progress, TellsRateAndTimeLeft) {
    EXPECT_EQ(formatBar(3, 12, 4.5), "[======                  ]   3/12  4.5/s  2 s left");
    EXPECT_EQ(formatBar(5, 0, 2), "5  2.0/s");
    EXPECT_EQ(formatDuration(125), "2 min 05 s");
    EXPECT_EQ(formatDuration(3720), "1 h 02 min");
}

}  // namespace
}  // namespace tiomipra::test
