#include "support/failing_new.hpp"

#include <cstdlib>
#include <new>

thread_local long allocationsLeft = -1;

bool isToFail() {
    return allocationsLeft >= 0 && allocationsLeft-- == 0;
}

void* operator new(std::size_t size) {
    void* const memory = isToFail() ? nullptr : std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
