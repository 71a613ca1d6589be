#include "runs/interruption.hpp"

#include <atomic>
#include <cstdlib>

namespace tiomipra {
namespace {

constexpr int watchedSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> notedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not wait");

void note(int signal) {
    notedSignal = signal;
}

// What is ignored stays ignored: a shell has jobs in the background ignore SIGINT, nohup SIGHUP.
void watchFor(int signal, struct sigaction& previous) {
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN)
        return;
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(signal, &action, nullptr);
}

}  // namespace

InterruptionWatch::InterruptionWatch() {
    notedSignal = 0;
    for (std::size_t i = 0; i < _previous.size(); ++i)
        watchFor(watchedSignals[i], _previous[i]);
}

InterruptionWatch::~InterruptionWatch() {
    for (std::size_t i = 0; i < _previous.size(); ++i)
        sigaction(watchedSignals[i], &_previous[i], nullptr);
}

bool InterruptionWatch::isInterrupted() const {
    return notedSignal != 0;
}

void dieInterrupted() {
    std::signal(notedSignal, SIG_DFL);
    std::raise(notedSignal);
    // cppcheck-suppress unreachableCode; only the compiler does not know
    std::abort();  // not reached: the signals' default is to end the process
}

}  // namespace tiomipra
