// Threads, signals, progress, and how the command ends.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "base/errors.hpp"
#include "ending.hpp"
#include "runs/publish.hpp"
#include "runs/work_on_all.hpp"
#include "support/scratch_folder.hpp"

namespace tiomipra::test {
namespace {

using Work = OrderedWork<int, int>;

// Works on 0 to 39 with 4 workers, of which 0 is slow and 3 fails.
struct NumberWork {
    std::vector<int> accepted;
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
                      accepted.push_back(number);
                  },
                  [this] { return begun >= cancelledAt; });
        const Work::Worker worker = [this](int number) {
            ++begun;
            std::this_thread::sleep_for(std::chrono::milliseconds(number == 0 ? 50 : number % 3));
            return number == 3 ? throw std::runtime_error("3") : number;
        };
        const bool isWhole = work.run(std::vector(4, worker));
        EXPECT_EQ(work.accepted(), accepted.size());
        return isWhole;
    }
};

std::vector<int> upTo(int end) {
    std::vector<int> numbers(static_cast<std::size_t>(end));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

// At most 8 are ahead of the first one that is not accepted. All that was begun is accepted.
TEST(OrderedWork, KeepsTheOrderWhateverEndsIt) {
    NumberWork whole, cancelled, failing;
    EXPECT_TRUE(whole.run());
    EXPECT_EQ(whole.accepted, upTo(40));
    EXPECT_LE(whole.mostAhead, 8);
    cancelled.cancelledAt = 12;
    EXPECT_FALSE(cancelled.run());
    EXPECT_EQ(cancelled.accepted, upTo(cancelled.begun));
    EXPECT_LT(cancelled.begun, 40);
    failing.last = 17;
    EXPECT_THROW(failing.run(), std::out_of_range);
    EXPECT_EQ(failing.accepted, upTo(18));
}

TEST(Signals, EndPublishingOnceAllIsWritten) {
    const ScratchFolder folder;
    const auto interrupt = [](const std::string& path) {
        std::raise(SIGTERM);
        writeFile(path, "whole");
    };
    EXPECT_THROW(
        publishTogether({{folder.path("second"), interrupt}, newFile(folder.path("first"), "new")}),
        Interrupted);
    EXPECT_EQ(readFile(folder.path("first")) + readFile(folder.path("second")), "newwhole");
}

// Shells have jobs in the background ignore SIGINT; a second SIGTERM is the user's last word.
TEST(Signals, AreIgnoredWhereTheyWereAndKillTheSecondTime) {
    std::signal(SIGINT, SIG_IGN);
    {
        const InterruptionWatch watch;
        std::raise(SIGINT);
        EXPECT_FALSE(watch.isInterrupted());
    }
    const auto terminateTwice = [] {
        const InterruptionWatch watch;
        std::raise(SIGTERM);
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(terminateTwice(), testing::KilledBySignal(SIGTERM), "");
}

// Of 910 items 899 were there already and one has taken a tenth of a second: ten a second, and one
// second for the others.
TEST(Progress, LeavesOutWhatWasSkipped) {
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
}

TEST(Progress, TellsRateAndTimeLeft) {
    EXPECT_EQ(formatBar(3, 12, 4.5), "[======                  ]   3/12  4.5/s  2 s left");
    EXPECT_EQ(formatBar(5, 0, 2), "5  2.0/s");
    EXPECT_EQ(formatDuration(59.4), "59 s");
    EXPECT_EQ(formatDuration(125), "2 min 05 s");
    EXPECT_EQ(formatDuration(3720), "1 h 02 min");
}

}  // namespace
}  // namespace tiomipra::test
