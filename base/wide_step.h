// One step of arithmetic on values of several chunks, with or without 128-bit integers of the
// compiler.
#pragma once

#include <cstdint>

struct ChunkProduct {
    uint64_t low, high;
};

struct ChunkQuotient {
    uint64_t quotient, remainder;
};

#ifdef __SIZEOF_INT128__

__extension__ using Uint128 = unsigned __int128;

/// @return a * b + summand, which fits two chunks
inline ChunkProduct multiplyAddChunk(uint64_t a, uint64_t b, uint64_t summand) {
    const Uint128 product = Uint128{a} * b + summand;
    return {static_cast<uint64_t>(product), static_cast<uint64_t>(product >> 64)};
}

/// Divides high * 2^64 + low. @param divisor  above `high`, so that one chunk holds the quotient
inline ChunkQuotient divideChunks(uint64_t high, uint64_t low, uint64_t divisor) {
    const Uint128 part = Uint128{high} << 64 | low;
    const auto quotient = static_cast<uint64_t>(part / divisor);
    return {quotient, low - quotient * divisor};  // the remainder, as it is below the divisor
}

#else

inline ChunkProduct multiplyAddChunk(uint64_t a, uint64_t b, uint64_t summand) {
    const uint64_t aLow = a & UINT32_MAX, aHigh = a >> 32, bLow = b & UINT32_MAX, bHigh = b >> 32;
    const uint64_t first = aLow * bLow + (summand & UINT32_MAX);
    const uint64_t second = aHigh * bLow + (first >> 32) + (summand >> 32);
    const uint64_t third = aLow * bHigh + (second & UINT32_MAX);
    return {third << 32 | (first & UINT32_MAX), aHigh * bHigh + (second >> 32) + (third >> 32)};
}

inline ChunkQuotient divideChunks(uint64_t high, uint64_t low, uint64_t divisor) {
    uint64_t quotient = 0;
    for (int bit = 63; bit >= 0; --bit) {
        const bool overflows = high >> 63 != 0;
        high = high << 1 | (low >> bit & 1);
        if (!overflows && high < divisor) continue;
        high -= divisor;
        quotient |= uint64_t{1} << bit;
    }
    return {quotient, high};
}

#endif
