// Memory images: the contents of an array in a text file, as $readmemh and $readmemb of Verilog
// read it (IEEE 1364-2005, 17.2.9).
//
// A file holds values in hexadecimal or binary digits, '@' with the hexadecimal address of the next
// value, and comments. Addresses ascend from value to value, whichever way the array was declared.
// Digits x and z count as 0. Every error is printed on the console, with file and line; what was
// read before it stays stored.
#ifndef QKZEFT_MEMIMAGE_H
#define QKZEFT_MEMIMAGE_H

#include "qkzeft_api.h"

extern "C" {

/// Reads a file of hexadecimal values into an array of the model, from its lowest index on.
/// @param array  full name, or a pattern whose first match among the arrays is taken
/// @return 1, or 0 with a message when there is no such array or file, or the file has an error
QK_API int qk_readmemh(const char* array, const char* file);
/// The same for binary values.
QK_API int qk_readmemb(const char* array, const char* file);

/// Reads a file of hexadecimal values into a part of an array.
/// @param args    how many of the next two parameters count: 1 `start`, 2 both, else the whole
///                array
/// @param start   declared index of the first value
/// @param finish  declared index of the last value; if it is below `start`, the two are exchanged
QK_API int qk_readmemh_sf(const char* array, const char* file, int args, int start, int finish);
/// The same for binary values.
QK_API int qk_readmemb_sf(const char* array, const char* file, int args, int start, int finish);

/// Writes an array in hexadecimal, so that qk_readmemh() reads it back.
/// @return 1, or 0 with a message
QK_API int qk_writememh(const char* array, const char* file);

/// Reads a file into plain memory that does not belong to a net.
/// @param base    2 or 16
/// @param abase   |left - right| + 1 elements of 1, 2, 4 or 8 bytes each, by width. The element at
///                `right` is first when left is above right, else last
/// @param awidth  bits of an element, 1 to 64
/// @param args    0 to 2, as for qk_readmemh_sf()
QK_API int qk_readmem_lr_c(int base, void* abase, int awidth, int left, int right, const char* file,
                           int args, int start, int finish);
/// Deprecated, and prints that at each call: qk_readmem_lr_c() with the bounds [low + count - 1 :
/// low].
/// @param count  elements, at least 1
QK_API int qk_readmem_c(int base, void* abase, int awidth, int low, int count, const char* file,
                        int args, int start, int finish);

}  // extern "C"

#endif
