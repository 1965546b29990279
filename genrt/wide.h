// Wide values, which are rows of 64-bit chunks, chunk 0 least significant.
#pragma once

#include <cstdint>

/// @return chunks of a value of `nbits` bits
inline unsigned wideChunks(unsigned nbits) { return nbits / 64 + (nbits % 64 != 0); }
