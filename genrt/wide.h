// Fields of wide values, which are rows of 64-bit chunks, chunk 0 least significant.
#pragma once

#include <cstdint>

/// @return chunks of a value of `nbits` bits
inline unsigned wideChunks(unsigned nbits) { return nbits / 64 + (nbits % 64 != 0); }

/// @param chunks  the value; the bits above `nbits` are zero
/// @param shift   low bit of the field
/// @param width   bits of the field, at most 64
/// @return the field, with zeros for what lies above the value
uint64_t wideField(unsigned nbits, unsigned shift, unsigned width, const uint64_t* chunks);
