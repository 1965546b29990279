// The input of a reference trace, in large blocks.
//
// Every byte that is neither a line end nor a printable character without the blank becomes a blank
// when its block is read, so that a token is what stands between blanks and line ends.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <string>

class VcdInputBuffer {
public:
    /// @return null when the file cannot be opened
    static std::unique_ptr<VcdInputBuffer> open(const char* path);
    ~VcdInputBuffer();
    VcdInputBuffer(const VcdInputBuffer&) = delete;
    VcdInputBuffer& operator=(const VcdInputBuffer&) = delete;

    /// Reads the next block over the one before. @return false at the end of input
    bool refill();
    /// @return what kept the input from being read to its end, once it is exhausted; null: nothing
    const char* failure() const { return problem.empty() ? nullptr : problem.c_str(); }
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
    void noteFailure();

    std::unique_ptr<char[]> buffer;
    std::string problem;
    gzFile gz = nullptr;  ///< null once the input is exhausted
    bool damaged = false;
    uint64_t size = 0;                      ///< of the file; 0 if it is none
    uint64_t blockBegin = 0, blockEnd = 0;  ///< where the block in hand lies in it
};
