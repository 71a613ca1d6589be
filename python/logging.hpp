// What the library logs, and the notices of the rooms, as records of Python's `logging`.
#ifndef TIOMIPRA_PYTHON_LOGGING_HPP
#define TIOMIPRA_PYTHON_LOGGING_HPP

#include "base/notices.hpp"

namespace tiomipra::python {

// From now on records wait in the thread that logs; nothing goes to standard error.
void keepRecords();

// Before a call: the library's categories admit what Python's loggers are enabled for. By a thread
// that holds the interpreter.
void admitRecords();

// After it: hands the records of this thread to the loggers. They wait until then because a handler
// may wait for anything: for the interpreter, which another thread holds that waits to log, or for
// a lock of its own. What a handler raises is reported as unraisable, but for what is to end the
// program, such as `KeyboardInterrupt`: that is thrown. By a thread that holds the interpreter.
void deliverRecords();

// A notice as a record of the logger "tiomipra": a warning, or an info. To be called within
// `callLibrary`.
void keepNotice(const std::string& notice);

}  // namespace tiomipra::python

#endif
