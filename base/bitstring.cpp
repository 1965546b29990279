#include "base/bitstring.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/characters.h"

namespace {

constexpr int kHexDigitBits = 4;
constexpr int kChunkDigits = 64;

constexpr uint64_t kZeros = 0x3030303030303030;  // "00000000"
constexpr uint64_t kOnes = 0x0101010101010101;

bool isKnown(char digit) { return digit == '0' || digit == '1'; }

bool isUnknown(char digit) { return lowerCase(digit) == 'x' || lowerCase(digit) == 'z'; }

const char* dropRepeats(const char* digits) {
    while ((*digits == '0' || isUnknown(*digits)) && *digits == digits[1]) ++digits;
    return digits;
}

const char* dropZero(const char* digits) {
    return *digits == '0' && digits[1] ? digits + 1 : digits;
}

}  // namespace

BitString::BitString(int width, Chunk* place)
    : chunks(place ? place : &narrow), digitCount(std::max(width, 0)) {
    if (digitCount > kChunkDigits) {
        wide.reset(new (std::nothrow) Chunk[static_cast<size_t>(chunkCount())]);
        if (QK_CHECK_AS(wide, "str"))
            chunks = wide.get();
        else
            digitCount = kChunkDigits;
    }
    for (int i = 0; i < chunkCount(); ++i) chunks[i] = Chunk{0, 0, ~uint64_t{0}};
}

/// @return the last digits of a text, at most 64, right-aligned
BitString::Chunk BitString::chunkOf(std::string_view digits) {
    const size_t count = std::min<size_t>(digits.size(), kChunkDigits);
    const char* at = digits.data() + digits.size() - count;
    const char* const end = digits.data() + digits.size();
    Chunk chunk{0, 0, 0};
    const auto add = [&](char digit) {
        const bool known = !isUnknown(digit);
        const bool high = known ? digit == '1' : lowerCase(digit) == 'z';
        const bool upper = known ? !isKnown(digit) : (digit & 0x20) == 0;
        chunk.known = chunk.known << 1 | known;
        chunk.high = chunk.high << 1 | high;
        chunk.upper = chunk.upper << 1 | upper;
    };
    // Collects the low bits of eight known digits, that of the first as the highest.
    const auto takeEight = [&](const char* from, int taken) {
        uint64_t eight;
        std::memcpy(&eight, from, sizeof eight);
        if ((eight ^ kZeros) & ~kOnes) return false;
        const uint64_t bits = (eight & kOnes) * 0x8040201008040201 >> 56;
        chunk.known = chunk.known << taken | bitMask(taken);
        chunk.high = chunk.high << taken | (bits & bitMask(taken));
        chunk.upper <<= taken;
        return true;
    };
    for (; end - at >= 8; at += 8)
        if (!takeEight(at, 8))
            for (int i = 0; i < 8; ++i) add(at[i]);
    const auto left = static_cast<int>(end - at);
    if (left == 0 || (count >= 8 && takeEight(end - 8, left))) return chunk;
    while (at != end) add(*at++);
    return chunk;
}

/// @return 64 of the digits that fill the places to the left of a value
BitString::Chunk BitString::extensionOf(std::string_view digits) {
    const char first = digits.empty() ? '\0' : digits.front();
    if (isKnown(first)) return Chunk{~uint64_t{0}, 0, 0};
    const Chunk one = chunkOf(std::string_view(&first, 1));
    return Chunk{0 - one.known, 0 - one.high, 0 - one.upper};
}

/// Writes up to 64 digits, which may lie in two chunks.
void BitString::put(const Chunk& digits, int at, int bits) {
    const int shift = at % kChunkDigits;
    Chunk* to = &chunks[at / kChunkDigits];
    const uint64_t mask = bitMask(bits);
    const auto merge = [](uint64_t& word, uint64_t field, uint64_t value) {
        word = (word & ~field) | (value & field);
    };
    merge(to->known, mask << shift, digits.known << shift);
    merge(to->high, mask << shift, digits.high << shift);
    merge(to->upper, mask << shift, digits.upper << shift);
    if (shift + bits <= kChunkDigits) return;
    ++to;
    const int done = kChunkDigits - shift;
    merge(to->known, mask >> done, digits.known >> done);
    merge(to->high, mask >> done, digits.high >> done);
    merge(to->upper, mask >> done, digits.upper >> done);
}

void BitString::setDigits(std::string_view digits, int at, int bits) {
    dirty = true;
    if (at < 0) {
        QK_ASSERT_AS(bits < 0 || bits == digitCount, "(nbits < 0) || (nbits == width)");
        bits = digitCount;
        at = 0;
    }
    const bool fits =
        QK_CHECK_AS(bits >= 0 && digits.size() <= static_cast<size_t>(bits), "l <= nbits");
    const bool isInside = QK_CHECK_AS(int64_t{at} + bits <= digitCount, "(at + nbits) <= width");
    if (!fits || !isInside) return;
    if (bits == digitCount && bits <= kChunkDigits && !digits.empty()) {
        *chunks = chunkOf(digits);
        const auto given = static_cast<int>(digits.size());
        if (given == bits) return;
        const Chunk filler = extensionOf(digits);
        chunks->known |= filler.known << given;
        chunks->high |= filler.high << given;
        chunks->upper |= filler.upper << given;
        return;
    }

    std::string_view left = digits;
    while (!left.empty()) {
        const int count = static_cast<int>(std::min<size_t>(left.size(), kChunkDigits));
        put(chunkOf(left), at, count);
        left.remove_suffix(static_cast<size_t>(count));
        at += count;
        bits -= count;
    }
    if (bits == 0) return;
    const Chunk filler = extensionOf(digits);
    for (; bits > 0; bits -= kChunkDigits, at += kChunkDigits)
        put(filler, at, std::min(bits, kChunkDigits));
}

void BitString::setKnown(uint64_t value, int at, int bits) {
    dirty = true;
    put(Chunk{~uint64_t{0}, value, 0}, at, bits);
}

BitString::Changes BitString::commitChunks() {
    Changes all{0, 0, 0};
    const int digits = std::min(digitCount, liveBits->digitCount);
    const Chunk* const from = chunks;
    Chunk* const to = liveBits->chunks;
    for (int done = 0; done < digits; done += kChunkDigits) {
        const Chunk& pending = from[done / kChunkDigits];
        Chunk& live = to[done / kChunkDigits];
        const Changes changes =
            changesOf(pending, live, bitMask(std::min(digits - done, kChunkDigits)));
        all.becameKnown |= changes.becameKnown;
        all.becameUnknown |= changes.becameUnknown;
        all.noDigits |= changes.noDigits;
        live = pending;
    }
    return all;
}

void BitString::copyFrom(const BitString& other) {
    if (QK_CHECK(digitCount == other.digitCount)) std::copy_n(other.chunks, chunkCount(), chunks);
}

char BitString::digitAt(int offset) const {
    if (!QK_CHECK_AS(offset >= 0 && offset < digitCount, "(o >= 0) && (o < width)")) return 'X';
    const Chunk& chunk = chunks[offset / kChunkDigits];
    const int bit = offset % kChunkDigits;
    const bool known = chunk.known >> bit & 1, high = chunk.high >> bit & 1,
               upper = chunk.upper >> bit & 1;
    if (known) return upper ? '?' : high ? '1' : '0';
    return (upper ? "XZ" : "xz")[high];
}

std::string BitString::text() const {
    std::string digits(static_cast<size_t>(digitCount), '0');
    for (int i = 0; i < digitCount; ++i)
        digits[static_cast<size_t>(digitCount - 1 - i)] = digitAt(i);
    return digits;
}

void BitString::printReduced(StringBuf& out, bool reduce) const {
    const std::string digits = text();
    out.assign(dropZero(reduce ? dropRepeats(digits.c_str()) : digits.c_str()));
}

void BitString::printHex(StringBuf& out) const {
    std::string digits;
    if (digitCount % kHexDigitBits != 0) digits = std::to_string(digitCount) + "'h";
    int value = 0;
    for (int offset = digitCount; offset-- > 0;) {
        const char digit = digitAt(offset);
        QK_ASSERT_AS(digit != '?', "*p");
        value = value * 2 + (digit == '1' ? 1 : 0);
        if (offset % kHexDigitBits != 0) continue;
        digits += static_cast<char>(value > 9 ? 'a' + value : '0' + value);
        value = 0;
    }
    out.append(digits.c_str());
}

void BitString::link(BitString* live) {
    QK_ASSERT(!liveBits);
    liveBits = live;
}

const char* reducedDigits(const char* digits) { return dropZero(dropRepeats(digits)); }
