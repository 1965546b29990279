// Hash indexes of the net database.
//
// An index maps hashes to record numbers. It has no order of its own: the user sees the order of
// the rings. A slot holds the whole hash, so that a probe rarely reads a wrong record, and growing
// reads none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Open addressing, linear probing, at most three quarters full. A hash may occur any number of
/// times. The low bits of a hash are its place, so consecutive hashes have adjacent places.
class HashIndex {
public:
    HashIndex() = default;
    ~HashIndex() { std::free(slots); }
    HashIndex(const HashIndex&) = delete;
    HashIndex& operator=(const HashIndex&) = delete;

    void insert(uint32_t hash, uint32_t id);
    /// Removes the entry of this hash and number, which must exist.
    void remove(uint32_t hash, uint32_t id);
    /// Replaces the number in the entry of this hash and number, which must exist.
    void replace(uint32_t hash, uint32_t id, uint32_t newId);
    /// Makes room for `count` more entries.
    void reserve(size_t count);
    /// Prefetches the place of a hash.
    void prefetch(uint32_t hash) const {
        if (capacity != 0) __builtin_prefetch(&slots[home(hash)], 1);
    }

    /// Calls wanted(id) for the entries of this hash until it returns true.
    /// @return that number, or kNone
    template <class Wanted>
    uint32_t find(uint32_t hash, Wanted&& wanted) const {
        if (capacity == 0) return kNone;
        for (size_t at = home(hash); slots[at].id != kNone; at = next(at))
            if (slots[at].hash == hash && wanted(slots[at].id)) return slots[at].id;
        return kNone;
    }

    static constexpr uint32_t kNone = ~uint32_t{0};

private:
    struct Slot {
        uint32_t hash;
        uint32_t id;
    };
    size_t home(uint32_t hash) const { return hash & (capacity - 1); }
    size_t next(size_t at) const { return (at + 1) & (capacity - 1); }
    size_t slotOf(uint32_t hash, uint32_t id) const;
    void place(Slot slot);
    void resize(size_t newCapacity);

    Slot* slots = nullptr;
    size_t capacity = 0;  // a power of two, or 0
    size_t used = 0;
};

/// Hash of an address. Nets are close together in memory and mostly registered in that order, so
/// the addresses of one cache line have neighbouring places in an index.
inline uint32_t hashAddress(const void* address) {
    const uint64_t bits = reinterpret_cast<uintptr_t>(address);
    const uint64_t line = (bits >> 6) * uint64_t{0x9E3779B97F4A7C15};
    return static_cast<uint32_t>(line >> 37) << 5 | (bits >> 1 & 31);
}

/// Hash for look-up by name, letters converted to upper case; continues `hash`.
uint32_t foldedHashFrom(uint32_t hash, const char* text);
uint32_t foldedHashFrom(uint32_t hash, const char* text, size_t length);
inline constexpr uint32_t kFoldedHashStart = 0x811C9DC5;
