// See allocation_counter.h. In a file of its own, so that no compiler sees through the replaced
// operators into their callers.
#include "support/allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool t_counting = false;
thread_local int t_count = 0;

} // namespace

void* operator new(std::size_t size) {
    if (t_counting) {
        ++t_count;
    }
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

AllocationCounter::AllocationCounter() {
    t_count = 0;
    t_counting = true;
}

AllocationCounter::~AllocationCounter() {
    t_counting = false;
}

int AllocationCounter::count() const {
    return t_count;
}
