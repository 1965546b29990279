// The input of a reference trace, in large blocks: a token is what stands between their blanks and
// line ends.
//
// A compressed file of more than a block is expanded by a thread of its own, as that takes longer
// than what follows; so is the output of another program. Other pipes and terminals have none: it
// would wait for input that nobody asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "validate/converter.h"
#include "validate/input_blocks.h"

class VcdInputBuffer {
public:
    /// @return null when the file cannot be opened, with the reason in errno
    static std::unique_ptr<VcdInputBuffer> open(const char* path);
    /// Reads the output of another program. @return null when it cannot be run, likewise
    static std::unique_ptr<VcdInputBuffer> open(const char* path, const Conversion& conversion);
    ~VcdInputBuffer();
    VcdInputBuffer(const VcdInputBuffer&) = delete;
    VcdInputBuffer& operator=(const VcdInputBuffer&) = delete;

    /// Reads the next block over the one before. @return false at the end of input
    bool refill();
    /// @return what kept the input from being read to its end, once it is exhausted; null: nothing
    const char* failure() const { return problem.empty() ? nullptr : problem.c_str(); }
    bool atEnd() const { return cur == end && !gz; }
    /// @return whether the file is damaged: compressed data that ends early or cannot be expanded,
    ///         or a NUL
    bool isDamaged() const { return damaged; }
    /// @return bytes of the file in front of `cur`, as near as can be told
    uint64_t position() const;
    uint64_t fileBytes() const { return size; }

    const char* cur = nullptr;  ///< next character; behind `end` stands a blank
    const char* end = nullptr;

private:
    VcdInputBuffer() = default;
    static std::unique_ptr<VcdInputBuffer> take(gzFile gz);
    void readBlock();
    void closeInput();
    void noteFailure();

    InputBlock block;
    std::string problem;
    gzFile gz = nullptr;  ///< null once the input is exhausted
    std::unique_ptr<Converter> converter;
    std::unique_ptr<ReadAhead> ahead;
    bool isRegular = false;
    bool damaged = false;
    uint64_t size = 0;                      ///< of the file; 0 if it is none
    uint64_t blockBegin = 0, blockEnd = 0;  ///< where the block in hand lies in it
};
