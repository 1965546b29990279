#include "base/memory.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

void* allocateBlock(size_t bytes, const char* tag) {
    constexpr size_t kHugePage = size_t{2} << 20;
    void* block;
    if (bytes < kHugePage) {
        block = std::malloc(bytes);
    } else {
        const size_t whole = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        block = std::aligned_alloc(kHugePage, whole);
        if (block) madvise(block, whole, MADV_HUGEPAGE);  // only a hint
    }
    if (!block) failAllocation("malloc", tag);
    return block;
}

void failAllocation(const char* function, const char* tag) {
    std::fprintf(stderr, "%s failed for %s\n", function, tag);
    std::exit(1);
}
