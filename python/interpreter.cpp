#include "interpreter.hpp"

#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace tiomipra::python {
namespace {

std::atomic<int> threadsAtWork{0};
std::atomic<bool> isEnding{false};

// Of this thread while it has released the interpreter. What ends the interpreter leaves threads
// without one: pybind11's `gil_scoped_acquire` looks for it, finds none, makes another, and Python
// aborts the process. This one only is compared then, and the thread ends.
thread_local PyThreadState* releasedState = nullptr;

// Counted while the interpreter is in hand, as nothing ends it then.
void release() {
    ++threadsAtWork;
    releasedState = PyEval_SaveThread();
}

void regain() {
    --threadsAtWork;
    StayAtExit stay;
    PyEval_RestoreThread(releasedState);
    stay.end();
}

void waitForWork() {
    constexpr auto patience = std::chrono::seconds(10);
    isEnding = true;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (threadsAtWork > 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace

LibraryWork::LibraryWork() {
    ++threadsAtWork;
}

LibraryWork::~LibraryWork() {
    --threadsAtWork;
}

ReleasedInterpreter::ReleasedInterpreter() {
    release();
}

ReleasedInterpreter::~ReleasedInterpreter() {
    regain();
}

RegainedInterpreter::RegainedInterpreter() {
    regain();
}

RegainedInterpreter::~RegainedInterpreter() {
    release();
}

bool isProcessEnding() {
    return isEnding;
}

void waitForWorkAtExit() {
    Py_AtExit(waitForWork);
}

}  // namespace tiomipra::python
