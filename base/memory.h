// Memory that is there, or the end of the process.
#pragma once

#include <cstddef>

inline constexpr size_t kHugePageBytes = size_t{2} << 20;

/// @return `bytes` of memory, not cleared, to be released with free(), or null. Large blocks come
///         as huge pages if the system has them: a table read here and there costs a look at the
///         page tables each time unless its pages are huge.
void* allocateLarge(size_t bytes);

/// As allocateLarge(), but without memory the process ends: failAllocation("malloc", tag).
void* allocateBlock(size_t bytes, const char* tag);

/// Ends the process with status 1 and "<function> failed for <tag>" on the standard error stream.
[[noreturn]] void failAllocation(const char* function, const char* tag);
