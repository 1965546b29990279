#include "netdb/index.h"

#include <algorithm>
#include <bit>

#include "base/characters.h"
#include "base/qkassert.h"
#include "netdb/store.h"

void HashIndex::place(Slot slot) {
    size_t at = home(slot.hash);
    while (slots[at].id != kNone) at = next(at);
    slots[at] = slot;
}

void HashIndex::resize(size_t newCapacity) {
    Slot* const old = slots;
    const size_t oldCapacity = capacity;
    slots = static_cast<Slot*>(allocateBlock(newCapacity * sizeof(Slot), "net database"));
    capacity = newCapacity;
    std::fill_n(slots, capacity, Slot{0, kNone});
    for (size_t i = 0; i < oldCapacity; ++i)
        if (old[i].id != kNone) place(old[i]);
    std::free(old);
}

void HashIndex::reserve(size_t count) {
    const size_t wanted = std::bit_ceil((used + count) * 4 / 3 + 16);
    if (wanted > capacity) resize(wanted);
}

void HashIndex::insert(uint32_t hash, uint32_t id) {
    if ((used + 1) * 4 > capacity * 3) resize(capacity == 0 ? 64 : capacity * 2);
    place(Slot{hash, id});
    ++used;
}

size_t HashIndex::slotOf(uint32_t hash, uint32_t id) const {
    size_t at = home(hash);
    while (slots[at].hash != hash || slots[at].id != id) {
        QK_ASSERT(slots[at].id != kNone);
        at = next(at);
    }
    return at;
}

void HashIndex::remove(uint32_t hash, uint32_t id) {
    size_t hole = slotOf(hash, id);
    // Entries after the hole move up, unless that would move them before their home slot.
    for (size_t at = next(hole); slots[at].id != kNone; at = next(at)) {
        const size_t distance = (at - home(slots[at].hash)) & (capacity - 1);
        if (distance >= ((at - hole) & (capacity - 1))) {
            slots[hole] = slots[at];
            hole = at;
        }
    }
    slots[hole].id = kNone;
    --used;
}

void HashIndex::replace(uint32_t hash, uint32_t id, uint32_t newId) {
    slots[slotOf(hash, id)].id = newId;
}

namespace {

uint32_t foldedHashStep(uint32_t hash, char next) {
    return (hash ^ static_cast<unsigned char>(upperCase(next))) * 0x01000193u;
}

}  // namespace

uint32_t foldedHashFrom(uint32_t hash, const char* text) {
    for (; *text; ++text) hash = foldedHashStep(hash, *text);
    return hash;
}

uint32_t foldedHashFrom(uint32_t hash, const char* text, size_t length) {
    for (size_t i = 0; i < length; ++i) hash = foldedHashStep(hash, text[i]);
    return hash;
}
