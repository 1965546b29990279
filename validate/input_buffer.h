// The input of a reference trace, in large blocks.
//
// Every byte that is neither a line end nor a printable character without the blank becomes a blank
// when its block is read, so that a token is what stands between blanks and line ends.
#pragma once

#include <zlib.h>

#include <memory>

class VcdInputBuffer {
public:
    /// @return null when the file cannot be opened
    static std::unique_ptr<VcdInputBuffer> open(const char* path);
    ~VcdInputBuffer();
    VcdInputBuffer(const VcdInputBuffer&) = delete;
    VcdInputBuffer& operator=(const VcdInputBuffer&) = delete;

    /// Reads the next block over the one before. @return false at the end of input
    bool refill();
    bool atEnd() const { return cur == end && !gz; }

    const char* cur = nullptr;  ///< next character; behind `end` stands a blank
    const char* end = nullptr;

private:
    VcdInputBuffer() = default;
    void closeInput();

    std::unique_ptr<char[]> buffer;
    gzFile gz = nullptr;  ///< null once the input is exhausted
};
