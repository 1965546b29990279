// The loops of hot_loops.h over a vector unit `Unit`, which the including file defines:
//
//   differ(a, b)      a bit for each of 64 bytes that differ
//   differ(a, b, n)   whether any of n < 64 bytes differs
//   differAny(a, b)   whether any of 4 blocks differs
//   anyNew(a, b, c)   whether any of 4 blocks differs in a bit that is 0 in c
//   copy(a, b)        copies a block
//   pick(...), list(...)  see there
//   Marks             kMarkGroup words of marks, for which one may be added at each moment
//   expand(out, v)    the 64 binary digits of v, the highest first
//
// The file is compiled with that unit's instructions enabled, so no function here may be used by
// another file: all are in an unnamed namespace, and no inline function of the standard library is
// called. scripts/layers checks that.
#include "base/copied_bytes.h"
#include "tracing/capture_blocks.h"
#include "tracing/history.h"

namespace {

constexpr size_t kSweepBlocks = 4;
constexpr uint32_t kLongRun = 16;
constexpr int kBlocksAhead = 8;  // prefetched
constexpr int kChangesAhead = 12;

/// Brings the images of changed blocks up to date and lists those whose parts changed.
ChangedBlock* sweep(const CaptureBlocks& blocks) {
    ChangedBlock* out = blocks.changed;
    const BlockBytes* const owned = blocks.bytes;
    unsigned char* const images = blocks.image;
    const CaptureRun* const runsEnd = blocks.runsEnd;
    for (const CaptureRun* run = blocks.runs; run != runsEnd; ++run) {
        const unsigned char* live = run->live;
        unsigned char* image = images + size_t{run->firstBlock} * kBlockBytes;
        uint32_t block = run->firstBlock;
        const uint32_t end = block + run->blockCount;
        while (block < end) {
            // The few blocks of a small design most often contain changes.
            const bool isGroup = run->blockCount >= kLongRun && end - block >= kSweepBlocks;
            if (isGroup && !Unit::differAny(live, image)) {
                live += kSweepBlocks * kBlockBytes;
                image += kSweepBlocks * kBlockBytes;
                block += kSweepBlocks;
                continue;
            }
            const uint32_t stop = isGroup ? block + kSweepBlocks : end;
            for (; block < stop; ++block, live += kBlockBytes, image += kBlockBytes) {
                const uint64_t changed = Unit::differ(live, image);
                Unit::copy(live, image);
                out->bytes = changed & (owned[block].low | owned[block].top);
                out->block = block;
                out += out->bytes != 0;
            }
        }
    }
    return out;
}

/// @return the top bytes of the parts of a block that contain changed bytes: where any lower byte
///         of a part changed, adding all of them carries into its top one
inline uint64_t changedTops(const BlockBytes& owned, uint64_t changed) {
    return (((changed & owned.low) + owned.low) | changed) & owned.top;
}

/// Calls act(pick) for the picks that contain changed bytes, in the order of their numbers.
/// @param asksAll  all picks of a block are asked, rather than those of the bytes that changed
template <class Act>
inline void eachPick(const CaptureBlocks& blocks, const ChangedBlock* end, bool asksAll, Act& act) {
    for (const ChangedBlock* at = blocks.changed; at != end; ++at) {
        const uint32_t block = at->block;
        const uint32_t first = blocks.firstPick[block];
        if (__builtin_expect(blocks.crowded[block], 0) || asksAll) {
            act.all(at->bytes, first, blocks.firstPick[block + 1]);
            continue;
        }
        if (end - at > kBlocksAhead)
            __builtin_prefetch(blocks.byteOwner + size_t{at[kBlocksAhead].block} * kBlockBytes);
        const uint8_t* const owner = blocks.byteOwner + size_t{block} * kBlockBytes;
        for (uint64_t tops = changedTops(blocks.bytes[block], at->bytes); tops; tops &= tops - 1)
            act.one(first + owner[__builtin_ctzll(tops)]);
    }
}

/// Whether many picks of a block hit: then it pays to ask all of them. A clocked model alternates
/// between captures of many changes and of few.
bool isDense(const CaptureBlocks& blocks, const ChangedBlock* end) {
    constexpr int64_t kManyBytes = 3;  // of a block
    int64_t bytes = 0;
    for (const ChangedBlock* at = blocks.changed; at != end; ++at)
        bytes += __builtin_popcountll(at->bytes);
    return bytes > kManyBytes * (end - blocks.changed);
}

struct ListPicks {
    const uint64_t* masks;
    uint32_t* out;
    void one(uint32_t pick) { *out++ = pick; }
    void all(uint64_t bytes, uint32_t begin, uint32_t end) {
        out = Unit::pick(out, bytes, masks, begin, end);
    }
};

size_t findChanges(CaptureBlocks& blocks) {
    const ChangedBlock* const end = sweep(blocks);
    ListPicks list{blocks.pickMask, blocks.hits + 1};
    eachPick(blocks, end, isDense(blocks, end), list);
    return static_cast<size_t>(list.out - (blocks.hits + 1));
}

struct MarkPicks {
    const uint64_t* masks;
    const uint32_t* positions;
    uint64_t* marks;
    void one(uint32_t pick) const {
        const uint32_t position = positions[pick];
        marks[position / 64] |= uint64_t{1} << position % 64;
    }
    void all(uint64_t bytes, uint32_t begin, uint32_t end) const {
        for (uint32_t pick = begin; pick < end; ++pick)
            if (bytes & masks[pick]) one(pick);
    }
};

uint32_t* listChanges(CaptureBlocks& blocks, bool anyMarked, uint32_t* out) {
    const ChangedBlock* const end = sweep(blocks);
    if (end == blocks.changed && !anyMarked) return out;
    // Neighbours in memory often have neighbouring marks, which then wait for each other in memory,
    // but not in registers.
    if (blocks.bytePosition) {
        Unit::Marks marks;
        marks.load(blocks.marks);
        for (const ChangedBlock* at = blocks.changed; at != end; ++at) {
            const uint16_t* const positions = blocks.bytePosition + at->block * kBlockBytes;
            for (uint64_t tops = changedTops(blocks.bytes[at->block], at->bytes); tops;
                 tops &= tops - 1)
                marks.add(positions[__builtin_ctzll(tops)]);
        }
        marks.store(blocks.marks);
    } else {
        MarkPicks pass{blocks.pickMask, blocks.pickPosition, blocks.marks};
        eachPick(blocks, end, false, pass);
    }
    for (size_t word = 0; word < blocks.markWords; ++word) {
        if (!blocks.marks[word]) continue;
        out = Unit::list(out, blocks.marks[word], static_cast<uint32_t>(word * 64));
        blocks.marks[word] = 0;
    }
    return out;
}

size_t firstDifferent(const CopiedBytes* arrays, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const auto* live = reinterpret_cast<const unsigned char*>(arrays[i].live);
        const auto* copy = reinterpret_cast<const unsigned char*>(arrays[i].copy);
        size_t bytes = arrays[i].bytes;
        for (; bytes >= kBlockBytes; bytes -= kBlockBytes, live += kBlockBytes, copy += kBlockBytes)
            if (Unit::differ(live, copy)) return i;
        if (bytes != 0 && Unit::differ(live, copy, bytes)) return i;
    }
    return count;
}

void copyBlocks(const unsigned char* from, unsigned char* to, size_t count) {
    for (; count; --count, from += kBlockBytes, to += kBlockBytes) Unit::copy(from, to);
}

/// The eight decimal digits of `value`, which is below 10^8, a byte each, the highest first in
/// memory.
inline uint64_t eightDigits(uint64_t value) {
    // In each step a field becomes two, of half its digits: the quotient below the remainder.
    value = value / 10000 | value % 10000 << 32;
    uint64_t quotients = (value * 10486 >> 20) & 0x0000007f0000007f;  // by 100
    value = quotients | (value - quotients * 100) << 16;
    quotients = (value * 103 >> 10) & 0x000f000f000f000f;  // by 10
    return quotients | (value - quotients * 10) << 8;
}

char* writeNumber(char* out, uint64_t value) {
    constexpr uint64_t kZeros = 0x3030303030303030, k10To8 = 100000000;
    uint64_t parts[3];
    int count = 0;
    for (; value >= k10To8; value /= k10To8) parts[count++] = value % k10To8;
    const uint64_t digits = eightDigits(value);
    const int zeros = __builtin_ctzll(digits | uint64_t{1} << 56) / 8;  // one digit stays
    const uint64_t text = (digits | kZeros) >> (8 * zeros);
    __builtin_memcpy(out, &text, sizeof text);
    out += 8 - zeros;
    while (count) {
        const uint64_t more = eightDigits(parts[--count]) | kZeros;
        __builtin_memcpy(out, &more, sizeof more);
        out += sizeof more;
    }
    return out;
}

/// Finds how many digits the time has, which is most often known: later text need not wait for the
/// digits themselves.
inline unsigned timeDigits(uint64_t time, VcdTextState& state) {
    if (time < state.digitsFrom || time - state.digitsFrom >= state.digitsRange) {
        state.timeDigits = 1;
        state.digitsFrom = 0;
        for (uint64_t below = 10;; below *= 10) {
            state.digitsRange = below - state.digitsFrom;
            if (time < below) break;
            ++state.timeDigits;
            state.digitsFrom = below;
            if (below > ~uint64_t{0} / 10) {
                state.digitsRange = ~uint64_t{0} - below + 1;
                break;
            }
        }
    }
    return state.timeDigits;
}

char* writeTimeLine(char* out, uint64_t time, VcdTextState& state) {
    if (time == state.lastWrittenTime) return out;
    state.lastWrittenTime = time;
    *out++ = '#';
    const unsigned digits = timeDigits(time, state);
    if (__builtin_expect(digits <= 8, 1)) {
        const uint64_t text = (eightDigits(time) | 0x3030303030303030) >> (8 * (8 - digits));
        __builtin_memcpy(out, &text, sizeof text);
        out += digits;
    } else {
        if (state.signedTimes && time >> 63) {
            *out++ = '-';
            time = 0 - time;
        }
        out = writeNumber(out, time);
    }
    *out++ = '\n';
    return out;
}

/// Writes the digits of `v`, starting with its highest 1; "0" for 0.
inline char* writeDigits(char* out, uint64_t v) {
    const auto zeros = static_cast<unsigned>(__builtin_clzll(v | 1));
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

/// Entries that are not values of one part: times, parts, and those without a variable.
char* writeOther(char* out, const OutputChange& change, uint64_t tail, VcdTextState& state) {
    if (tail != 0) return writePart(out, change, tail, state);
    return change.slot == kTimeMarker ? writeTimeLine(out, change.value, state) : out;
}

inline char* writeChange(char* out, const OutputChange& change, const uint64_t* tails,
                         VcdTextState& state) {
    const uint64_t tail = tails[change.slot];
    if (__builtin_expect(tail == 0 || change.shape != 0, 0))
        return writeOther(out, change, tail, state);
    *out = 'b';
    out += (tail & 0xff) == ' ';
    return writeTail(writeDigits(out, change.value), tail);
}

char* writeText(const OutputChange* change, const OutputChange* end, const uint64_t* tails,
                VcdTextState& state, char* out) {
    if (state.hasManySlots)
        for (; end - change > kChangesAhead; ++change) {
            __builtin_prefetch(&tails[change[kChangesAhead].slot]);
            out = writeChange(out, *change, tails, state);
        }
    for (; change != end; ++change) out = writeChange(out, *change, tails, state);
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
