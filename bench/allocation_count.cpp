// Replaces the global allocation functions to count allocations. Kept in a translation unit
// of its own so that they are never inlined into the benchmarks.

#include "allocation_count.h"

#include <cstdlib>
#include <new>

namespace {
std::size_t allocations = 0;
}

std::size_t allocationCount()
{
    return allocations;
}

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
