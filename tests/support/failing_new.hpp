// An `operator new` that fails on demand; for programs that link failing_new.cpp.
#ifndef TIOMIPRA_TESTS_FAILING_NEW_HPP
#define TIOMIPRA_TESTS_FAILING_NEW_HPP

// This thread's allocations until one fails; negative: none does.
extern thread_local long allocationsLeft;

// Counts an allocation; true for the one that has to fail.
bool isToFail();

#endif
