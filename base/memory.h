// Allocation that succeeds or ends the process.
#pragma once

#include <cstddef>

inline constexpr size_t kHugePageBytes = size_t{2} << 20;

/// @return `bytes` of memory, not cleared, to be released with free(), or null. Large blocks use
///         huge pages if the system has them: reading a large table at random places would cost a
///         walk of the page tables each time otherwise.
void* allocateLarge(size_t bytes);

/// As allocateLarge(), but if memory is exhausted, calls failAllocation("malloc", tag).
void* allocateBlock(size_t bytes, const char* tag);

/// Ends the process with status 1 and "<function> failed for <tag>" on the standard error stream.
[[noreturn]] void failAllocation(const char* function, const char* tag);
