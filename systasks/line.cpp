#include "systasks/line.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr size_t kFirstBytes = 4096;

struct Spare {
    std::unique_ptr<char[]> text;
    size_t capacity = 0;
};

Spare& spare() {
    static Spare* const kept = new Spare;  // tasks may be called until the very end of the process
    return *kept;
}

}  // namespace

Line::Line() : text(std::move(spare().text)), capacity(std::exchange(spare().capacity, 0)) {
    if (!text) grow(kFirstBytes);
}

Line::~Line() {
    if (capacity <= spare().capacity) return;
    spare().text = std::move(text);
    spare().capacity = capacity;
}

void Line::grow(size_t count) {
    const size_t wanted = std::max(capacity * 2, used + count);
    auto larger = std::make_unique_for_overwrite<char[]>(wanted);
    if (used != 0) std::memcpy(larger.get(), text.get(), used);
    text = std::move(larger);
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
    if (const void* const nul = used ? std::memchr(text.get(), '\0', used) : nullptr)
        used = static_cast<size_t>(static_cast<const char*>(nul) - text.get());
    add(ending);
    *room(1) = '\0';
    return {text.get(), used};
}
