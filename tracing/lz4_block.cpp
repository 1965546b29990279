#include "tracing/lz4_block.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr int kHashBits = 12;
constexpr size_t kShortestMatch = 4;
constexpr size_t kFarthest = 65535;
// A block ends in literals: no copy begins in its last 12 bytes, or reaches into its last 5.
constexpr size_t kNoMatchBegins = 12, kNoMatchReaches = 5;
constexpr uint32_t kMostPlaces = 0xc0000000;

uint32_t load32(const unsigned char* from) {
    uint32_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

uint64_t load64(const unsigned char* from) {
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

uint32_t hashOf(uint32_t fourBytes) { return fourBytes * 2654435761u >> (32 - kHashBits); }

/// @return how many bytes are the same from `a` and `b` on, `b` ending at `end`
size_t sameBytes(const unsigned char* a, const unsigned char* b, const unsigned char* end) {
    const unsigned char* const start = b;
    for (; end - b >= 8; a += 8, b += 8)
        if (const uint64_t differ = load64(a) ^ load64(b))
            return static_cast<size_t>(b - start) +
                   static_cast<size_t>(std::countr_zero(differ)) / 8;
    while (b != end && *a == *b) ++a, ++b;
    return static_cast<size_t>(b - start);
}

/// Writes the part of a length that does not fit its four bits of the token.
unsigned char* putLength(unsigned char* out, size_t length) {
    for (; length >= 255; length -= 255) *out++ = 255;
    *out++ = static_cast<unsigned char>(length);
    return out;
}

/// @param matched  length of the copy that follows, 0 for the end of the block
/// @return null when there is no room
unsigned char* putSequence(unsigned char* out, const unsigned char* outEnd,
                           const unsigned char* literals, size_t count, size_t distance,
                           size_t matched) {
    if (static_cast<size_t>(outEnd - out) < count + count / 255 + matched / 255 + 6) return nullptr;
    const size_t more = matched ? matched - kShortestMatch : 0;
    *out++ =
        static_cast<unsigned char>(std::min<size_t>(count, 15) << 4 | std::min<size_t>(more, 15));
    if (count >= 15) out = putLength(out, count - 15);
    std::memcpy(out, literals, count);
    out += count;
    if (matched == 0) return out;
    *out++ = static_cast<unsigned char>(distance);
    *out++ = static_cast<unsigned char>(distance >> 8);
    return more >= 15 ? putLength(out, more - 15) : out;
}

}  // namespace

static_assert(std::endian::native == std::endian::little,
              "the first byte that differs is the low one");

Lz4Packer::Lz4Packer() : places(size_t{1} << kHashBits) { forget(); }

void Lz4Packer::forget() {
    std::fill(places.begin(), places.end(), 0);
    origin = 1;
}

size_t Lz4Packer::pack(const unsigned char* in, size_t size, unsigned char* out) {
    if (size <= kNoMatchBegins || size > kMostPlaces / 2) return 0;
    // Places in earlier blocks are before the origin, so the table need not be cleared.
    if (origin > kMostPlaces - static_cast<uint32_t>(size)) forget();
    const uint32_t base = origin;
    origin += static_cast<uint32_t>(size);
    const unsigned char* const matchesEnd = in + size - kNoMatchReaches;
    const unsigned char* const lastStart = in + size - kNoMatchBegins;
    const unsigned char* const outEnd = out + size;
    unsigned char* const outBegin = out;
    const unsigned char* literals = in;
    const unsigned char* at = in;
    uint32_t misses = 0;
    while (at <= lastStart) {
        const uint32_t four = load32(at);
        uint32_t& place = places[hashOf(four)];
        const uint32_t here = base + static_cast<uint32_t>(at - in);
        const uint32_t before = place;
        place = here;
        if (before < base || here - before > kFarthest || load32(in + (before - base)) != four) {
            at += 1 + (misses++ >> 5);  // data without repetitions is skipped faster and faster
            continue;
        }
        const unsigned char* from = in + (before - base);
        while (at > literals && from > in && at[-1] == from[-1]) --at, --from;
        const size_t matched =
            kShortestMatch + sameBytes(from + kShortestMatch, at + kShortestMatch, matchesEnd);
        out = putSequence(out, outEnd, literals, static_cast<size_t>(at - literals),
                          static_cast<size_t>(at - from), matched);
        if (!out) return 0;
        at += matched;
        literals = at;
        misses = 0;
        if (at <= lastStart)
            places[hashOf(load32(at - 2))] = base + static_cast<uint32_t>(at - 2 - in);
    }
    out = putSequence(out, outEnd, literals, static_cast<size_t>(in + size - literals), 0, 0);
    const auto packed = static_cast<size_t>(out ? out - outBegin : 0);
    return packed < size ? packed : 0;
}
