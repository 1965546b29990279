// Printing values.
//
// A value prints as hexadecimal digits, most significant first, leading zeros kept. A width that
// would leave digits ambiguous is put in front: 6'h2a.
#pragma once

#include <cstdint>

#include "run/printout.h"

struct QkName;

/// Beside the elements from one declared index to another, printName() can be asked for:
inline constexpr int64_t kNoIndex = INT64_MIN;         ///< the array's shape
inline constexpr int64_t kWholeArray = INT64_MIN + 1;  ///< all elements

/// Prints the value of a name as it is in the model's storage now.
/// @param from,to    elements of an array, in its direction; not read for other names
/// @param separator  opens each row of an array: a newline in a listing
void printName(Printout& out, const QkName* name, int64_t from, int64_t to, char separator);

/// Reads "[i]", "[i:j]" or "[]", which gives kWholeArray. Prints what is wrong with anything else.
/// @param text  begins with '['
/// @return 0, or the number of the error
int parseIndexRange(const char* text, int64_t& from, int64_t& to);
