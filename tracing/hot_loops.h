// The inner loops of capture and of VCD text, once for each kind of vector unit.
//
// All kinds give identical results. The best one that the machine supports is chosen at run time.
#pragma once

#include <cstddef>
#include <cstdint>

struct CaptureBlocks;
struct CopiedBytes;
struct OutputChange;

/// State of the text that continues from one bucket to the next.
struct VcdTextState {
    uint64_t lastWrittenTime = ~uint64_t{0};
    bool signedTimes = false;   ///< times from 2^63 on are written as negative numbers
    bool valueStarted = false;  ///< a digit of the current value has been written
    bool hasManySlots = false;  ///< more than the caches keep near
    /// Decimal digits of the latest time, and of all times from digitsFrom on, digitsRange of them.
    unsigned timeDigits = 1;
    uint64_t digitsFrom = 0, digitsRange = 10;
};

/// Maximum length of the text of one entry, and of what the loops may write after it.
inline constexpr size_t kMostTextBytes = 96;

/// State of toggle coverage for the bits of some words, in three arrays of that many words. A bit
/// that has changed twice has both risen and fallen, whatever its first value was: it is done, and
/// no longer looked at. A bit that has changed once has risen if its last value is 1, else it has
/// fallen.
struct ToggleWords {
    uint64_t* seen;  ///< last value; any value for a bit that is done
    uint64_t* once;  ///< changed at least once
    uint64_t* done;  ///< changed at least twice
    ToggleWords from(size_t word) const { return {seen + word, once + word, done + word}; }
};

struct HotLoops {
    /// Compares all blocks with their images, brings the images up to date, and lists the picks
    /// that changed in `hits`, in the order of their numbers.
    /// @return how many there are; picks of one part across two blocks count twice
    size_t (*findChanges)(CaptureBlocks& blocks);

    /// The same, but lists the positions of the picks and those that are marked, once each and in
    /// ascending order. Clears the marks.
    /// @param anyMarked  false: none is marked
    /// @param out        room for all positions, and 16 more
    /// @return the end of the list
    uint32_t* (*listChanges)(CaptureBlocks& blocks, bool anyMarked, uint32_t* out);

    /// @return the number of the first array whose copy differs, or `count`
    size_t (*firstDifferent)(const CopiedBytes* arrays, size_t count);

    /// Copies `count` whole blocks; parts of the source may belong to no object.
    void (*copyBlocks)(const unsigned char* from, unsigned char* to, size_t count);

    /// Notes which bits of `count` words have changed since they were last seen.
    /// @param live  at a multiple of eight bytes; may contain other objects, too
    void (*countToggles)(const void* live, const ToggleWords& state, size_t count);

    /// Writes the text of consecutive entries.
    /// @param tails  SlotTable::tails
    /// @param out    room for kMostTextBytes for each entry
    /// @return the end of the text
    char* (*writeText)(const OutputChange* begin, const OutputChange* end, const uint64_t* tails,
                       VcdTextState& state, char* out);

    const char* name;
};

/// The kinds, best last. Those that the machine does not support are null.
enum VectorUnit { kPlainUnit, kAvx2Unit, kAvx512Unit, kVectorUnitCount };
const HotLoops* hotLoopsOf(VectorUnit unit);

/// The loops in use: the best that the machine supports.
const HotLoops& hotLoops();
/// Uses the loops of another unit, which the machine must support.
void useVectorUnit(VectorUnit unit);
