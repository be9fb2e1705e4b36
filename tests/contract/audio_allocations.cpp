// See audio_allocations.h. In a file of its own, because it replaces the program's operator new.
#include "contract/audio_allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t t_allocations = 0;

} // namespace

std::uint64_t allocations_of_this_thread() {
    return t_allocations;
}

void* operator new(std::size_t size) {
    ++t_allocations;
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    std::abort();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
