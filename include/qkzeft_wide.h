// Shifts of values of more than 64 bits.
//
// A wide value is a row of 64-bit chunks, chunk 0 least significant. Bits above the width must be
// zero in every argument, which is asserted, and are zero in every result.
#ifndef QKZEFT_WIDE_H
#define QKZEFT_WIDE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Shifts a value to the right and fills with zeros (IEEE 1364-2005, 5.1.12). Further arguments are
/// the n = (nbits + 63) / 64 chunks of the value, each a uint64_t, lowest first, and n pointers,
/// each a uint64_t* to the place for that chunk of the result. The result may overwrite the value.
/// @param nbits  width of value and result; 0 does nothing
/// @param shift  any amount
QK_API void qk_wide_shift_right64(unsigned nbits, unsigned shift, ...);
/// Shifts a value to the left, with the same arguments; bits shifted beyond the width are lost.
QK_API void qk_wide_shift_left64(unsigned nbits, unsigned shift, ...);

}  // extern "C"

#endif
