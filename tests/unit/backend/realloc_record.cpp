// See realloc_record.h.
#include "unit/backend/realloc_record.h"

namespace {

ReallocRecord* g_record = nullptr;

} // namespace

// The linker's names for the replacement and what it replaces.
extern "C" {
void* __real_realloc(void* block, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);

void* __wrap_realloc(void* block, std::size_t size) {
    if (g_record != nullptr && !g_record->add(size)) {
        return nullptr;
    }
    return __real_realloc(block, size);
}
}

ReallocRecord::ReallocRecord() {
    g_record = this;
}

ReallocRecord::~ReallocRecord() {
    g_record = nullptr;
}

bool ReallocRecord::add(std::size_t size) {
    m_sizes.push_back(size);
    return size <= m_most;
}
