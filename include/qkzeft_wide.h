// Shifts of values of more than 64 bits.
//
// A wide value is a row of 64-bit chunks, chunk 0 least significant. Bits above the width are zero
// in every value given in, which is asserted, and in every value given back.
#ifndef QKZEFT_WIDE_H
#define QKZEFT_WIDE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Shifts a value to the right; zeros come in (IEEE 1364-2005, 5.1.12). Then follow n = (nbits +
/// 63) / 64 chunks of the value, each a uint64_t, lowest first, and n pointers, each a uint64_t* to
/// the place of that chunk of the result, which may be where the value came from.
/// @param nbits  width of value and result; 0 does nothing
/// @param shift  any amount
QK_API void qk_wide_shift_right64(unsigned nbits, unsigned shift, ...);
/// Shifts a value to the left, with the same arguments; what leaves the width is lost.
QK_API void qk_wide_shift_left64(unsigned nbits, unsigned shift, ...);

}  // extern "C"

#endif
