// The draws of $random and the $dist_ functions, bit for bit those of IEEE 1364-2005, 17.9.3.
//
// The only state is the seed, a 32-bit register of the design that each draw advances: the same
// seed gives the same sequence in every simulator. Arithmetic uses doubles, in the order of the
// standard, without contraction: files that include this are compiled so. All functions are inline,
// so that a caller's seed stays in a register, because each draw depends on the one before.
#pragma once

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

/// @return a value between 0 and 1, neither included
inline double drawUnit(uint32_t& seed) {
    uint32_t mantissa;
    do {
        if (seed == 0) seed = 259341593;
        seed = 69069 * seed + 1;
        mantissa = seed >> 9;
    } while (mantissa == 0x7fffff);               // the code below would give a little more than 1
    const uint32_t bits = mantissa | 0x3f800000;  // of a float from 1 to 2
    float f;
    std::memcpy(&f, &bits, sizeof f);
    const double c = static_cast<double>(f);
    return c + c * 0.00000011920928955078125 - 1.0;
}

inline double drawBetween(uint32_t& seed, double low, double high) {
    return (high - low) * drawUnit(seed) + low;
}

/// Returns the next integer below; for a whole number below 0, that number minus 1. Both signs are
/// equally likely, so there must be no branch on the sign; -0 does not occur.
inline int64_t steppedDown(double value) {
    return static_cast<int64_t>(value - (0.5 - std::copysign(0.5, value)));
}

/// @return any of the 2^32 values
inline int32_t drawRandom(uint32_t& seed) {
    const double x = drawBetween(seed, INT_MIN, INT_MAX);
    return static_cast<int32_t>(
        steppedDown((x + 2147483648.0) * 2.3283064370807974e-10 * 4294967296.0 - 2147483648.0));
}

/// @return a value from `start` to `end`; if `start` is not below `end`, `start`, and the seed does
///         not change
inline int32_t drawUniform(uint32_t& seed, int32_t start, int32_t end) {
    if (start >= end) return start;
    if (start == INT_MIN && end == INT_MAX) return drawRandom(seed);
    // The interval is open at its end, so that is raised by 1. If it is INT_MAX, the start is
    // lowered by 1 instead, and 1 is added to what was drawn.
    int64_t drawn;
    if (end == INT_MAX)
        drawn = steppedDown(drawBetween(seed, static_cast<double>(start) - 1.0, end) + 1.0);
    else
        drawn = steppedDown(drawBetween(seed, start, static_cast<double>(end) + 1.0));
    return static_cast<int32_t>(drawn < start ? start : drawn > end ? end : drawn);
}

/// Drops the fraction. A value that no integer can hold gives the lowest integer.
inline int64_t truncated(double value) {
    constexpr double kLimit = 9223372036854775808.0;
    return std::fabs(value) < kLimit ? static_cast<int64_t>(value) : INT64_MIN;
}

/// Rounds to the nearest integer, half away from 0, and keeps the low 32 bits.
inline int32_t rounded(double value) {
    return static_cast<int32_t>(truncated(value + std::copysign(0.5, value)));
}

inline double drawNormalReal(uint32_t& seed, double mean, double deviation) {
    double v, s;
    do {
        v = drawBetween(seed, -1.0, 1.0);
        const double w = drawBetween(seed, -1.0, 1.0);
        s = v * v + w * w;
    } while (s >= 1.0 || s == 0.0);
    return v * std::sqrt(-2.0 * std::log(s) / s) * deviation + mean;
}

inline double drawExponentialReal(uint32_t& seed, double mean) {
    return -std::log(drawUnit(seed)) * mean;
}

inline double drawChiSquareReal(uint32_t& seed, int32_t degrees) {
    double x = 0.0;
    if (degrees % 2 != 0) {
        x = drawNormalReal(seed, 0.0, 1.0);
        x *= x;
    }
    for (int32_t pair = 0; pair < degrees / 2; ++pair) x += 2 * drawExponentialReal(seed, 1.0);
    return x;
}

inline int32_t drawNormal(uint32_t& seed, int32_t mean, int32_t deviation) {
    return rounded(drawNormalReal(seed, mean, deviation));
}

inline int32_t drawExponential(uint32_t& seed, int32_t mean) {
    return rounded(drawExponentialReal(seed, mean));
}

inline int32_t drawPoisson(uint32_t& seed, int32_t mean) {
    const double limit = std::exp(-static_cast<double>(mean));
    int32_t count = 0;
    for (double q = drawUnit(seed); limit < q; q = drawUnit(seed) * q) ++count;
    return count;
}

/// @param degrees  of freedom, 1 or more
inline int32_t drawChiSquare(uint32_t& seed, int32_t degrees) {
    return rounded(drawChiSquareReal(seed, degrees));
}

/// Student's distribution.
/// @param degrees  of freedom, 1 or more
inline int32_t drawT(uint32_t& seed, int32_t degrees) {
    const double root = std::sqrt(drawChiSquareReal(seed, degrees) / degrees);
    return rounded(drawNormalReal(seed, 0.0, 1.0) / root);
}

/// @param k  stages, 1 or more
inline int32_t drawErlang(uint32_t& seed, int32_t k, int32_t mean) {
    double product = 1.0;
    for (int32_t stage = 0; stage < k; ++stage) product *= drawUnit(seed);
    return rounded(-static_cast<double>(mean) * std::log(product) / k);
}
