#pragma once

#include <cstdint>

/// How often this process has asked for heap memory so far, on any thread and from any library.
std::uint64_t heapAllocations();
