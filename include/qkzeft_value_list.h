// A value of any width, as a chain of 64-bit chunks.
#ifndef QKZEFT_VALUE_LIST_H
#define QKZEFT_VALUE_LIST_H

#include <stdint.h>

/// One chunk. Chunks are linked least significant first; the links are null at the ends.
struct QkMaxuList {
    uint64_t value;
    QkMaxuList* prev;
    QkMaxuList* next;
};
static_assert(sizeof(QkMaxuList) == 8 + 2 * sizeof(void*), "models have compiled this layout in");

#endif
