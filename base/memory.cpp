#include "base/memory.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

void* allocateLarge(size_t bytes) {
    if (bytes < kHugePageBytes) return std::malloc(bytes);
    const size_t whole = (bytes + kHugePageBytes - 1) / kHugePageBytes * kHugePageBytes;
    void* const block = std::aligned_alloc(kHugePageBytes, whole);
    if (block) madvise(block, whole, MADV_HUGEPAGE);  // only a hint
    return block;
}

void* allocateBlock(size_t bytes, const char* tag) {
    void* const block = allocateLarge(bytes);
    if (!block) failAllocation("malloc", tag);
    return block;
}

void failAllocation(const char* function, const char* tag) {
    std::fprintf(stderr, "%s failed for %s\n", function, tag);
    std::exit(1);
}
