// The plan of a capture: the places of the active traces in memory, and an image of what was last
// seen there.
//
// The storage of all active parts is covered by blocks of 64 bytes at multiples of 64, so that a
// block never touches a page without a part. Each block has an image; blocks that follow each other
// in memory form a run and are compared in one sweep. A pick consists of the bytes of a block that
// belong to one part; a part that extends over two blocks has a pick in each. The position of a
// trace is its place in the active ring: changes are recorded in that order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tracing/capture_blocks.h"

struct QkTrace;

/// One active trace, at its place in the ring.
struct CapturePosition {
    uint32_t imageOffset;  ///< of the value, of the first part for a value in several
    uint32_t slot;
    uint32_t firstPart;  ///< number of CapturePlan::part()
    uint8_t unusedBits;  ///< 64 minus the width
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

class CapturePlan {
public:
    enum ImageStart { kFromValues, kFromStorage };
    /// Plans traces in the order of the vector; arrays, whose elements report their own changes,
    /// are skipped. Each part's image starts with its QkTrace::value or with its storage.
    void build(const std::vector<QkTrace*>& traces, ImageStart start);

    /// Compares the storage of all parts with their images, and brings these up to date.
    /// @return how many picks changed
    size_t compare();
    /// Makes listChanged() list a position whether or not it changed.
    void mark(uint32_t position) { changedBits[position / 64] |= uint64_t{1} << position % 64; }
    /// Lists in changed() the positions of the `count` picks of compare(), and those that are
    /// marked, once each.
    /// @param mayGoByHits  none is marked: the picks alone may decide
    /// @return how many there are
    size_t listChanged(size_t count, bool mayGoByHits);
    const uint32_t* changed() const { return changedPositions.data(); }

    size_t positionCount() const { return all.size(); }
    CapturePosition* positions() { return all.data(); }
    const CapturePart& part(uint32_t number) const { return parts[number]; }
    /// What was last seen, at the offsets of positions and parts; 8 bytes may be read at each.
    const unsigned char* image() const { return blocks.image; }
    /// Stores the value of a position in the image as the one that its watchers know.
    /// @return whether it differs from what they knew
    bool takeTold(const CapturePosition& at);
    /// Copies the values in the image to QkTrace::value.
    void spill() const;

private:
    struct Piece;
    void addTrace(QkTrace* trace);
    std::vector<Piece> findBlocks();
    void makeImage();
    void makePicks(const std::vector<Piece>& pieces);
    void describeBlocks();
    size_t listInOrder(const uint32_t* picks, size_t count);
    size_t listByBitmap(const uint32_t* picks, size_t count);

    // Traces.
    std::vector<CapturePosition> all;
    std::vector<CapturePart> parts;
    std::vector<uint64_t> told;  ///< by part: the value that watchers know; empty without watchers

    // What CaptureBlocks points to.
    std::vector<CaptureRun> runs;
    std::vector<unsigned char> imageStore;
    std::vector<uint64_t> ownedBytes;
    std::vector<uint8_t> crowded, byteOwner;
    std::vector<uint32_t> firstPick;
    std::vector<uint64_t> pickMask;
    std::vector<ChangedBlock> changedBlocks;
    std::vector<uint32_t> hits;
    CaptureBlocks blocks{};

    // From picks to positions.
    std::vector<uint32_t> pickPosition;
    int direction = 0;  ///< 1: positions ascend with addresses, -1: they descend, 0: neither
    std::vector<uint64_t> changedBits;       ///< by position, all clear between captures
    std::vector<uint32_t> changedPositions;  ///< room for all
};
