// Ending early, but in good order, on SIGINT, SIGTERM and SIGHUP.
#ifndef TIOMIPRA_RUNS_INTERRUPTION_HPP
#define TIOMIPRA_RUNS_INTERRUPTION_HPP

#include <array>
#include <csignal>
#include <stdexcept>

namespace tiomipra {

// While an object lives, the first signal of each kind is only noted; a second one kills the
// process. One object at a time.
class InterruptionWatch {
  public:
    InterruptionWatch();
    InterruptionWatch(const InterruptionWatch&) = delete;
    InterruptionWatch& operator=(const InterruptionWatch&) = delete;
    ~InterruptionWatch();

    // True once a signal has come. From any thread.
    bool isInterrupted() const;

  private:
    std::array<struct sigaction, 3> _previous{};
};

// Ends the command because of the signal that the latest watch has noted.
class Interrupted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Dies of that signal after all, so that the caller, a shell say, learns of it.
[[noreturn]] void dieInterrupted();

}  // namespace tiomipra

#endif
