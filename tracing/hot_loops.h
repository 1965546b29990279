// The inner loops of capture and of VCD text, once for each kind of vector unit.
//
// All kinds give identical results. Plain C++ stands on its own; the others are chosen at run time.
#pragma once

#include <cstddef>
#include <cstdint>

struct CaptureBlocks;
struct OutputChange;

/// What the text of one bucket leaves for the next.
struct VcdTextState {
    uint64_t lastWrittenTime = ~uint64_t{0};
    bool signedTimes = false;   ///< times from 2^63 on are written as negative numbers
    bool valueStarted = false;  ///< a digit of the value in hand has been written
};

/// Bytes that the text of one entry takes at most, and the loops write beyond it at most.
inline constexpr size_t kMostTextBytes = 96;

struct HotLoops {
    /// Compares all blocks with their images, brings the images up to date, and lists the picks
    /// that changed in `hits`, in the order of their numbers.
    /// @return how many there are; picks of one part across two blocks count twice
    size_t (*findChanges)(CaptureBlocks& blocks);

    /// Copies `count` whole blocks; the source need not belong to any object throughout.
    void (*copyBlocks)(const unsigned char* from, unsigned char* to, size_t count);

    /// Notes which bits of `count` words differ from the image, by direction, and brings it up to
    /// date. The words may lie beside the nets that they are read for.
    /// @param live  at a multiple of eight bytes
    void (*countToggles)(const void* live, uint64_t* image, uint64_t* rose, uint64_t* fell,
                         size_t count);

    /// Writes the text of consecutive entries.
    /// @param tails  SlotTable::tails
    /// @param out    room for kMostTextBytes an entry
    /// @return the end of the text
    char* (*writeText)(const OutputChange* begin, const OutputChange* end, const uint64_t* tails,
                       VcdTextState& state, char* out);

    const char* name;
};

/// The kinds, best last. Those that the machine lacks are null.
enum VectorUnit { kPlainUnit, kAvx2Unit, kAvx512Unit, kVectorUnitCount };
const HotLoops* hotLoopsOf(VectorUnit unit);

/// The loops in use: the best that the machine has.
const HotLoops& hotLoops();
/// Uses the loops of another unit, which the machine must have.
void useVectorUnit(VectorUnit unit);
