// How a long run is going: a bar with rate and time left on a terminal, plain lines elsewhere.
#ifndef TIOMIPRA_RUNS_PROGRESS_HPP
#define TIOMIPRA_RUNS_PROGRESS_HPP

#include <chrono>
#include <cstddef>
#include <iosfwd>
#include <string>

namespace tiomipra {

// Where progress is shown.
struct ProgressOutput {
    std::ostream* bar = nullptr;    // a terminal for the bar; null: no bar
    std::ostream* lines = nullptr;  // a line for each item; null: none
};

// The bar goes to standard error if that is a terminal. The lines are results and go to standard
// output, unless `isOutputReserved`, for JSON say; a terminal that shows the bar is spared them.
ProgressOutput chooseProgressOutput(bool isOutputReserved, std::size_t total);

// The same without any lines, for those who are to be silent off a terminal.
ProgressOutput chooseBar(std::size_t total);

// Puts a line on standard error, in place of a bar that may be there.
void sayBesideBar(const std::string& line);

// "[=====     ]  12/40  14.2/s  2 s left"; without a total (0) only what is known.
std::string formatBar(std::size_t done, std::size_t total, double perSecond);

// "8 s", "2 min 05 s", "1 h 02 min".
std::string formatDuration(double seconds);

// A line on a terminal that changes, and is taken away at the end; without a terminal nothing.
class StatusLine {
  public:
    explicit StatusLine(std::ostream* terminal) : _terminal(terminal) {}
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    ~StatusLine();

    // Whether it is time to show something else.
    bool isDue() const;
    void show(const std::string& text);

  private:
    using Clock = std::chrono::steady_clock;

    std::ostream* _terminal;
    Clock::time_point _lastShown{};
};

// Counts what is done; at its end the bar is taken away. Calls must be serialised by the caller.
class Progress {
  public:
    Progress(const ProgressOutput& output, std::size_t total);

    // An item was there already; it does not count for the rate.
    void skip();

    // An item is done or has failed; `what` is one line about it.
    void advance(const std::string& what);

  private:
    using Clock = std::chrono::steady_clock;

    void drawBar();

    std::ostream* _lines;
    StatusLine _bar;
    std::size_t _total;
    std::size_t _done = 0;
    std::size_t _skipped = 0;
    Clock::time_point _start = Clock::now();
};

}  // namespace tiomipra

#endif
