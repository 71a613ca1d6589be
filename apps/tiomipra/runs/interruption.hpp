// Ending early, but in good order, on SIGINT and SIGTERM.
#ifndef TIOMIPRA_RUNS_INTERRUPTION_HPP
#define TIOMIPRA_RUNS_INTERRUPTION_HPP

#include <csignal>
#include <stdexcept>

namespace tiomipra {

// While an object lives, the first SIGINT and the first SIGTERM are only noted; a second one of the
// same kind kills the process. One object at a time.
class InterruptionWatch {
  public:
    InterruptionWatch();
    InterruptionWatch(const InterruptionWatch&) = delete;
    InterruptionWatch& operator=(const InterruptionWatch&) = delete;
    ~InterruptionWatch();

    // True once a signal has come. From any thread.
    bool isInterrupted() const;

  private:
    struct sigaction _previousInterrupt {};
    struct sigaction _previousTerminate {};
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
