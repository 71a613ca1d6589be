// Many pairs to work on, several at a time, with the outcomes in the order of the pairs: nobody can
// tell from these how many worked.
#ifndef TIOMIPRA_WORKERS_HPP
#define TIOMIPRA_WORKERS_HPP

#include <CLI/App.hpp>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "interruption.hpp"
#include "status.hpp"

namespace tiomipra {

// Adds --jobs.
CLI::Option* addJobsOption(CLI::App& command, unsigned& jobs);

// How many workers are sensible for `count` pairs, 0 if that is unknown; `jobs` of 0 stands for as
// many as there are processors.
std::size_t countWorkers(unsigned jobs, std::size_t count);

// While it lives, OpenCV runs in the threads that call it, if these are several.
class SharedProcessors {
  public:
    explicit SharedProcessors(std::size_t workers);
    SharedProcessors(const SharedProcessors&) = delete;
    SharedProcessors& operator=(const SharedProcessors&) = delete;
    ~SharedProcessors();

  private:
    int _threadsBefore;
};

// What came of a pair: a result, or why there is none.
template <typename Result>
using Outcome = std::variant<Result, CommandError>;

// Works on all pairs that `next` gives, until that is nothing, with a thread for each of `workers`,
// and hands what they return or throw to `accept`, in the order in which `next` gave the pairs.
//
// One thread at a time calls `next` or `accept`; when one of these throws, the run ends with that.
// SIGINT and SIGTERM end it after the pairs at hand: `run` throws `Interrupted` then, with the
// count of the `things` that were accepted.
template <typename Pair, typename Result>
class OrderedWork {
  public:
    using Next = std::function<std::optional<Pair>()>;
    using Worker = std::function<Result(const Pair&)>;
    using Accept = std::function<void(const Pair&, const Outcome<Result>&)>;

    OrderedWork(Next next, Accept accept) : _next(std::move(next)), _accept(std::move(accept)) {}

    void run(const std::vector<Worker>& workers, const std::string& things = "pairs") {
        const SharedProcessors processors(workers.size());
        _mostAhead = 2 * workers.size();
        std::vector<std::future<void>> threads;
        for (const Worker& worker : workers)
            threads.push_back(std::async(std::launch::async, [this, &worker] { work(worker); }));
        for (std::future<void>& thread : threads)
            thread.get();
        if (!_isExhausted)
            throw Interrupted("interrupted after " + std::to_string(_accepted) + " " + things);
    }

  private:
    using Lock = std::unique_lock<std::mutex>;

    void work(const Worker& worker) {
        Lock lock(_mutex);
        try {
            while (auto pair = take(lock)) {
                const std::size_t number = _taken++;
                lock.unlock();
                Outcome<Result> outcome = attempt(worker, *pair);
                lock.lock();
                _finished.emplace(number, std::pair(std::move(*pair), std::move(outcome)));
                acceptFinished();
            }
        } catch (...) {
            _hasFailed = true;
            _changed.notify_all();
            throw;
        }
    }

    // Waits while one slow pair makes the outcomes of many others pile up in memory.
    std::optional<Pair> take(Lock& lock) {
        _changed.wait(lock, [this] { return _hasFailed || _taken < _accepted + _mostAhead; });
        if (_hasFailed || _isExhausted || _watch.isInterrupted())
            return std::nullopt;
        auto pair = _next();
        _isExhausted = !pair;
        return pair;
    }

    static Outcome<Result> attempt(const Worker& worker, const Pair& pair) {
        try {
            return worker(pair);
        } catch (const CommandError& error) {
            return error;
        } catch (const std::exception& error) {
            return InputError(error.what());
        }
    }

    void acceptFinished() {
        for (auto first = _finished.begin();
             !_hasFailed && first != _finished.end() && first->first == _accepted;
             first = _finished.erase(first)) {
            ++_accepted;
            _accept(first->second.first, first->second.second);
        }
        _changed.notify_all();
    }

    const Next _next;
    const Accept _accept;
    const InterruptionWatch _watch;
    std::size_t _mostAhead = 0;

    std::mutex _mutex;  // guards all below
    std::condition_variable _changed;
    std::map<std::size_t, std::pair<Pair, Outcome<Result>>> _finished;  // and not yet accepted
    std::size_t _taken = 0;
    std::size_t _accepted = 0;
    bool _isExhausted = false;
    bool _hasFailed = false;
};

}  // namespace tiomipra

#endif
