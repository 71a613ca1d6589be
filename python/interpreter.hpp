// Threads that run on when the interpreter ends.
#ifndef TIOMIPRA_PYTHON_INTERPRETER_HPP
#define TIOMIPRA_PYTHON_INTERPRETER_HPP

#include <cxxabi.h>
#include <unistd.h>

namespace tiomipra::python {

// Calls `work`, which waits for the interpreter. When that has ended meanwhile, Python ends the
// thread by unwinding its stack, whose destructors would then touch the interpreter without having
// it; the thread stays here instead, until the process is gone.
template <typename Work>
auto stayAtExit(const Work& work) {
    try {
        return work();
    } catch (const abi::__forced_unwind&) {
        while (true)
            pause();
    }
}

}  // namespace tiomipra::python

#endif
