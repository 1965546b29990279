// Printing values.
//
// A value prints as hexadecimal digits, most significant first, leading zeros kept. If the digits
// alone would not show the width, it is printed first: 6'h2a.
#pragma once

#include <cstdint>

#include "run/printout.h"

struct QkName;

/// In place of a range of elements, printName() accepts:
inline constexpr int64_t kNoIndex = INT64_MIN;         ///< the array's shape
inline constexpr int64_t kWholeArray = INT64_MIN + 1;  ///< all elements

/// Prints the current value of a name in the model's storage.
/// @param from,to    elements of an array, in its direction; not read for other names
/// @param separator  printed before each row of an array: a newline in a listing
void printName(Printout& out, const QkName* name, int64_t from, int64_t to, char separator);

/// Reads "[i]", "[i:j]" or "[]", which gives kWholeArray. Prints an error for anything else.
/// @param text  begins with '['
/// @return 0, or the number of the error
int parseIndexRange(const char* text, int64_t& from, int64_t& to);
