#include "systasks/digits.h"

#include <bit>
#include <cstring>

#include "base/wide_step.h"

namespace {

/// Stores eight characters, the first of which is the low byte.
void storeEight(char* out, uint64_t characters) {
    if constexpr (std::endian::native == std::endian::big)
        characters = __builtin_bswap64(characters);
    std::memcpy(out, &characters, sizeof characters);
}

constexpr uint64_t kOfEach = 0x0101010101010101;  // multiplied by a byte: that byte eight times

/// @return the eight digits of a value, the highest in the low byte
uint64_t hexadecimalDigits(uint32_t value) {
    uint64_t x = value;
    x = (x & 0xffff) << 32 | x >> 16;
    x = (x & 0x000000ff000000ff) << 16 | (x & 0x0000ff000000ff00) >> 8;
    x = (x & 0x000f000f000f000f) << 8 | (x & 0x00f000f000f000f0) >> 4;
    const uint64_t isLetter = (x + 6 * kOfEach) >> 4 & kOfEach;
    return x + '0' * kOfEach + isLetter * ('a' - '0' - 10);
}

struct BinaryDigits {
    char of[256][8];
};
constexpr BinaryDigits kBinary = [] {
    BinaryDigits digits{};
    for (unsigned byte = 0; byte < 256; ++byte)
        for (unsigned i = 0; i < 8; ++i)
            digits.of[byte][i] = static_cast<char>('0' + (byte >> (7 - i) & 1));
    return digits;
}();

struct DecimalPairs {
    char of[100][2];
};
constexpr DecimalPairs kPairs = [] {
    DecimalPairs pairs{};
    for (unsigned i = 0; i < 100; ++i) {
        pairs.of[i][0] = static_cast<char>('0' + i / 10);
        pairs.of[i][1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// Writes places of kBits bits each, of which a chunk has kPlaces; expand(out, chunk) writes all
/// places of a chunk. The used bits of an incomplete top chunk are first moved to its top.
template <unsigned kBits, class Expand>
[[gnu::always_inline]] inline char* writeChunks(char* out, const uint64_t* chunks, size_t places,
                                                Expand&& expand) {
    constexpr size_t kPlaces = 64 / kBits;
    size_t chunk = places / kPlaces;
    if (const size_t top = places % kPlaces; top != 0) {
        expand(out, chunks[chunk] << (64 - top * kBits));
        out += top;
    }
    for (; chunk > 0; out += kPlaces) expand(out, chunks[--chunk]);
    return out;
}

}  // namespace

char* writeBinary(char* out, const uint64_t* chunks, size_t digits) {
    return writeChunks<1>(out, chunks, digits, [](char* to, uint64_t chunk) {
        for (unsigned i = 0; i < 8; ++i)
            std::memcpy(to + i * 8, kBinary.of[chunk >> (56 - i * 8) & 0xff], 8);
    });
}

char* writeHexadecimal(char* out, const uint64_t* chunks, size_t digits) {
    return writeChunks<4>(out, chunks, digits, [](char* to, uint64_t chunk) {
        storeEight(to, hexadecimalDigits(static_cast<uint32_t>(chunk >> 32)));
        storeEight(to + 8, hexadecimalDigits(static_cast<uint32_t>(chunk)));
    });
}

char* writeBytes(char* out, const uint64_t* chunks, size_t count) {
    return writeChunks<8>(out, chunks, count, [](char* to, uint64_t chunk) {
        constexpr uint64_t kLow = 0x7f * kOfEach;
        const uint64_t isNul = ~(((chunk & kLow) + kLow) | chunk | kLow);  // bit 7 of such bytes
        storeEight(to, __builtin_bswap64(chunk | isNul >> 2));
    });
}

char* writeOctal(char* out, const uint64_t* chunks, size_t digits) {
    for (size_t left = digits; left-- > 0;) {
        const size_t bit = left * 3, chunk = bit / 64, shift = bit % 64;
        uint64_t digit = chunks[chunk] >> shift;
        if (shift > 61) digit |= chunks[chunk + 1] << (64 - shift);
        *out++ = static_cast<char>('0' + (digit & 7));
    }
    return out;
}

// ---- Decimal

namespace {

constexpr uint64_t kBigStep = 10'000'000'000'000'000'000u;  // 19 digits at a time
constexpr size_t kBigStepDigits = 19;

char* writeNarrow(char* end, uint64_t value) {
    const auto writePair = [&end](uint64_t pair) {
        end -= 2;
        std::memcpy(end, kPairs.of[pair], 2);
    };
    for (; value >= 100; value /= 100) writePair(value % 100);
    if (value >= 10)
        writePair(value);
    else
        *--end = static_cast<char>('0' + value);
    return end;
}

/// Divides a value by kBigStep. @return the remainder
uint64_t divideByBigStep(uint64_t* chunks, size_t count) {
    uint64_t remainder = 0;
    for (size_t i = count; i-- > 0;) {
        const ChunkQuotient part = divideChunks(remainder, chunks[i], kBigStep);
        chunks[i] = part.quotient;
        remainder = part.remainder;
    }
    return remainder;
}

}  // namespace

char* writeDecimal(char* end, uint64_t* chunks, size_t count) {
    while (count > 1 && chunks[count - 1] == 0) --count;
    while (count > 1 || chunks[0] >= kBigStep) {
        char* const begin = writeNarrow(end, divideByBigStep(chunks, count));
        end -= kBigStepDigits;
        std::memset(end, '0', static_cast<size_t>(begin - end));
        if (count > 1 && chunks[count - 1] == 0) --count;
    }
    return writeNarrow(end, chunks[0]);
}
