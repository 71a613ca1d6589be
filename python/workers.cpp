#include "workers.hpp"

#include <pybind11/pybind11.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <future>
#include <optional>
#include <thread>
#include <utility>

#include "interpreter.hpp"
#include "logging.hpp"

namespace tiomipra::python {
namespace {

// Hands out frames to threads.
class FrameQueue {
  public:
    FrameQueue(FrameSource& source, std::size_t step) : _source(source), _step(step) {}

    std::optional<std::pair<std::size_t, Frame>> next() {
        const std::lock_guard lock(_mutex);
        auto frame = _isClosed || isProcessEnding() ? std::nullopt : _source.next();
        if (!frame)
            return std::nullopt;
        for (std::size_t i = 1; i < _step; ++i)
            _source.next();
        return std::make_pair(_number++, std::move(*frame));
    }

    void close() {
        const std::lock_guard lock(_mutex);
        _isClosed = true;
    }

  private:
    std::mutex _mutex;
    FrameSource& _source;
    const std::size_t _step;
    std::size_t _number = 0;
    bool _isClosed = false;
};

void waitFor(std::future<void>& worker) {
    constexpr auto patience = std::chrono::milliseconds(50);
    while (worker.wait_for(patience) != std::future_status::ready)
        requireNoSignal();
    worker.get();
}

}  // namespace

Notify Notices::notify() {
    return [this](const std::string& notice) {
        const std::lock_guard lock(_mutex);
        if (std::find(_notices.begin(), _notices.end(), notice) == _notices.end())
            _notices.push_back(notice);
    };
}

void Notices::keep() {
    const std::lock_guard lock(_mutex);
    for (const std::string& notice : std::exchange(_notices, {}))
        keepNotice(notice);
}

void requireNoSignal() {
    const RegainedInterpreter regained;
    if (PyErr_CheckSignals() != 0)
        throw pybind11::error_already_set();
}

void workOnFrames(FrameSource& source, std::size_t step,
                  const std::function<void(std::size_t number, const Frame& frame)>& work) {
    FrameQueue queue(source, step);
    std::vector<std::future<void>> workers;
    const unsigned count = std::max(1U, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i)
        workers.push_back(std::async(std::launch::async, [&] {
            const LibraryWork counted;
            while (const auto next = queue.next())
                work(next->first, next->second);
        }));
    try {
        for (auto& worker : workers)
            waitFor(worker);
    } catch (...) {
        queue.close();
        workers.clear();  // waits for them
        throw;
    }
}

}  // namespace tiomipra::python
