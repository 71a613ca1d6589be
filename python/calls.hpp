// How the library is called from Python.
#ifndef TIOMIPRA_PYTHON_CALLS_HPP
#define TIOMIPRA_PYTHON_CALLS_HPP

#include <pybind11/pybind11.h>

#include <type_traits>

#include "interpreter.hpp"
#include "logging.hpp"

namespace tiomipra::python {

// Runs `work` without the interpreter, of which it may touch nothing. A mutex that it takes it
// gives back before it ends, so that nobody waits for the interpreter with a mutex in hand. Then
// the records are delivered, which may throw what interrupts the program.
template <typename Work>
auto callLibrary(const Work& work) {
    admitRecords();
    const auto call = [&] {
        const ReleasedInterpreter released;
        return work();
    };
    try {
        if constexpr (std::is_void_v<decltype(work())>) {
            call();
            deliverRecords();
        } else {
            auto result = call();
            deliverRecords();
            return result;
        }
    } catch (...) {
        deliverRecords();
        throw;
    }
}

}  // namespace tiomipra::python

#endif
