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

class OrderedWorkOnNumbers : public testing::Test {
  protected:
    using Work = OrderedWork<int, int>;

    // The number 3 fails. Works on 0 to 39 until `isCancelled`; `last` is the last one accepted.
    std::vector<int> run(int last, const Work::IsCancelled& isCancelled, bool isWhole) {
        std::vector<int> accepted;
        Work work([next = 0]() mutable { return next < 40 ? std::optional(next++) : std::nullopt; },
                  [&](int number, const Outcome<int>& outcome) {
                      if (number > last)
                          throw std::out_of_range("the last one was accepted");
                      EXPECT_EQ(std::holds_alternative<Ending>(outcome), number == 3);
                      accepted.push_back(number);
                  },
                  isCancelled);
        const Work::Worker worker = [this](int number) {
            ++_begun;
            // The first one keeps all that others can do from being accepted.
            std::this_thread::sleep_for(std::chrono::milliseconds(number == 0 ? 50 : number % 3));
            return number == 3 ? throw std::runtime_error("3") : number;
        };
        if (last < 40)
            EXPECT_THROW(work.run(std::vector(4, worker)), std::out_of_range);
        else
            EXPECT_EQ(work.run(std::vector(4, worker)), isWhole);
        if (last >= 40) {
            EXPECT_EQ(work.accepted(), accepted.size());
        }
        return accepted;
    }

    static std::vector<int> upTo(int end) {
        std::vector<int> numbers(static_cast<std::size_t>(end));
        std::iota(numbers.begin(), numbers.end(), 0);
        return numbers;
    }

    std::atomic<int> _begun = 0;
};

TEST_F(OrderedWorkOnNumbers, KeepsTheOrderAndEndsWithWhatIsThrown) {
    const auto never = [] { return false; };
    EXPECT_EQ(run(40, never, true), upTo(40));
    EXPECT_EQ(run(17, never, true), upTo(18));
}

// All that was begun is accepted, however many that are.
TEST_F(OrderedWorkOnNumbers, EndsAfterTheItemsAtHandWhenCancelled) {
    const auto accepted = run(
        40, [this] { return _begun >= 12; }, false);
    EXPECT_EQ(accepted, upTo(_begun));
    EXPECT_LT(accepted.size(), 40U);
}

// With 4 workers at most 8 are ahead of the first one that is not accepted.
TEST(OrderedWork, DoesNotRunAheadOfASlowItem) {
    std::atomic<int> taken = 0;
    int mostAhead = 0;
    OrderedWork<int, int> work(
        [&]() -> std::optional<int> { return taken < 30 ? std::optional(taken++) : std::nullopt; },
        [&](int number, const Outcome<int>&) { mostAhead = std::max(mostAhead, taken - number); },
        [] { return false; });
    const OrderedWork<int, int>::Worker worker = [](int number) {
        std::this_thread::sleep_for(std::chrono::milliseconds(number == 0 ? 60 : 0));
        return number;
    };
    EXPECT_TRUE(work.run(std::vector(4, worker)));
    EXPECT_LE(mostAhead, 8);
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

TEST(Ending, NamesEveryFailure) {
    const Failure usage{"a", {Status::usage, "no"}};
    const Failure input{"b", {Status::input, "none"}};
    EXPECT_EQ(conclude({}, 3, "pairs").status, Status::done);
    EXPECT_EQ(conclude({input}, 1, "pairs").message, "none");
    EXPECT_EQ(conclude({usage, input}, 2, "pairs").status, Status::usage);
    const Ending some = conclude({usage, input}, 3, "images");
    EXPECT_EQ(some.status, Status::partial);
    EXPECT_EQ(some.message, "2 of 3 images failed:\n  a: no\n  b: none");
}

}  // namespace
}  // namespace tiomipra::test
