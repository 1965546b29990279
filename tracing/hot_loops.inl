// The loops of hot_loops.h over a vector unit `Unit`, which the including file defines:
//
//   differ(a, b)      a bit for each of 64 bytes that differ
//   differAny(a, b)   whether any of 4 blocks differs
//   copy(a, b)        copies a block
//   pick(...)         see there
//   expand(out, v)    the 64 binary digits of v, the highest first
//
// The file is compiled with that unit's instructions enabled, so nothing here may be a function
// that another file could come to use: all is in an unnamed namespace, and no inline function of
// the standard library is called.
#include "tracing/capture_plan.h"
#include "tracing/history.h"

namespace {

constexpr size_t kSweepBlocks = 4;

/// Lists the picks of one block that meet the changed bytes `m`.
inline uint32_t* listPicks(CapturePlan& plan, const uint64_t* masks, uint32_t block, uint64_t m,
                           bool dense, uint32_t* out) {
    const uint32_t first = plan.firstPick[block];
    if (dense || plan.crowded[block])
        return Unit::pick(out, m, masks, first, plan.firstPick[block + 1]);
    const uint8_t* const owner = plan.byteOwner.data() + size_t{block} * kBlockBytes;
    do {
        const uint32_t pick = first + owner[__builtin_ctzll(m)];
        *out++ = pick;
        m &= ~masks[pick];
    } while (m);
    return out;
}

size_t findChanges(CapturePlan& plan) {
    uint32_t* const begin = plan.hits.data() + 1;
    uint32_t* out = begin;
    const uint64_t* const masks = plan.pickMask.data();
    const bool dense = plan.dense;
    for (const CaptureRun& run : plan.runs) {
        const unsigned char* live = run.live;
        unsigned char* image = plan.image + size_t{run.firstBlock} * kBlockBytes;
        uint32_t block = run.firstBlock;
        const uint32_t end = block + run.blockCount;
        while (block < end) {
            if (end - block >= kSweepBlocks && !Unit::differAny(live, image)) {
                live += kSweepBlocks * kBlockBytes;
                image += kSweepBlocks * kBlockBytes;
                block += kSweepBlocks;
                continue;
            }
            const uint32_t stop = end - block >= kSweepBlocks ? block + kSweepBlocks : end;
            for (; block < stop; ++block, live += kBlockBytes, image += kBlockBytes) {
                const uint64_t changed = Unit::differ(live, image);
                if (!changed) continue;
                Unit::copy(live, image);
                const uint64_t owned = changed & plan.ownedBytes[block];
                if (owned) out = listPicks(plan, masks, block, owned, dense, out);
            }
        }
    }
    const auto count = static_cast<size_t>(out - begin);
    // The next capture is likely to be as this one: asking every pick of a block pays when many hit.
    plan.dense = count > plan.pickPosition.size() / 24;
    return count;
}

void copyBlocks(const unsigned char* from, unsigned char* to, size_t count) {
    for (; count; --count, from += kBlockBytes, to += kBlockBytes) Unit::copy(from, to);
}

char* writeNumber(char* out, uint64_t value) {
    char digits[20];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value);
    while (count) *out++ = digits[--count];
    return out;
}

char* writeTimeLine(char* out, uint64_t time, VcdTextState& state) {
    if (time == state.lastWrittenTime) return out;
    state.lastWrittenTime = time;
    *out++ = '#';
    if (time >> 63) {  // times are written as signed numbers
        *out++ = '-';
        time = 0 - time;
    }
    out = writeNumber(out, time);
    *out++ = '\n';
    return out;
}

/// Writes the digits of `v` from its highest one on; those of 0 are "0".
inline char* writeDigits(char* out, uint64_t v) {
    const int zeros = __builtin_clzll(v | 1);
    Unit::expand(out, v << zeros);
    return out + (64 - zeros);
}

inline char* writeTail(char* out, uint64_t tail) {
    __builtin_memcpy(out, &tail, sizeof tail);
    return out + (tail >> 56);
}

/// One part of a value in several: leading zeros are dropped across the parts.
char* writePart(char* out, const OutputChange& change, uint64_t tail, VcdTextState& state) {
    const int bits = static_cast<int>(change.shape & kShapeBits);
    const bool last = (change.shape & kShapeLast) != 0;
    if (change.shape & kShapeFirst) {
        *out = 'b';
        out += (tail & 0xff) == ' ';
        state.valueStarted = false;
    }
    if (state.valueStarted) {
        Unit::expand(out, change.value << (64 - bits));
        out += bits;
    } else if (change.value || last) {
        out = writeDigits(out, change.value);
        state.valueStarted = true;
    }
    return last ? writeTail(out, tail) : out;
}

char* writeText(const OutputChange* change, const OutputChange* end, const uint64_t* tails,
                VcdTextState& state, char* out) {
    for (; change != end; ++change) {
        const uint64_t tail = tails[change->slot];
        if (__builtin_expect(tail == 0, 0)) {
            if (change->slot == kTimeMarker) out = writeTimeLine(out, change->value, state);
        } else if (__builtin_expect(change->shape != 0, 0)) {
            out = writePart(out, *change, tail, state);
        } else {
            *out = 'b';
            out += (tail & 0xff) == ' ';
            out = writeTail(writeDigits(out, change->value), tail);
        }
    }
    return out;
}

}  // namespace
