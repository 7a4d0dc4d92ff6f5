#include "allocations.h"

#include <cstddef>

// Qt's containers call malloc, not operator new: only here are all allocations seen.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);
}

namespace {

thread_local std::uint64_t count = 0;

} // namespace

std::uint64_t heapAllocations()
{
    return count;
}

extern "C" void *malloc(std::size_t size) noexcept
{
    ++count;
    return __libc_malloc(size);
}

extern "C" void *calloc(std::size_t number, std::size_t size) noexcept
{
    ++count;
    return __libc_calloc(number, size);
}

extern "C" void *realloc(void *memory, std::size_t size) noexcept
{
    ++count;
    return __libc_realloc(memory, size);
}
