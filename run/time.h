// The simulated clock, its timescale, and time as text.
//
// A tick is 10^qk_timescale_precision seconds. The precision starts at -9 and the unit at whatever
// is merged first; from then on both only decrease, and the precision is never greater than the
// unit. Everything else about the timescale is derived from the precision when needed.
#pragma once

#include <cstdint>

#include "qkzeft_run.h"

inline constexpr int kFinestExponent = -15;  ///< of a tick and of the time unit
inline constexpr uint64_t kNoTime = ~uint64_t{0};

inline constexpr uint64_t kPowersOfTen[] = {
    1,
    10,
    100,
    1'000,
    10'000,
    100'000,
    1'000'000,
    10'000'000,
    100'000'000,
    1'000'000'000,
    10'000'000'000,
    100'000'000'000,
    1'000'000'000'000,
    10'000'000'000'000,
    100'000'000'000'000,
    1'000'000'000'000'000,
};

// Written by qk_set_timescale() only; exponents of ten, in seconds.
extern int qk_timescale_unit;
extern int qk_timescale_precision;
/// When the run ends, in ticks; kNoTime: no limit. Rescaled with the clock.
extern uint64_t qk_end_time;

/// @return a limit in ticks `factor` times finer; kNoTime when it is too large for them
uint64_t limitInFinerTicks(uint64_t ticks, uint64_t factor);
/// @param precision  precision at the time when it was noted: code called since may have made the
///                   tick finer
/// @return the time in current ticks; in strict mode, and for kNoTime, unchanged
uint64_t inTicksNow(uint64_t ticks, int precision);

/// The $timescale of a dump for the current precision (IEEE 1364-2005, 18.2.3.5).
/// @return "1", "10" or "100"
const char* vcdTimescaleNumber();
/// @return "fs", "ps", "ns", "us", "ms" or " s", all two columns wide
const char* vcdTimescaleUnit();

/// Reads a time typed at the console, as qk_parse_time() does.
/// @param text  not null
/// @return ticks; kNoTime when the text has no digits, or more than a time and white space
uint64_t parseConsoleTime(const char* text);
