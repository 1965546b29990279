#include "netdb/index.h"

#include <bit>

#include "base/qkassert.h"

void HashIndex::place(Slot slot) {
    size_t at = home(slot.hash);
    while (slots[at].id != kNone) at = next(at);
    slots[at] = slot;
}

void HashIndex::resize(size_t capacity) {
    std::vector<Slot> old(capacity, Slot{0, kNone});
    old.swap(slots);
    shift = 64 - std::countr_zero(capacity);
    for (const Slot& slot : old)
        if (slot.id != kNone) place(slot);
}

void HashIndex::reserve(size_t count) {
    const size_t wanted = std::bit_ceil((used + count) * 4 / 3 + 16);
    if (wanted > slots.size()) resize(wanted);
}

void HashIndex::insert(uint32_t hash, uint32_t id) {
    if ((used + 1) * 4 > slots.size() * 3) resize(slots.empty() ? 64 : slots.size() * 2);
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
    // Entries behind the hole move up as long as that does not take them past their home.
    for (size_t at = next(hole); slots[at].id != kNone; at = next(at)) {
        const size_t distance = (at - home(slots[at].hash)) & (slots.size() - 1);
        if (distance >= ((at - hole) & (slots.size() - 1))) {
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

uint32_t foldedHashFrom(uint32_t hash, const char* text) {
    for (; *text; ++text) {
        auto c = static_cast<unsigned char>(*text);
        if (c >= 'a' && c <= 'z') c = static_cast<unsigned char>(c - 32);
        hash = (hash ^ c) * 0x01000193u;
    }
    return hash;
}
