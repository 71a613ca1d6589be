// Threads, signals, progress, and how the command ends.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <iterator>
#include <new>
#include <opencv2/core.hpp>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "base/errors.hpp"
#include "ending.hpp"
#include "runs/available_memory.hpp"
#include "runs/memory_budget.hpp"
#include "runs/process_start.hpp"
#include "runs/publish.hpp"
#include "runs/work_on_all.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using Work = OrderedWork<int, int>;

// Works on 0 to 39 with 4 workers, of which 0 is slow and 3 fails.
struct NumberWork {
    int accepted = 0;
    std::atomic<int> begun = 0;
    int mostAhead = 0;
    int last = 40;  // accepting more throws
    int cancelledAt = 99;

    bool run() {
        Work work([next = 0]() mutable { return next < 40 ? std::optional(next++) : std::nullopt; },
                  [this](int number, const Outcome<int>& outcome) {
                      if (number > last)
                          throw std::out_of_range("the last one was accepted");
                      EXPECT_EQ(std::holds_alternative<Ending>(outcome), number == 3);
                      mostAhead = std::max(mostAhead, begun - number);
                      EXPECT_EQ(number, accepted++);
                  },
                  [this] { return begun >= cancelledAt; });
        const Work::Worker worker = [this](int number) {
            ++begun;
            std::this_thread::sleep_for(std::chrono::milliseconds(number == 0 ? 50 : number % 3));
            return number == 3 ? throw std::runtime_error("3") : number;
        };
        const bool isWhole = work.run(std::vector(4, worker));
        EXPECT_EQ(work.accepted(), static_cast<std::size_t>(accepted));
        return isWhole;
    }
};

// At most 8 are ahead of the first one that is not accepted. All that was begun is accepted.
TEST(OrderedWork, KeepsTheOrderWhateverEndsIt) {
    NumberWork whole, cancelled, failing;
    EXPECT_TRUE(whole.run());
    EXPECT_EQ(whole.accepted, 40);
    EXPECT_LE(whole.mostAhead, 8);
    cancelled.cancelledAt = 12;
    EXPECT_FALSE(cancelled.run());
    EXPECT_EQ(cancelled.accepted, cancelled.begun);
    EXPECT_LT(cancelled.begun, 40);
    failing.last = 17;
    EXPECT_THROW(failing.run(), std::out_of_range);
    EXPECT_EQ(failing.accepted, 18);
}

// There is no room for stacks as large as that, which ends like a limit on threads.
TEST(OrderedWork, DoesWithTheThreadsThatThereAre) {
    pthread_attr_t before, vast;
    pthread_getattr_default_np(&before);
    pthread_attr_init(&vast);
    pthread_attr_setstacksize(&vast, std::size_t{1} << 50U);
    ASSERT_EQ(pthread_setattr_default_np(&vast), 0);
    testing::internal::CaptureStderr();
    const bool isWhole = NumberWork().run();
    pthread_setattr_default_np(&before);
    EXPECT_TRUE(isWhole);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "note: 1 of 4 jobs at the same time, as no further thread can be started\n");
}

TEST(Signals, EndPublishingOnceAllIsWritten) {
    const ScratchFolder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const std::string more(100000, 'a');  // than a pipe holds, so that writing waits for the reader
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        auto reader = std::async(std::launch::async, [&] {
            std::ifstream pipe(folder.path("pipe"));
            std::raise(signal);
            return std::string(std::istreambuf_iterator<char>(pipe), {}).size();
        });
        const std::string file = folder.path(std::to_string(signal));
        EXPECT_THROW(publishTogether({{folder.path("pipe"), more}, {file, "new"}}), Interrupted);
        EXPECT_EQ(reader.get(), more.size());
        EXPECT_EQ(readFile(file), "new");
    }
}

// Shells have jobs in the background ignore SIGINT; a second SIGTERM is the user's last word.
TEST(Signals, AreIgnoredWhereTheyWereAndKillTheSecondTime) {
    const auto interruptAndTerminateTwice = [] {
        std::signal(SIGINT, SIG_IGN);
        const InterruptionWatch watch;
        std::raise(SIGINT);
        if (watch.isInterrupted())
            std::exit(1);
        std::raise(SIGTERM);
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(interruptAndTerminateTwice(), testing::KilledBySignal(SIGTERM), "");
}

// The next file must not be taken for one of them. What is written to them is known to be lost.
TEST(Streams, ThatAreMissingAreOpenedForNothing) {
    const pid_t process = fork();
    if (process == 0) {
        for (const int stream : {0, 1, 2})
            close(stream);
        openMissingStreams();
        char byte = 0;
        const bool isNothing =
            read(0, &byte, 1) == 0 && write(1, "a", 1) < 0 && write(2, "a", 1) < 0;
        _exit(isNothing && open("/dev/null", O_RDONLY) > 2 ? 0 : 1);
    }
    int status = -1;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
}

// Of 910 items 899 were there already and one has taken a tenth of a second: ten a second, and one
// second for the others.
TEST(Progress, TellsRateAndTimeLeftOfWhatWasNotSkipped) {
    std::ostringstream bar, lines;
    Progress progress({&bar, &lines}, 910);
    for (int i = 0; i < 899; ++i)
        progress.skip();
    std::this_thread::sleep_for(std::chrono::milliseconds(110));
    progress.advance("a: made");
    EXPECT_EQ(lines.str(), "[900/910] a: made\n");
    const std::string drawn = bar.str().substr(bar.str().rfind("900/910"));
    double perSecond = 0, secondsLeft = 0;
    ASSERT_EQ(std::sscanf(drawn.c_str(), "900/910 %lf/s %lf s left", &perSecond, &secondsLeft), 2);
    EXPECT_LT(perSecond, 10);
    EXPECT_GE(secondsLeft, 1);
    EXPECT_EQ(formatBar(3, 12, 4.5), "[======                  ]   3/12  4.5/s  2 s left");
    EXPECT_EQ(formatBar(5, 0, 2), "5  2.0/s");
    EXPECT_EQ(formatDuration(59.4), "59 s");
    EXPECT_EQ(formatDuration(60), "1 min 00 s");
    EXPECT_EQ(formatDuration(125), "2 min 05 s");
    EXPECT_EQ(formatDuration(3720), "1 h 02 min");
}

// Of the machine, of groups within groups, of both versions; the limits of this process are
// wider.
TEST(AvailableMemory, IsTheLeastThatAnyoneLeaves) {
    const ScratchFolder root;
    for (const char* folder : {"proc/self", "sys/fs/cgroup/a/b", "sys/fs/cgroup/memory"})
        std::filesystem::create_directories(root.path(folder));
    const auto expectLeft = [&](std::uint64_t bytes, const char* source) {
        const MemoryLimit limit = availableMemory(root.path("."));
        EXPECT_EQ(limit.bytes, bytes);
        EXPECT_THAT(limit.source, testing::HasSubstr(source));
    };
    root.write("proc/meminfo", "MemTotal: 9000 kB\nMemAvailable:    3000 kB\nSwapFree:  500 kB\n");
    expectLeft(3500 * 1024, "machine");
    root.write("proc/self/cgroup", "4:cpu,memory2:/x\n0::/a/b\n");
    root.write("sys/fs/cgroup/a/b/memory.max", "max\n");
    root.write("sys/fs/cgroup/a/memory.max", "3000000\n");
    root.write("sys/fs/cgroup/a/memory.current", "1000000\n");
    root.write("sys/fs/cgroup/a/memory.stat", "anon 5\ninactive_file 400000\n");
    expectLeft(2400000, "control group");
    // A container's own group is the outermost one that it sees.
    root.write("proc/self/cgroup", "7:memory:/docker/x\n0::/\n");
    root.write("sys/fs/cgroup/memory/memory.limit_in_bytes", "900000\n");
    root.write("sys/fs/cgroup/memory/memory.usage_in_bytes", "1000000\n");
    root.write("sys/fs/cgroup/memory/memory.stat", "total_inactive_file 200000\n");
    expectLeft(100000, "control group");
}

TEST(AvailableMemory, OfTheAddressSpaceIsThatOfThisProcess) {
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    rlimit tight = before;
    tight.rlim_cur = std::uint64_t{1} << 62U;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const ScratchFolder root;
    const MemoryLimit limit = availableMemory(root.path("."));
    setrlimit(RLIMIT_AS, &before);
    EXPECT_THAT(limit.source, testing::HasSubstr("ulimit -v"));
    EXPECT_LT(limit.bytes, tight.rlim_cur - (1U << 20U));
    EXPECT_EQ(workersWithin({1000, ""}, 300, 8), 3U);
    EXPECT_EQ(workersWithin({1000, "", 100}, 300, 8), 2U);
    EXPECT_EQ(workersWithin({1000, ""}, 300, 2), 2U);
    EXPECT_EQ(workersWithin({1000, ""}, 3000, 2), 1U);
    EXPECT_EQ(workersWithin({1000, ""}, 0, 5), 5U);
}

// Pairs of 10 to 100 units at once, by four workers.
TEST(MemoryBudget, HasThoseWaitThatDoNotFitBesideOthers) {
    MemoryBudget budget({100, ""});
    std::atomic<int> held = 0;
    Work work([next = 0]() mutable { return next < 40 ? std::optional(next++) : std::nullopt; },
              [](int, const Outcome<int>&) {}, [] { return false; });
    const Work::Worker worker = [&](int number) {
        const int bytes = 10 + number * 37 % 91;
        MemoryBudget::Share share(budget);
        EXPECT_EQ(share.take(bytes).bytes, 100);
        EXPECT_LE(held += bytes, 100);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        held -= bytes;
        return number;
    };
    EXPECT_TRUE(work.run(std::vector(4, worker)));
    MemoryBudget::Share most(budget), tooMuch(budget), rest(budget);
    EXPECT_EQ(most.take(90).bytes, 100);
    EXPECT_EQ(tooMuch.take(101).bytes, 100) << "does not wait in vain";
    EXPECT_EQ(rest.take(10).bytes, 100);
}

// Where it can't be caught, as the destructors of OpenCV's buffers do, which complain that
// there is nothing to free.
void endWith(const std::function<void()>& fail) noexcept {
    endWithoutMemory([](const Ending& ending) { std::cerr << ending.message; });
    fail();
}

TEST(Ending, OfMemoryAndThreadsIsToldWhereverTheyRunOut) {
    const std::string message = endingFor(std::bad_alloc()).message;
    EXPECT_THAT(message, testing::HasSubstr("not enough memory left; what to do: "));
    EXPECT_EQ(endingFor(cv::Exception(cv::Error::StsNoMem, "", "", "alloc.cpp", 1)).message,
              message);
    EXPECT_NE(endingFor(cv::Exception(cv::Error::StsAssert, "", "", "a.cpp", 1)).message, message);
    const std::system_error noThread(EAGAIN, std::generic_category());
    const std::runtime_error ofTbb("pthread_create has failed: Resource temporarily unavailable");
    EXPECT_THAT(endingFor(noThread).message,
                testing::HasSubstr("no further thread can be started"));
    EXPECT_EQ(endingFor(ofTbb).message, endingFor(noThread).message);
    const cv::Exception ofBuffer(cv::Error::StsAssert, "", "cleanup", "src/buffer_area.cpp", 32);
    EXPECT_EXIT(endWith([&] { throw ofBuffer; }), testing::ExitedWithCode(3), "not enough memory");
    EXPECT_EXIT(endWith([] { throw std::runtime_error("a bug"); }),
                testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
}  // namespace tiomipra::test
