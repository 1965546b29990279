// Whole arrays: copying, filling, comparing, and the check before an element is written.
//
// An array is held in areas, one for each 64-bit chunk of an element, lowest first. An element
// takes 8 bytes of each area; of the highest area 1, 2, 4 or 8, enough for the bits that are left.
// A descriptor in an argument list is four uint64_t (element width in bits, element count, two that
// are not read), then a pointer to each of the (width + 63) / 64 areas.
//
// A handle is the content of the cell that QkGRNet::array_data named: writes are noted in the
// change list there, for tracing and copying. 0 means that there is none. Elements are numbered
// from 0 in storage order.
#ifndef QKZEFT_ARRAYS_H
#define QKZEFT_ARRAYS_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Checks whether an element may be written, and notes the write.
/// @param report      non-zero: a bad index prints a message to the standard output
/// @param array_name  for the message
/// @param max         the highest index
/// @return 1, or 0 when index is above max
QK_API int qk_array_write_check_fn(int report, const char* array_name, unsigned index,
                                   uint64_t handle, unsigned max);

/// Copies an array to another; equal width and count are asserted. An area may overlap the one that
/// is copied to it. The left head is followed by the left area pointers and the right descriptor.
/// The whole array counts as changed.
QK_API void qk_copy_array(uint64_t l_wid, uint64_t l_elem_count, uint64_t unused, uint64_t handle,
                          ...);

/// Sets the elements from first to last to one value. The head is followed by the area pointers,
/// then the value in as many uint64_t, lowest first; bits above the width are dropped. Elements
/// beyond the array's end are ignored; if first is above last, nothing is set.
QK_API void qk_set_array(uint64_t first, uint64_t last, uint64_t l_wid, uint64_t l_elem_count,
                         uint64_t unused, uint64_t handle, ...);

/// Compares two arrays; equal width and count are asserted. Then follow two uint64_t for each
/// dimension, which are not read, and the left and the right descriptor.
///
/// If the width is a multiple of 64, only the first bytes of the highest area are compared, as many
/// as the array has elements.
/// @return 1 if all elements are equal, else 0
QK_API int qk_array_relation_deqd64(int no_of_dims, ...);
/// Orders two arrays of one dimension, with the same arguments: the last element that differs
/// decides, and within it the highest chunk that differs. Each chunk is compared as a signed number
/// of the size that it has in storage.
/// @return 1 if left is greater, else 0
QK_API int qk_array_relation_dgtd64(int no_of_dims, ...);
/// @return 1 if left is greater or all elements are equal, else 0
QK_API int qk_array_relation_dged64(int no_of_dims, ...);

}  // extern "C"

#endif
