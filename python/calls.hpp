// How the library is called from Python.
#ifndef TIOMIPRA_PYTHON_CALLS_HPP
#define TIOMIPRA_PYTHON_CALLS_HPP

#include <pybind11/pybind11.h>

#include "logging.hpp"

namespace tiomipra::python {

// Lets other threads have the interpreter. When the process ends meanwhile, getting it back ends
// the thread, by unwinding its stack; the destructor must let that pass.
class ReleasedInterpreter {
  public:
    ReleasedInterpreter() : _state(PyEval_SaveThread()) {}
    ReleasedInterpreter(const ReleasedInterpreter&) = delete;
    ReleasedInterpreter& operator=(const ReleasedInterpreter&) = delete;
    ~ReleasedInterpreter() noexcept(false) { PyEval_RestoreThread(_state); }

  private:
    PyThreadState* _state;
};

// Runs `work` without the interpreter, of which it may touch nothing. A mutex that it takes it
// gives back before it ends, so that nobody waits for the interpreter with a mutex in hand.
template <typename Work>
auto callLibrary(const Work& work) {
    const DeliveredRecords records;
    const ReleasedInterpreter released;
    return work();
}

}  // namespace tiomipra::python

#endif
