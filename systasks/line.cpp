#include "systasks/line.h"

#include <algorithm>
#include <cstring>

#include "base/memory.h"

constinit Line::Spare Line::spare = {};

void Line::grow(size_t count) {
    constexpr size_t kFirstBytes = 4096;
    const size_t wanted = std::max({kFirstBytes, capacity * 2, used + count});
    auto* const larger = static_cast<char*>(std::realloc(text, wanted));
    if (!larger) failAllocation("realloc", text ? "ACC_str_reset" : "qk_ACC_str_reset");
    text = larger;
    capacity = wanted;
}

void Line::add(std::string_view piece) {
    if (piece.empty()) return;
    std::memcpy(room(piece.size()), piece.data(), piece.size());
    advance(piece.size());
}

void Line::fill(size_t count, char c) {
    if (count == 0) return;
    std::memset(room(count), c, count);
    advance(count);
}

std::string_view Line::finish(std::string_view ending) {
    if (const void* const nul = std::memchr(text, '\0', used))
        used = static_cast<size_t>(static_cast<const char*>(nul) - text);
    add(ending);
    *room(1) = '\0';
    return {text, used};
}
