// What the library logs, and the notices of the rooms, as records of Python's `logging`.
#ifndef TIOMIPRA_PYTHON_LOGGING_HPP
#define TIOMIPRA_PYTHON_LOGGING_HPP

#include "base/notices.hpp"

namespace tiomipra::python {

// From now on records wait in the thread that logs; nothing goes to standard error.
void keepRecords();

// Around a call: before it, the library's categories admit what Python's loggers are enabled for;
// after it, the records of this thread are handed to these.
//
// They wait until then because a handler may wait for anything: for the interpreter, which another
// thread holds that waits to log, or for a lock of its own. Made and destroyed by threads that hold
// the interpreter.
class DeliveredRecords {
  public:
    DeliveredRecords();
    DeliveredRecords(const DeliveredRecords&) = delete;
    DeliveredRecords& operator=(const DeliveredRecords&) = delete;
    ~DeliveredRecords();
};

// A notice as a record of the logger "tiomipra": a warning, or an info. To be called within
// `DeliveredRecords`.
void keepNotice(const std::string& notice);

}  // namespace tiomipra::python

#endif
