// Memory for tables of many megabytes, asked for as huge pages.
//
// A table read here and there costs a look at the page tables each time unless its pages are huge.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <new>

inline constexpr size_t kHugePageBytes = size_t{2} << 20;

/// For containers.
template <class T>
struct LargeAllocator {
    using value_type = T;

    LargeAllocator() = default;
    template <class Other>
    explicit LargeAllocator(const LargeAllocator<Other>&) {}

    T* allocate(size_t count) {
        const size_t bytes = count * sizeof(T);
        void* block;
        if (bytes < kHugePageBytes) {
            block = std::malloc(bytes);
        } else {
            const size_t whole = (bytes + kHugePageBytes - 1) / kHugePageBytes * kHugePageBytes;
            block = std::aligned_alloc(kHugePageBytes, whole);
            if (block) madvise(block, whole, MADV_HUGEPAGE);  // only a hint
        }
        if (!block) throw std::bad_alloc();
        return static_cast<T*>(block);
    }
    void deallocate(T* block, size_t) { std::free(block); }
    bool operator==(const LargeAllocator&) const { return true; }
};
