// Memory images: an array's contents as text.
//
// Values of an array are addressed by its declared indices, and addresses ascend through a file.
// Where an address lies in storage is QkTrace::elementOf()'s matter.
#pragma once

#include <cstdio>

struct QkTrace;

/// A file to read, and where its values go.
struct MemoryImage {
    const char* file;
    int base;  ///< 2 or 16
    /// How many of `start` and `finish` count: 1 the first, 2 both, else none. What does not count
    /// is the end of the array.
    int args = 0;
    int start = 0;  ///< declared indices, both included, in either order
    int finish = 0;
};

/// Reads a file into an array, any fault stopping it there with a message.
/// @param array  the header of an array; of the model, or made up over plain memory
/// @return whether all was read
bool loadMemoryImage(QkTrace* array, const MemoryImage& image);

/// Writes all of an array in hexadecimal; the stream keeps any error.
void writeMemoryImage(std::FILE* file, const QkTrace* array);
