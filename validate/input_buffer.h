// The input of a reference trace, in large blocks.
//
// Every byte that is neither a line end nor a printable character without the blank becomes a blank
// when its block is read, so that a token is what stands between blanks and line ends.
#pragma once

#include <zlib.h>

#include <cstdint>
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
    /// @return whether compressed data ended early or could not be expanded
    bool isDamaged() const { return damaged; }
    /// @return bytes of the file in front of `cur`, as near as can be told
    uint64_t position() const;
    uint64_t fileBytes() const { return size; }

    const char* cur = nullptr;  ///< next character; behind `end` stands a blank
    const char* end = nullptr;

private:
    VcdInputBuffer() = default;
    void closeInput();

    std::unique_ptr<char[]> buffer;
    gzFile gz = nullptr;  ///< null once the input is exhausted
    bool damaged = false;
    uint64_t size = 0;                      ///< of the file; 0 if it is none
    uint64_t blockBegin = 0, blockEnd = 0;  ///< where the block in hand lies in it
};
