// Memory that is there, or the end of the process.
#pragma once

#include <cstddef>

/// @return `bytes` of memory, not cleared, to be released with free(). Large blocks come as huge
///         pages if the system has them. Without memory the process ends:
///         failAllocation("malloc", tag).
void* allocateBlock(size_t bytes, const char* tag);

/// Ends the process with status 1 and "<function> failed for <tag>" on the standard error stream.
[[noreturn]] void failAllocation(const char* function, const char* tag);
