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

/// One active trace, at its place in the ring. It is plain when it has one part, which is only
/// recorded and not inverted.
struct CapturePosition {
    uint32_t place;  ///< of a plain value in the image; else its first CapturePlan::part()
    uint32_t slot;
    uint64_t mask;  ///< the bits of a plain value's width; 0: it is not plain
};
static_assert(sizeof(CapturePosition) == 16, "four in a cache line");

/// One part of an active trace. Those of one trace are consecutive, in chain order.
struct CapturePart {
    QkTrace* trace;
    uint32_t imageOffset;
    uint32_t position;
    uint8_t width;
    bool invert;
    bool isObserved;  ///< its trace is not only recorded, if at all
    bool last;        ///< of its trace
};

class CapturePlan {
public:
    enum ImageStart { kFromValues, kFromStorage };
    /// Plans traces in the order of the vector; arrays, whose elements report their own changes,
    /// are skipped. Each part's image starts with its QkTrace::value or with its storage.
    void build(const std::vector<QkTrace*>& traces, ImageStart start);

    /// Makes the next listChanges() list a position whether or not it changed.
    void mark(uint32_t position) {
        marks[position / 64] |= uint64_t{1} << position % 64;
        anyMarked = true;
    }
    /// Compares the storage of all parts with their images, and brings these up to date. Lists in
    /// changed() the positions that changed, and those that are marked, once each.
    /// @return how many there are
    size_t listChanges();
    const uint32_t* changed() const { return changedPositions.data(); }

    size_t positionCount() const { return all.size(); }
    const CapturePosition* positions() const { return all.data(); }
    const CapturePart& part(uint32_t number) const { return parts[number]; }
    /// @return the first part of a position that is not plain
    const CapturePart& firstPart(uint32_t position) const { return parts[all[position].place]; }
    /// What was last seen, at the offsets of positions and parts; 8 bytes may be read at each.
    const unsigned char* image() const { return blocks.image; }
    /// Stores the value of an observed position in the image as the one that its watchers know.
    /// @return whether it differs from what they knew
    bool takeTold(uint32_t position);
    /// Copies the values in the image to QkTrace::value.
    void spill() const;

private:
    struct Piece;
    void addTrace(QkTrace* trace);
    std::vector<Piece> findBlocks();
    void makeImage();
    void makePicks(const std::vector<Piece>& pieces);
    void describeBlocks();
    size_t listInOrder(size_t count);

    // Traces.
    std::vector<CapturePosition> all;
    std::vector<CapturePart> parts;
    std::vector<uint64_t> told;  ///< by part: the value that watchers know; empty without watchers

    // What CaptureBlocks points to.
    std::vector<CaptureRun> runs;
    std::vector<unsigned char> imageStore;
    std::vector<BlockBytes> blockBytes;
    std::vector<uint8_t> crowded, byteOwner;
    std::vector<uint16_t> bytePosition;
    std::vector<uint32_t> firstPick, pickPosition;
    std::vector<uint64_t> pickMask;
    std::vector<ChangedBlock> changedBlocks;
    std::vector<uint32_t> hits;
    std::vector<uint64_t> marks;
    CaptureBlocks blocks{};

    int direction = 0;       ///< 1: positions ascend with addresses, -1: they descend, 0: neither
    bool anyMarked = false;  ///< by mark()
    std::vector<uint32_t> changedPositions;  ///< room for all, and some more
};
