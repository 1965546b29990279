#include "tracing/capture_plan.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "netdb/netdb.h"
#include "tracing/hot_loops.h"

namespace {

constexpr unsigned kLargestOwner = 255;  // picks of a block that byteOwner can distinguish
constexpr size_t kPickSlack = 16;        // vectors of picks and positions may be used past the end

uintptr_t addressOf(const CapturePart& part) {
    return reinterpret_cast<uintptr_t>(part.trace->address);
}

bool hasComparedReader(const QkTrace* trace) {
    if (!trace->extras) return false;
    const auto isCompared = [](const QkName* reader) { return reader->extension->holds > 0; };
    return std::any_of(trace->extras->exnames.begin(), trace->extras->exnames.end(), isCompared) ||
           std::any_of(trace->extras->pvnames.begin(), trace->extras->pvnames.end(), isCompared);
}

/// @return whether names of slices that are compared read the trace or a part of it
bool isSliced(const QkTrace* trace) {
    for (const QkTrace* const part : trace->parts())
        if (hasComparedReader(part)) return true;
    return hasComparedReader(trace);
}

bool isWatched(const QkTrace* trace) { return trace->nshow > 0 || trace->nbreak > 0; }

/// The parts in the order of their addresses.
std::vector<uint32_t> byAddress(const std::vector<CapturePart>& parts) {
    std::vector<uint32_t> order(parts.size());
    for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
    const auto below = [&](uint32_t a, uint32_t b) {
        return addressOf(parts[a]) < addressOf(parts[b]);
    };
    // New traces are inserted at the head of the ring, so the order is often reversed.
    if (!std::is_sorted(order.begin(), order.end(), below)) {
        std::reverse(order.begin(), order.end());
        if (!std::is_sorted(order.begin(), order.end(), below))
            std::sort(order.begin(), order.end(), below);
    }
    return order;
}

/// The bytes of the block at `block` that are in [address, address + bytes), one bit each.
uint64_t bytesWithin(uintptr_t block, uintptr_t address, size_t bytes) {
    const uint64_t ones = (uint64_t{1} << bytes) - 1;  // at most 8
    return address >= block ? ones << (address - block) : ones >> (block - address);
}

}  // namespace

/// A part and one of the blocks that contain it.
struct CapturePlan::Piece {
    uint32_t block;
    uint32_t position;
    uint64_t mask;
};

void CapturePlan::build(const std::vector<QkTrace*>& traces, ImageStart start) {
    *this = CapturePlan{};
    bool watched = false;
    for (QkTrace* const trace : traces) {
        if (trace->isArray()) continue;  // elements report their own changes
        watched |= isWatched(trace);
        addTrace(trace);
    }
    constexpr size_t kGroupBits = kMarkGroup * 64;
    marks.assign((all.size() / kGroupBits + 1) * kMarkGroup, 0);
    blocks.marks = marks.data();
    blocks.markWords = all.size() / 64 + 1;
    changedPositions.resize(all.size() + kPickSlack);
    const std::vector<Piece> pieces = findBlocks();
    makeImage();
    makePicks(pieces);
    describeBlocks();
    if (start == kFromStorage) return;
    for (const CapturePart& part : parts)
        storeStorage(blocks.image + part.imageOffset, part.trace->elementBytes(),
                     part.trace->value);
    if (!watched) return;
    told.reserve(parts.size());
    for (const CapturePart& part : parts) told.push_back(part.trace->value);
}

void CapturePlan::addTrace(QkTrace* trace) {
    const bool isObserved = trace->nrecord == 0 || isWatched(trace) || isSliced(trace);
    const bool isPlain = trace->firstPart() == trace && !isObserved && !trace->invert;
    const auto position = static_cast<uint32_t>(all.size());
    all.push_back({static_cast<uint32_t>(parts.size()), trace->vcdSlot,
                   isPlain ? bitMask(trace->range.width) : 0});
    for (QkTrace* const part : trace->parts()) {
        parts.push_back(CapturePart{part, 0, position, static_cast<uint8_t>(part->range.width),
                                    part->invert, isObserved, trace->partAfter(part) == nullptr});
    }
}

/// Covers all parts with blocks, by ascending address, and assigns each part its place in the
/// image.
std::vector<CapturePlan::Piece> CapturePlan::findBlocks() {
    std::vector<Piece> pieces;
    pieces.reserve(parts.size() + parts.size() / 8);
    uintptr_t lastBlock = 0;  // address of the newest block
    uint32_t count = 0;
    const auto pieceIn = [&](uintptr_t block, const CapturePart& part, size_t bytes) {
        if (count == 0 || block > lastBlock + kBlockBytes)
            runs.push_back(CaptureRun{reinterpret_cast<unsigned char*>(block), count, 0});
        if (count == 0 || block > lastBlock) {
            ++count;
            ++runs.back().blockCount;
            lastBlock = block;
        }
        // A part that overlaps one across two blocks may begin in the block before the newest.
        const auto index = static_cast<uint32_t>(count - 1 - (lastBlock - block) / kBlockBytes);
        pieces.push_back(Piece{index, part.position, bytesWithin(block, addressOf(part), bytes)});
        return index;
    };
    for (const uint32_t i : byAddress(parts)) {
        CapturePart& part = parts[i];
        const uintptr_t address = addressOf(part);
        const auto bytes = static_cast<size_t>(part.trace->elementBytes());
        const uintptr_t block = address / kBlockBytes * kBlockBytes;
        const uint32_t index = pieceIn(block, part, bytes);
        QK_ASSERT(index < std::numeric_limits<uint32_t>::max() / kBlockBytes);
        part.imageOffset = static_cast<uint32_t>(index * kBlockBytes + address % kBlockBytes);
        if (address + bytes > block + kBlockBytes) pieceIn(block + kBlockBytes, part, bytes);
    }
    for (CapturePosition& at : all)
        if (at.mask != 0) at.place = parts[at.place].imageOffset;
    blocks.runs = runs.data();
    blocks.runsEnd = runs.data() + runs.size();
    firstPick.assign(size_t{count} + 1, 0);
    return pieces;
}

void CapturePlan::makeImage() {
    imageStore.resize(firstPick.size() * kBlockBytes + sizeof(uint64_t));
    const auto raw = reinterpret_cast<uintptr_t>(imageStore.data());
    blocks.image = imageStore.data() + (kBlockBytes - raw % kBlockBytes) % kBlockBytes;
    for (const CaptureRun& run : runs)
        hotLoops().copyBlocks(run.live, blocks.image + size_t{run.firstBlock} * kBlockBytes,
                              run.blockCount);
}

/// Makes a pick of each piece, in the order of their blocks.
void CapturePlan::makePicks(const std::vector<Piece>& pieces) {
    for (const Piece& piece : pieces) ++firstPick[piece.block + 1];
    for (size_t block = 0; block + 1 < firstPick.size(); ++block)
        firstPick[block + 1] += firstPick[block];
    pickMask.assign(pieces.size() + kPickSlack, 0);
    pickPosition.assign(pieces.size(), 0);
    std::vector<uint32_t> next(firstPick.begin(), firstPick.end() - 1);
    for (const Piece& piece : pieces) {
        const uint32_t pick = next[piece.block]++;
        pickMask[pick] = piece.mask;
        pickPosition[pick] = piece.position;
    }
    hits.assign(pickPosition.size() + kPickSlack + 1, 0);
    const bool rises = std::is_sorted(pickPosition.begin(), pickPosition.end());
    const bool falls = std::is_sorted(pickPosition.rbegin(), pickPosition.rend());
    direction = rises ? 1 : falls ? -1 : 0;
    blocks.firstPick = firstPick.data();
    blocks.pickMask = pickMask.data();
    blocks.pickPosition = pickPosition.data();
    blocks.hits = hits.data();
}

/// Determines which bytes of each block belong to which parts.
void CapturePlan::describeBlocks() {
    const size_t count = firstPick.size() - 1;
    changedBlocks.resize(count + 1);
    blockBytes.assign(count, BlockBytes{});
    crowded.assign(count, 0);
    byteOwner.assign(count * kBlockBytes, 0);
    for (size_t block = 0; block < count; ++block) {
        const uint32_t begin = firstPick[block], end = firstPick[block + 1];
        BlockBytes& bytes = blockBytes[block];
        crowded[block] = end - begin > kLargestOwner;
        for (uint32_t pick = begin; pick < end; ++pick) {
            const uint64_t mask = pickMask[pick];
            if ((bytes.low | bytes.top) & mask) crowded[block] = 1;
            const uint64_t top = std::bit_floor(mask);
            bytes.top |= top;
            bytes.low |= mask ^ top;
            for (size_t byte = 0; byte < kBlockBytes; ++byte)
                if (mask >> byte & 1)
                    byteOwner[block * kBlockBytes + byte] = static_cast<uint8_t>(pick - begin);
        }
    }
    blocks.changed = changedBlocks.data();
    blocks.bytes = blockBytes.data();
    blocks.crowded = crowded.data();
    blocks.byteOwner = byteOwner.data();
    if (marks.size() > kMarkGroup || std::count(crowded.begin(), crowded.end(), 1) != 0) return;
    bytePosition.resize(byteOwner.size());
    for (size_t byte = 0; byte < bytePosition.size(); ++byte) {
        const size_t pick = firstPick[byte / kBlockBytes] + byteOwner[byte];
        bytePosition[byte] = static_cast<uint16_t>(pickPosition[pick]);
    }
    blocks.bytePosition = bytePosition.data();
}

bool CapturePlan::takeTold(uint32_t position) {
    bool changed = told.empty();
    for (size_t i = all[position].place; !told.empty(); ++i) {
        const CapturePart& part = parts[i];
        const uint64_t now = loadStorage(blocks.image + part.imageOffset, storageBytes(part.width));
        changed |= ((now ^ told[i]) & bitMask(part.width)) != 0;
        told[i] = now;
        if (part.last) break;
    }
    return changed;
}

void CapturePlan::spill() const {
    for (const CapturePart& part : parts)
        part.trace->value =
            loadStorage(blocks.image + part.imageOffset, part.trace->elementBytes());
}

// ---- Order

size_t CapturePlan::listChanges() {
    const HotLoops& loops = hotLoops();
    if (direction != 0 && !anyMarked) return listInOrder(loops.findChanges(blocks));
    uint32_t* const list = changedPositions.data();
    return static_cast<size_t>(loops.listChanges(blocks, std::exchange(anyMarked, false), list) -
                               list);
}

/// @param count  of the picks that changed
size_t CapturePlan::listInOrder(size_t count) {
    // Picks of one trace are neighbours then.
    const uint32_t* const picks = blocks.hits + 1;
    uint32_t* const list = changedPositions.data();
    uint32_t* out = list;
    uint32_t last = ~uint32_t{0};
    const auto add = [&](uint32_t pick) {
        const uint32_t position = pickPosition[pick];
        if (position != last) *out++ = position;
        last = position;
    };
    if (direction > 0) {
        for (size_t i = 0; i < count; ++i) add(picks[i]);
    } else {
        for (size_t i = count; i-- > 0;) add(picks[i]);
    }
    return static_cast<size_t>(out - list);
}
