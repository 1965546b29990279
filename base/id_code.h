// The short identifier codes of VCD variables.
//
// Codes are little-endian numbers over the printable characters '!' to '~', the first character
// least significant: "!", ... "~", "!!", "\"!", and so on. Code number 1 is "!".
#pragma once

#include <cstdint>

/// Maximum length of a code, without a terminator.
inline constexpr int kIdCodeMaxLength = 5;

/// Writes the code of `number`, 1 or more, to `out` and terminates it.
/// @param out  room for kIdCodeMaxLength + 1 bytes
/// @return its length
int idCodeText(uint32_t number, char* out);
