// The loops of hot_loops.h over a vector unit `Unit`, which the including file defines:
//
//   differ(a, b)      a bit for each of 64 bytes that differ
//   differAny(a, b)   whether any of 4 blocks differs
//   anyNew(a, b, c)   whether any of 4 blocks differs in a bit that is 0 in c
//   copy(a, b)        copies a block
//   pick(...)         see there
//   expand(out, v)    the 64 binary digits of v, the highest first
//
// The file is compiled with that unit's instructions enabled, so no function here may be used by
// another file: all are in an unnamed namespace, and no inline function of the standard library is
// called. scripts/layers checks that.
#include "tracing/capture_blocks.h"
#include "tracing/history.h"

namespace {

constexpr size_t kSweepBlocks = 4;
constexpr int kBlocksAhead = 8;  // prefetched
constexpr int kChangesAhead = 12;

/// Brings the images of changed blocks up to date and lists those whose parts changed.
ChangedBlock* sweep(const CaptureBlocks& blocks) {
    ChangedBlock* out = blocks.changed;
    const uint64_t* const owned = blocks.ownedBytes;
    unsigned char* const images = blocks.image;
    const CaptureRun* const runsEnd = blocks.runsEnd;
    for (const CaptureRun* run = blocks.runs; run != runsEnd; ++run) {
        const unsigned char* live = run->live;
        unsigned char* image = images + size_t{run->firstBlock} * kBlockBytes;
        uint32_t block = run->firstBlock;
        const uint32_t end = block + run->blockCount;
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
                Unit::copy(live, image);
                out->bytes = changed & owned[block];
                out->block = block;
                out += out->bytes != 0;
            }
        }
    }
    return out;
}

/// Lists the picks of one block that contain changed bytes, by the first byte of each.
inline uint32_t* listFew(const CaptureBlocks& blocks, const ChangedBlock& changed, uint32_t* out) {
    const uint64_t* const masks = blocks.pickMask;
    const uint32_t first = blocks.firstPick[changed.block];
    const uint8_t* const owner = blocks.byteOwner + size_t{changed.block} * kBlockBytes;
    uint64_t bytes = changed.bytes;
    do {
        const uint32_t pick = first + owner[__builtin_ctzll(bytes)];
        *out++ = pick;
        bytes &= ~masks[pick];
    } while (bytes);
    return out;
}

/// Where many picks of a block hit, it pays to ask all of them: one by one, each waits for the one
/// before. A clocked model alternates between captures of many changes and of few.
bool isDense(const CaptureBlocks& blocks, const ChangedBlock* end) {
    constexpr int64_t kManyBytes = 3;  // of a block
    int64_t bytes = 0;
    for (const ChangedBlock* at = blocks.changed; at != end; ++at)
        bytes += __builtin_popcountll(at->bytes);
    return bytes > kManyBytes * (end - blocks.changed);
}

size_t findChanges(CaptureBlocks& blocks) {
    const ChangedBlock* const end = sweep(blocks);
    const bool dense = isDense(blocks, end);
    uint32_t* const begin = blocks.hits + 1;
    uint32_t* out = begin;
    for (const ChangedBlock* at = blocks.changed; at != end; ++at) {
        const uint32_t block = at->block;
        if (dense || blocks.crowded[block]) {
            out = Unit::pick(out, at->bytes, blocks.pickMask, blocks.firstPick[block],
                             blocks.firstPick[block + 1]);
            continue;
        }
        if (end - at > kBlocksAhead) {
            const uint32_t next = at[kBlocksAhead].block;
            __builtin_prefetch(blocks.byteOwner + size_t{next} * kBlockBytes);
            __builtin_prefetch(blocks.pickMask + blocks.firstPick[next]);
        }
        out = listFew(blocks, *at, out);
    }
    return static_cast<size_t>(out - begin);
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
    if (state.signedTimes && time >> 63) {
        *out++ = '-';
        time = 0 - time;
    }
    out = writeNumber(out, time);
    *out++ = '\n';
    return out;
}

/// Writes the digits of `v`, starting with its highest 1; "0" for 0.
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
        if (end - change > kChangesAhead) __builtin_prefetch(&tails[change[kChangesAhead].slot]);
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

inline void countWords(const void* live, const ToggleWords& state, size_t count) {
    using Word [[gnu::may_alias]] = uint64_t;  // nets of all types
    const auto* const __restrict words = static_cast<const Word*>(live);
    uint64_t* const __restrict seen = state.seen;
    uint64_t* const __restrict once = state.once;
    uint64_t* const __restrict done = state.done;
    uint64_t news = 0;
    for (size_t i = 0; i < count; ++i) news |= (words[i] ^ seen[i]) & ~done[i];
    if (!news) return;
    for (size_t i = 0; i < count; ++i) {
        const uint64_t fresh = (words[i] ^ seen[i]) & ~done[i];
        seen[i] ^= fresh;
        done[i] |= once[i] & fresh;
        once[i] |= fresh;
    }
}

void countToggles(const void* live, const ToggleWords& state, size_t count) {
    constexpr size_t group = 4 * kBlockBytes / sizeof(uint64_t);
    const auto* from = static_cast<const unsigned char*>(live);
    ToggleWords to = state;
    for (; count >= group; count -= group, from += 4 * kBlockBytes, to = to.from(group))
        if (Unit::anyNew(from, reinterpret_cast<const unsigned char*>(to.seen),
                         reinterpret_cast<const unsigned char*>(to.done)))
            countWords(from, to, group);
    countWords(from, to, count);
}

}  // namespace
