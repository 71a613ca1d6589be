#include "interpreter.hpp"

#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace tiomipra::python {
namespace {

std::atomic<int> threadsAtWork{0};
std::atomic<bool> isEnding{false};

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

WorkPause::WorkPause() {
    --threadsAtWork;
}

WorkPause::~WorkPause() {
    ++threadsAtWork;
}

bool isProcessEnding() {
    return isEnding;
}

void waitForWorkAtExit() {
    Py_AtExit(waitForWork);
}

}  // namespace tiomipra::python
