// The changes of a block of an FST file: taken as they come, given back as a chain a variable.
//
// A chain is a variable's changes, each as the number of times since its last one and its value.
// The chains of many variables are more memory than the near caches hold, so a change goes first to
// the records of a group of variables, of which there are few. At the end of the block a group's
// records are made into its chains: all of a group fits in the near caches.
//
// A record is a head of 32 bits and the value. Heads grow from a chunk's begin on, values from its
// end down, so that the next head is found without a look at the length of the value:
//
//     bits 31..10  times since the last record of the group
//     bit  9       the value, for a variable of one bit
//     bits 8..0    the variable's place in the group
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "base/large_memory.h"

/// Appends a number in groups of seven bits, the lowest first.
inline unsigned char* storeVarint(unsigned char* out, uint32_t number) {
    for (; number >= 0x80; number >>= 7) *out++ = static_cast<unsigned char>(number | 0x80);
    *out++ = static_cast<unsigned char>(number);
    return out;
}

/// A variable as a change needs to know it.
struct FstVariable {
    uint32_t number = 0;  ///< counts from 0
    uint32_t width = 0;
    uint8_t oneBit = 0;  ///< 1 for a variable of one bit
    /// Of a value of at most 64 bits: the unused low bits of its last byte, and its bytes; none for
    /// one bit.
    uint8_t padding = 0, valueBytes = 0;
};

class FstChains {
public:
    using Span = std::span<const unsigned char>;
    /// The number of times in a block, at most.
    static constexpr uint32_t kMostTimes = uint32_t{1} << 22;

    /// @return the variable, of a width of at least 1
    FstVariable addVariable(uint32_t width);

    /// Takes a change of a variable of at most 64 bits.
    /// @param time  number of the time in the block, not less than that of the last change
    void add(FstVariable of, uint32_t time, uint64_t value) {
        Group& group = groups[of.number >> kGroupLog];
        if (room(group) < kLeastRoom) grow(group, kLeastRoom);
        putHead(group, of, time, static_cast<uint32_t>(value) & of.oneBit);
        const uint64_t turned = __builtin_bswap64(value << of.padding);
        std::memcpy(group.values - sizeof turned, &turned, sizeof turned);
        group.values -= of.valueBytes;
    }
    /// Takes a change of any variable but one of one bit, as bytes, the highest first.
    void add(FstVariable of, uint32_t time, Span bytes);

    size_t groupCount() const { return groups.size(); }
    /// Makes the chains of a group. @return those of its variables in order; valid until clear()
    std::span<const Span> chainsOf(size_t number, uint32_t timeCount);
    static size_t firstOf(size_t group) { return group << kGroupLog; }
    /// @return the chain that was made for a variable
    Span chain(size_t variable) const { return chains[variable]; }
    void clear();

private:
    static constexpr int kGroupLog = 9, kTimeShift = 10;
    static constexpr size_t kGroupSize = size_t{1} << kGroupLog;
    static constexpr uint32_t kPlaceMask = kGroupSize - 1;
    static constexpr size_t kLeastRoom = sizeof(uint32_t) + sizeof(uint64_t);

    struct Chunk {
        Chunk* next;
        unsigned char* end;        ///< where values begin
        const uint32_t* headsEnd;  ///< not known for the last one
        uint32_t* heads() { return reinterpret_cast<uint32_t*>(this + 1); }
    };
    struct Group {
        uint32_t* heads = nullptr;
        unsigned char* values = nullptr;
        uint32_t lastTime = 0;
        int chunkLog = 0;  ///< size of the last chunk
        Chunk* first = nullptr;
        Chunk* last = nullptr;
    };
    /// A chain in the making.
    struct Making {
        unsigned char* put;
        uint32_t lastTime;
        uint32_t valueBytes;
        uint32_t timeShift;
    };
    /// Memory for a block.
    class Arena {
    public:
        unsigned char* take(size_t bytes);
        void reset();

    private:
        struct Free {
            void operator()(unsigned char* bytes) const {
                LargeAllocator<unsigned char>().deallocate(bytes, 0);
            }
        };
        struct Slab {
            std::unique_ptr<unsigned char, Free> bytes;
            size_t size;
        };
        std::vector<Slab> slabs;
        size_t used = 0;  ///< of the slabs
        unsigned char* at = nullptr;
        size_t left = 0;
    };

    static size_t room(const Group& group) {
        return static_cast<size_t>(group.values - reinterpret_cast<unsigned char*>(group.heads));
    }
    static void putHead(Group& group, FstVariable of, uint32_t time, uint32_t bit) {
        const uint32_t passed = time - group.lastTime;
        group.lastTime = time;
        *group.heads++ = passed << kTimeShift | bit << kGroupLog | (of.number & kPlaceMask);
    }
    void grow(Group& group, size_t bytes);
    void layOut(Making* making, std::span<Span> result, const Group& group, uint32_t timeCount);
    static void fill(Making* making, const Group& group);

    std::vector<Group> groups;
    std::vector<uint32_t> widths;  ///< of the variables
    std::vector<Span> chains;      ///< of the variables, in the block
    Arena arena;
};
