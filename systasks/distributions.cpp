#include "systasks/distributions.h"

#include <climits>
#include <cmath>
#include <cstring>

namespace {

/// @return a value between 0 and 1, neither included
double drawUnit(uint32_t& seed) {
    double u;
    do {
        if (seed == 0) seed = 259341593;
        seed = 69069 * seed + 1;
        const uint32_t bits = seed >> 9 | 0x3f800000;  // of a float from 1 to 2
        float f;
        std::memcpy(&f, &bits, sizeof f);
        double c = static_cast<double>(f);
        c += c * 0.00000011920928955078125;
        u = c - 1.0;
    } while (!(u > 0.0 && u < 1.0));
    return u;
}

double drawBetween(uint32_t& seed, double low, double high) {
    return (high - low) * drawUnit(seed) + low;
}

/// Drops the fraction. A value that no integer can hold gives the least one.
int64_t truncated(double value) {
    constexpr double kLimit = 9223372036854775808.0;
    return std::fabs(value) < kLimit ? static_cast<int64_t>(value) : INT64_MIN;
}

/// Takes the next integer below, but for a whole number below 0 the one before it. What the sign
/// is has even odds, so it is no branch.
int64_t steppedDown(double value) { return truncated(value - static_cast<double>(value < 0.0)); }

/// Rounds to the nearest integer, half away from 0, and keeps the low 32 bits.
int32_t rounded(double value) {
    return static_cast<int32_t>(truncated(value + std::copysign(0.5, value)));
}

double normal(uint32_t& seed, double mean, double deviation) {
    double v, s;
    do {
        v = drawBetween(seed, -1.0, 1.0);
        const double w = drawBetween(seed, -1.0, 1.0);
        s = v * v + w * w;
    } while (s >= 1.0 || s == 0.0);
    return v * std::sqrt(-2.0 * std::log(s) / s) * deviation + mean;
}

double exponential(uint32_t& seed, double mean) { return -std::log(drawUnit(seed)) * mean; }

double chiSquare(uint32_t& seed, int32_t degrees) {
    double x = 0.0;
    if (degrees % 2 != 0) {
        x = normal(seed, 0.0, 1.0);
        x *= x;
    }
    for (int32_t pair = 0; pair < degrees / 2; ++pair) x += 2 * exponential(seed, 1.0);
    return x;
}

}  // namespace

int32_t drawRandom(uint32_t& seed) {
    const double x = drawBetween(seed, INT_MIN, INT_MAX);
    return static_cast<int32_t>(
        steppedDown((x + 2147483648.0) * 2.3283064370807974e-10 * 4294967296.0 - 2147483648.0));
}

int32_t drawUniform(uint32_t& seed, int32_t start, int32_t end) {
    if (start >= end) return start;
    if (start == INT_MIN && end == INT_MAX) return drawRandom(seed);
    // The interval is open above, so that it takes one more; at INT_MAX it is moved down instead.
    const int shift = end == INT_MAX ? 1 : 0;
    const double low = static_cast<double>(start) - shift;
    const double high = static_cast<double>(end) + 1.0 - shift;
    const int64_t drawn = steppedDown(drawBetween(seed, low, high) + shift);
    return static_cast<int32_t>(drawn < start ? start : drawn > end ? end : drawn);
}

int32_t drawNormal(uint32_t& seed, int32_t mean, int32_t deviation) {
    return rounded(normal(seed, mean, deviation));
}

int32_t drawExponential(uint32_t& seed, int32_t mean) { return rounded(exponential(seed, mean)); }

int32_t drawPoisson(uint32_t& seed, int32_t mean) {
    const double limit = std::exp(-static_cast<double>(mean));
    int32_t count = 0;
    for (double q = drawUnit(seed); limit < q; q = drawUnit(seed) * q) ++count;
    return count;
}

int32_t drawChiSquare(uint32_t& seed, int32_t degrees) { return rounded(chiSquare(seed, degrees)); }

int32_t drawT(uint32_t& seed, int32_t degrees) {
    const double root = std::sqrt(chiSquare(seed, degrees) / degrees);
    return rounded(normal(seed, 0.0, 1.0) / root);
}

int32_t drawErlang(uint32_t& seed, int32_t k, int32_t mean) {
    double product = 1.0;
    for (int32_t stage = 0; stage < k; ++stage) product *= drawUnit(seed);
    return rounded(-static_cast<double>(mean) * std::log(product) / k);
}
