// The plan of a capture: where the active traces lie in memory, and an image of what was last seen
// there.
//
// The storage of all active parts is covered by blocks of 64 bytes at multiples of 64, so that a
// block never touches a page without a part. Each block has an image; blocks that follow each other
// in memory form a run and are compared in one sweep. A pick says which bytes of a block belong to
// one part; a part that lies across two blocks has a pick in each. The position of a trace is its
// place in the active ring: changes are recorded in that order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct QkTrace;

inline constexpr size_t kBlockBytes = 64;

/// Blocks that follow each other in memory.
struct CaptureRun {
    const unsigned char* live;  ///< model storage, at a multiple of kBlockBytes
    uint32_t firstBlock;
    uint32_t blockCount;
};

/// One active trace, at its place in the ring.
struct CapturePosition {
    uint32_t imageOffset;  ///< of the value, of the first part for a value in several
    uint32_t slot;
    uint32_t firstPart;  ///< in CapturePlan::parts
    uint8_t unusedBits;  ///< 64 less the width
    bool invert;
    bool slow;     ///< anything but a trace that is only recorded
    bool inParts;  ///< a value in several parts
};
static_assert(sizeof(CapturePosition) == 16, "four in a cache line");

/// One part of an active trace. Those of one trace are consecutive, in chain order.
struct CapturePart {
    QkTrace* trace;
    uint32_t imageOffset;
    uint32_t position;
    uint8_t width;
    bool invert;
    bool last;  ///< of its trace
};

/// A block that a capture found changed.
struct ChangedBlock {
    uint64_t bytes;  ///< a bit for each byte of a part that changed
    uint32_t block;
};

struct CapturePlan {
    std::vector<CaptureRun> runs;
    std::vector<uint32_t> firstPick;   ///< by block, and one more
    std::vector<uint64_t> ownedBytes;  ///< by block: bytes that belong to a part
    std::vector<uint64_t> pickMask;    ///< bytes of the block that a pick stands for; some beyond
    std::vector<uint32_t> pickPosition;
    std::vector<uint8_t> byteOwner;  ///< by byte: pick less firstPick; see kCrowded
    std::vector<uint8_t> crowded;    ///< by block: parts overlap, or are too many for byteOwner
    std::vector<CapturePosition> positions;
    std::vector<CapturePart> parts;
    std::vector<uint64_t> told;  ///< by part: the value that watchers know; empty without watchers
    std::vector<uint64_t> changedBits;        ///< by position, all clear between captures
    std::vector<uint32_t> changedPositions;   ///< room for all
    std::vector<ChangedBlock> changedBlocks;  ///< room for all
    std::vector<uint32_t> hits;  ///< picks that changed, in memory order; one before, some beyond
    unsigned char* image = nullptr;  ///< blocks, at a multiple of kBlockBytes, and 8 bytes beyond
    int direction = 0;   ///< 1: positions rise with addresses, -1: they fall, 0: neither
    bool dense = false;  ///< the last capture found many changes

    enum ImageStart { kFromValues, kFromStorage };
    /// Plans traces in the order of the vector; arrays, whose elements report their own changes,
    /// are passed over. Each part's image starts as its QkTrace::value or as its storage.
    void build(const std::vector<QkTrace*>& traces, ImageStart start);
    /// Lists in changedPositions which positions the first `count` of the hits stand for, and those
    /// with a bit in changedBits, once each.
    /// @param mayGoByHits  no bit is set: the hits alone may decide
    /// @return how many there are
    size_t listChanged(size_t count, bool mayGoByHits);
    /// Takes the value of a position in the image as what its watchers know.
    /// @return whether it is another than they knew
    bool takeTold(const CapturePosition& at);
    /// Stores what the image holds in QkTrace::value.
    void spill() const;

private:
    size_t listInOrder(const uint32_t* picks, size_t count);
    size_t listByBitmap(const uint32_t* picks, size_t count);
    void layOut();
    void fillPicks();
    std::vector<unsigned char> imageStore;
};
