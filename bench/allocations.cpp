#include "bench/allocations.h"

#include <stdlib.h>

#include <atomic>
#include <new>

namespace {
std::atomic<uint64_t> gCount{0};
}

uint64_t countAllocations() {
    return gCount;
}

void* operator new(size_t size) {
    gCount.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = malloc(size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    free(memory);
}

void operator delete(void* memory, size_t) noexcept {
    free(memory);
}
