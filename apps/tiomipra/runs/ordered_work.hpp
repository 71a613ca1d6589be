// Many items to work on, several at a time, with the outcomes in the order of the items, so that
// results do not depend on the number of threads.
#ifndef TIOMIPRA_RUNS_ORDERED_WORK_HPP
#define TIOMIPRA_RUNS_ORDERED_WORK_HPP

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "ending.hpp"

namespace tiomipra {

// How many workers are sensible for `count` items, 0 if that is unknown; `jobs` of 0 stands for as
// many as there are processors.
std::size_t countWorkers(unsigned jobs, std::size_t count);

// Says on standard error that fewer threads than wanted could be started.
void noteMissingThreads(std::size_t started, std::size_t wanted);

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

// What came of an item: a result, or why there is none.
template <typename Result>
using Outcome = std::variant<Result, Ending>;

// Works on all items that `next` gives, until that is nothing, with a thread for each of `workers`,
// of which the calling one is the first, and hands what they return or throw to `accept`, in the
// order in which `next` gave the items. Where no more threads can be started, it does with those
// that there are.
//
// One thread at a time calls `next` or `accept`; when one of these throws, the run ends with that.
// Once `isCancelled` is true, which any thread may ask, the run ends after the items at hand.
template <typename Item, typename Result>
class OrderedWork {
  public:
    using Next = std::function<std::optional<Item>()>;
    using Worker = std::function<Result(const Item&)>;
    using Accept = std::function<void(const Item&, const Outcome<Result>&)>;
    using IsCancelled = std::function<bool()>;

    OrderedWork(Next next, Accept accept, IsCancelled isCancelled)
        : _next(std::move(next)),
          _accept(std::move(accept)),
          _isCancelled(std::move(isCancelled)) {}

    // False when it was cancelled.
    bool run(const std::vector<Worker>& workers) {
        const SharedProcessors processors(workers.size());
        _mostAhead = 2 * workers.size();
        std::vector<std::future<void>> threads = startThreads(workers);
        work(workers.front());
        for (std::future<void>& thread : threads)
            thread.get();
        return _isExhausted;
    }

    // How many outcomes were accepted.
    std::size_t accepted() const { return _accepted; }

  private:
    using Lock = std::unique_lock<std::mutex>;

    // For all workers but the first.
    std::vector<std::future<void>> startThreads(const std::vector<Worker>& workers) {
        std::vector<std::future<void>> threads;
        try {
            for (auto worker = workers.begin() + 1; worker != workers.end(); ++worker)
                threads.push_back(
                    std::async(std::launch::async, [this, worker] { work(*worker); }));
        } catch (const std::system_error&) {
            noteMissingThreads(threads.size() + 1, workers.size());
        }
        return threads;
    }

    void work(const Worker& worker) {
        Lock lock(_mutex);
        try {
            while (auto item = take(lock)) {
                const std::size_t number = _taken++;
                lock.unlock();
                Outcome<Result> outcome = attempt(worker, *item);
                lock.lock();
                _finished.emplace(number, std::pair(std::move(*item), std::move(outcome)));
                acceptFinished();
            }
        } catch (...) {
            _hasFailed = true;
            _changed.notify_all();
            throw;
        }
    }

    // Waits while one slow item makes the outcomes of many others pile up in memory.
    std::optional<Item> take(Lock& lock) {
        _changed.wait(lock, [this] { return _hasFailed || _taken < _accepted + _mostAhead; });
        if (_hasFailed || _isExhausted || _isCancelled())
            return std::nullopt;
        auto item = _next();
        _isExhausted = !item;
        return item;
    }

    static Outcome<Result> attempt(const Worker& worker, const Item& item) {
        try {
            return worker(item);
        } catch (const std::exception& exception) {
            return endingFor(exception);
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
    const IsCancelled _isCancelled;
    std::size_t _mostAhead = 0;

    std::mutex _mutex;  // guards all below
    std::condition_variable _changed;
    std::map<std::size_t, std::pair<Item, Outcome<Result>>> _finished;  // and not yet accepted
    std::size_t _taken = 0;
    std::size_t _accepted = 0;
    bool _isExhausted = false;
    bool _hasFailed = false;
};

}  // namespace tiomipra

#endif
