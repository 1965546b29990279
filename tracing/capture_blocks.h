// The memory that a capture compares, as its inner loops see it: plain pointers, because the loops
// are compiled for several vector units and must not contain functions that other files could use.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr size_t kBlockBytes = 64;
/// Words of marks that vector registers hold: for 512 positions.
inline constexpr size_t kMarkGroup = 8;

/// Blocks that follow each other in memory.
struct CaptureRun {
    const unsigned char* live;  ///< model storage, at a multiple of kBlockBytes
    uint32_t firstBlock;
    uint32_t blockCount;
};

/// The bytes of a block that belong to a part, a bit each: the top one of each part, and all below
/// the top ones. In a crowded block a byte may be both.
struct BlockBytes {
    uint64_t low, top;
};

/// A block that a capture found changed.
struct ChangedBlock {
    uint64_t bytes;  ///< a bit for each byte of a part that changed
    uint32_t block;
};

/// All blocks of a CapturePlan, which owns the memory.
struct CaptureBlocks {
    const CaptureRun* runs;
    const CaptureRun* runsEnd;
    unsigned char* image;       ///< blocks, at a multiple of kBlockBytes, and 8 bytes beyond
    const BlockBytes* bytes;    ///< by block
    const uint8_t* crowded;     ///< by block: its parts overlap, or there are too many for
                                ///< byteOwner
    const uint8_t* byteOwner;   ///< by byte: pick minus firstPick; not for crowded blocks
    const uint32_t* firstPick;  ///< by block, and one more
    const uint64_t* pickMask;   ///< the bytes of its block that belong to a pick; room for some
                                ///< beyond
    ChangedBlock* changed;      ///< room for all
    uint32_t* hits;  ///< picks that changed, in memory order, from [1] on; room for some beyond
    const uint32_t* pickPosition;  ///< by pick: the position of its trace
    const uint16_t* bytePosition;  ///< by byte: that of its pick; null if there are more than
                                   ///< kMarkGroup words of marks, or a crowded block
    uint64_t* marks;               ///< a bit for each position, in whole groups of kMarkGroup words
    size_t markWords;              ///< those in use
};
