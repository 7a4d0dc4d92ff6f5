#pragma once

#include <cstdint>

/// How often this thread has asked for heap memory so far, from any library.
std::uint64_t heapAllocations();
