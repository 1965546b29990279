// Containers of many megabytes, whose memory is requested as huge pages.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include "base/memory.h"

template <class T>
struct LargeAllocator {
    using value_type = T;

    LargeAllocator() = default;
    template <class Other>
    explicit LargeAllocator(const LargeAllocator<Other>&) {}

    T* allocate(size_t count) {
        void* const block = allocateLarge(count * sizeof(T));
        if (!block) throw std::bad_alloc();
        return static_cast<T*>(block);
    }
    void deallocate(T* block, size_t) { std::free(block); }
    bool operator==(const LargeAllocator&) const { return true; }
};
