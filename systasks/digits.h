// The text of values that are rows of 64-bit chunks, chunk 0 least significant.
//
// All but writeDecimal() write from the left and may use kDigitSlack bytes after the end that they
// return.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr size_t kDigitSlack = 64;

/// Writes the low `digits` binary digits. @return their end
char* writeBinary(char* out, const uint64_t* chunks, size_t digits);
char* writeHexadecimal(char* out, const uint64_t* chunks, size_t digits);
/// @param chunks  with a zero chunk after the last
char* writeOctal(char* out, const uint64_t* chunks, size_t digits);
/// Writes the low `count` bytes, the highest first, a NUL as a blank. @return their end
char* writeBytes(char* out, const uint64_t* chunks, size_t count);
/// Writes all decimal digits of a value to the left of `end`; the value is destroyed.
/// @return where they begin
char* writeDecimal(char* end, uint64_t* chunks, size_t count);
