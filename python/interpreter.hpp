// Threads that run on when the interpreter ends.
#ifndef TIOMIPRA_PYTHON_INTERPRETER_HPP
#define TIOMIPRA_PYTHON_INTERPRETER_HPP

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

// Stands in a scope that waits for the interpreter, or runs Python, and throws nothing itself. When
// the interpreter has ended meanwhile, Python ends the thread by unwinding its stack, whose
// destructors would then touch the interpreter without having it; the thread stays here instead,
// until the process is gone. A `catch` would not do: where another exception is being handled, it
// ends the process.
class StayAtExit {
  public:
    StayAtExit() = default;
    StayAtExit(const StayAtExit&) = delete;
    StayAtExit& operator=(const StayAtExit&) = delete;
    ~StayAtExit() {
        while (!_isOver)
            pause();
    }

    // The scope has what it waited for.
    void end() { _isOver = true; }

  private:
    bool _isOver = false;
};

}  // namespace tiomipra::python

#endif
