// Reading and writing times in TEXTIO's form: a decimal and a unit (IEEE 1076-1993, 14.3).
//
// Both directions are exact. A unit is 1, 6 or 36 times a power of ten of a femtosecond and a tick
// is a power of ten, so digits times that factor and a shift of the decimal point are enough.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Units by the position number of their code.
inline constexpr int kTimeUnits = 8, kNanoseconds = 2;

/// Reads a sign, a decimal with an optional exponent, white space and a unit in any case. The value
/// is truncated towards zero to a tick of the current precision.
/// @param ticks  receives the value
/// @return the number of characters read; kNoValue when there is no time, or it does not fit 64
///         bits
size_t parseTime(std::string_view text, int64_t& ticks);
inline constexpr size_t kNoValue = std::string_view::npos;

/// Whether a character is a blank, a tab or a no-break space.
bool isWhite(char c);

/// Writes a time in a unit. Fractions of minutes and hours that do not terminate are truncated
/// after 16 and 17 digits.
/// @param text  receives at most kTimeTextBytes characters, without a NUL
/// @return characters written
size_t formatTime(int64_t ticks, int unit, char* text);
inline constexpr size_t kTimeTextBytes = 64;
