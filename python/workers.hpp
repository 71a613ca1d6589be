// Work on all pairs by all processors, which a signal ends.
#ifndef TIOMIPRA_PYTHON_WORKERS_HPP
#define TIOMIPRA_PYTHON_WORKERS_HPP

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

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

}  // namespace tiomipra::python

#endif
