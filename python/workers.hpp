// Work on all pairs by all processors, which a signal ends.
#ifndef TIOMIPRA_PYTHON_WORKERS_HPP
#define TIOMIPRA_PYTHON_WORKERS_HPP

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/errors.hpp"
#include "base/notices.hpp"
#include "files/frame_source.hpp"

namespace tiomipra::python {

// Those of several threads.
class Notices {
  public:
    Notify notify();

    // As `keepNotice`, each once. By the thread that called the library.
    void keep();

  private:
    std::mutex _mutex;
    std::vector<std::string> _notices;
};

// Throws what a handler of Python's signals raises, `KeyboardInterrupt` say. Without the
// interpreter.
void requireNoSignal();

// Calls `work` for one in `step` frames with their number among these, from several threads. Ends
// early, and throws, when `work` does, or with `requireNoSignal`. Without the interpreter.
void workOnFrames(FrameSource& source, std::size_t step,
                  const std::function<void(std::size_t number, const Frame& frame)>& work);

template <typename Result>
struct FrameOutcome {
    Frame frame;
    std::optional<Result> result;
    std::string complaint;  // why there is none
};

// What `work` gives for one in `step` frames, by their number among these. A pair that can't be
// used does not keep the others from it; a file that can't be read does. Throws as `workOnFrames`.
template <typename Work>
auto collectOutcomes(FrameSource& source, std::size_t step, const Work& work) {
    using Result = decltype(work(std::declval<const Frame&>()));
    std::mutex mutex;
    std::map<std::size_t, FrameOutcome<Result>> outcomes;
    workOnFrames(source, step, [&](std::size_t number, const Frame& frame) {
        FrameOutcome<Result> outcome{frame, std::nullopt, {}};
        try {
            outcome.result = work(frame);
        } catch (const FileError&) {
            throw;
        } catch (const InputError& error) {
            outcome.complaint = error.what();
        }
        const std::lock_guard lock(mutex);
        outcomes.emplace(number, std::move(outcome));
    });
    return outcomes;
}

}  // namespace tiomipra::python

#endif
