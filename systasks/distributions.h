// The draws behind $random and the $dist_ functions, bit for bit those of IEEE 1364-2005, 17.9.3.
//
// All randomness is in the seed, a 32-bit register of the design that each draw steps on: the same
// seed gives the same sequence in every simulator. Arithmetic is in doubles, in the order that the
// standard has it, without contraction.
#pragma once

#include <cstdint>

/// @return any of the 2^32 values
int32_t drawRandom(uint32_t& seed);
/// @return a value from `start` to `end`; `start`, with the seed untouched, unless it is below
int32_t drawUniform(uint32_t& seed, int32_t start, int32_t end);
int32_t drawNormal(uint32_t& seed, int32_t mean, int32_t deviation);
int32_t drawExponential(uint32_t& seed, int32_t mean);
int32_t drawPoisson(uint32_t& seed, int32_t mean);
/// @param degrees  of freedom, 1 or more
int32_t drawChiSquare(uint32_t& seed, int32_t degrees);
/// Student's distribution.
/// @param degrees  of freedom, 1 or more
int32_t drawT(uint32_t& seed, int32_t degrees);
/// @param k  stages, 1 or more
int32_t drawErlang(uint32_t& seed, int32_t k, int32_t mean);
