// Ending early, but in good order, on SIGINT and SIGTERM.
#ifndef TIOMIPRA_INTERRUPTION_HPP
#define TIOMIPRA_INTERRUPTION_HPP

#include <csignal>

namespace tiomipra {

// While an object lives, the first SIGINT or SIGTERM is only noted; a second one kills the process.
// One object at a time.
class InterruptionWatch {
  public:
    InterruptionWatch();
    InterruptionWatch(const InterruptionWatch&) = delete;
    InterruptionWatch& operator=(const InterruptionWatch&) = delete;
    ~InterruptionWatch();

    // True once a signal has come. From any thread.
    bool isInterrupted() const;

    // Dies of the noted signal after all, so that the caller, a shell say, learns of it.
    [[noreturn]] void die();

  private:
    struct sigaction _previousInterrupt {};
    struct sigaction _previousTerminate {};
};

}  // namespace tiomipra

#endif
