// What a comparison of memory needs to know of it.
#pragma once

#include <cstddef>

/// Storage of the model, and a copy of it.
struct CopiedBytes {
    const char* live;
    const char* copy;
    size_t bytes;
};
