// Memory images: an array's contents as text.
//
// Values of an array are addressed by its declared indices, and addresses ascend through a file.
// QkTrace::elementOf() converts an address to a position in storage.
#pragma once

#include <cstdio>

struct QkTrace;

/// A file to read, and the place for its values.
struct MemoryImage {
    const char* file;
    int base;  ///< 2 or 16
    /// How many of `start` and `finish` count: 1 the first, 2 both, else none. The ends of the
    /// array replace those that do not count.
    int args = 0;
    int start = 0;  ///< declared indices, both included, in either order
    int finish = 0;
};

/// Reads a file into an array. Stops at the first error, with a message.
/// @param array  the header of an array of the model, or one made for plain memory
/// @return whether everything was read
bool loadMemoryImage(QkTrace* array, const MemoryImage& image);

/// Writes a whole array in hexadecimal; errors are left in the stream.
void writeMemoryImage(std::FILE* file, const QkTrace* array);
