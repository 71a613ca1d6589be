// Threads that run on when the interpreter ends.
#ifndef TIOMIPRA_PYTHON_INTERPRETER_HPP
#define TIOMIPRA_PYTHON_INTERPRETER_HPP

#include <cxxabi.h>
#include <unistd.h>

namespace tiomipra::python {

// While it lives, its thread runs the library's code.
class LibraryWork {
  public:
    LibraryWork();
    LibraryWork(const LibraryWork&) = delete;
    LibraryWork& operator=(const LibraryWork&) = delete;
    ~LibraryWork();
};

// Lets other threads have the interpreter, for work of this one that touches nothing of it.
class ReleasedInterpreter {
  public:
    ReleasedInterpreter();
    ReleasedInterpreter(const ReleasedInterpreter&) = delete;
    ReleasedInterpreter& operator=(const ReleasedInterpreter&) = delete;
    ~ReleasedInterpreter();
};

// Takes it back for a while, in a thread that has released it.
class RegainedInterpreter {
  public:
    RegainedInterpreter();
    RegainedInterpreter(const RegainedInterpreter&) = delete;
    RegainedInterpreter& operator=(const RegainedInterpreter&) = delete;
    ~RegainedInterpreter();
};

// Has the process wait, once the interpreter has ended, for threads at work, some seconds at most:
// what they use is taken down next.
void waitForWorkAtExit();

// Whether work that is done piece by piece should begin no more of them.
bool isProcessEnding();

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
