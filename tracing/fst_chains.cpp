#include "tracing/fst_chains.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

namespace {

constexpr int kFirstChunkLog = 9, kLargestChunkLog = 14;
constexpr size_t kFirstSlab = 64 * 1024;
constexpr size_t kPiece = 16;  // bytes of values are copied so many at a time

}  // namespace

unsigned char* FstChains::Arena::take(size_t bytes) {
    bytes = (bytes + alignof(Chunk) - 1) / alignof(Chunk) * alignof(Chunk);
    while (left < bytes) {
        // The first is small, for small files.
        if (used == slabs.size()) {
            const size_t size = std::max(used == 0 ? kFirstSlab : kHugePageBytes, bytes);
            slabs.push_back({nullptr, size});
            slabs.back().bytes.reset(LargeAllocator<unsigned char>().allocate(size));
        }
        at = slabs[used].bytes.get();
        left = slabs[used++].size;
    }
    left -= bytes;
    return std::exchange(at, at + bytes);
}

void FstChains::Arena::reset() { used = left = 0; }

FstVariable FstChains::addVariable(uint32_t width) {
    FstVariable result;
    result.number = static_cast<uint32_t>(widths.size());
    widths.push_back(width);
    chains.emplace_back();
    groups.resize((result.number >> kGroupLog) + 1);
    result.width = width;
    result.oneBit = width == 1;
    if (width == 1 || width > 64) return result;
    result.valueBytes = static_cast<uint8_t>((width + 7) / 8);
    result.padding = static_cast<uint8_t>(result.valueBytes * 8 - width);
    return result;
}

void FstChains::add(FstVariable of, uint32_t time, Span bytes) {
    Group& group = groups[of.number >> kGroupLog];
    const size_t needed = sizeof(uint32_t) + bytes.size();
    if (room(group) < needed) grow(group, needed);
    putHead(group, of, time, 0);
    group.values -= bytes.size();
    std::memcpy(group.values, bytes.data(), bytes.size());
}

/// Begins a chunk with room for a record of `bytes`.
void FstChains::grow(Group& group, size_t bytes) {
    const int log = group.last ? std::min(group.chunkLog + 1, kLargestChunkLog) : kFirstChunkLog;
    const size_t size = std::max(size_t{1} << log, sizeof(Chunk) + bytes + kPiece);
    auto* const next = new (arena.take(size)) Chunk;
    if (group.last) {
        group.last->headsEnd = group.heads;
        group.last->next = next;
    } else {
        group.first = next;
    }
    next->next = nullptr;
    next->end = reinterpret_cast<unsigned char*>(next) + size - kPiece;
    group.last = next;
    group.chunkLog = log;
    group.heads = next->heads();
    group.values = next->end;
}

std::span<const FstChains::Span> FstChains::chainsOf(size_t number, uint32_t timeCount) {
    Group& group = groups[number];
    const size_t first = firstOf(number);
    const std::span<Span> result(&chains[first], std::min(widths.size() - first, kGroupSize));
    std::fill(result.begin(), result.end(), Span());
    if (!group.first) return result;
    group.last->headsEnd = group.heads;
    Making making[kGroupSize];
    layOut(making, result, group, timeCount);
    fill(making, group);
    for (size_t i = 0; i < result.size(); ++i)
        if (result[i].data()) result[i] = Span(result[i].data(), making[i].put);
    return result;
}

/// Gives each chain of a group memory for whatever its changes may take.
void FstChains::layOut(Making* making, std::span<Span> result, const Group& group,
                       uint32_t timeCount) {
    uint32_t counts[kGroupSize] = {};
    for (Chunk* chunk = group.first; chunk; chunk = chunk->next)
        for (const uint32_t* head = chunk->heads(); head != chunk->headsEnd; ++head)
            ++counts[*head & kPlaceMask];
    const uint32_t* const width = &widths[static_cast<size_t>(result.data() - chains.data())];
    for (size_t i = 0; i < result.size(); ++i) {
        if (counts[i] == 0) continue;
        const bool isBit = width[i] == 1;
        const uint32_t timeShift = isBit ? 2 : 1, valueBytes = isBit ? 0 : (width[i] + 7) / 8;
        const auto mostTimeBits = static_cast<uint32_t>(std::bit_width(timeCount)) + timeShift;
        const size_t mostBytes = (mostTimeBits + 6) / 7 + valueBytes;
        unsigned char* const bytes = arena.take(counts[i] * mostBytes + kPiece);
        making[i] = {bytes, 0, valueBytes, timeShift};
        result[i] = Span(bytes, 0);
    }
}

void FstChains::fill(Making* making, const Group& group) {
    uint32_t now = 0;
    for (Chunk* chunk = group.first; chunk; chunk = chunk->next) {
        const unsigned char* values = chunk->end;
        for (const uint32_t* at = chunk->heads(); at != chunk->headsEnd; ++at) {
            const uint32_t head = *at;
            Making& chain = making[head & kPlaceMask];
            now += head >> kTimeShift;
            const uint32_t passed = now - chain.lastTime;
            chain.lastTime = now;
            const uint32_t bit = head >> kGroupLog & 1;
            unsigned char* put = storeVarint(chain.put, passed << chain.timeShift | bit << 1);
            values -= chain.valueBytes;
            // Longer values are rare. What is copied too much is written over or not looked at.
            std::memcpy(put, values, kPiece);
            if (chain.valueBytes > kPiece) std::memcpy(put, values, chain.valueBytes);
            chain.put = put + chain.valueBytes;
        }
    }
}

void FstChains::clear() {
    std::fill(groups.begin(), groups.end(), Group{});
    arena.reset();
}
