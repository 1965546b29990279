// The input of a reference trace, in large blocks; blanks and line ends separate its tokens.
//
// A separate thread expands a compressed file of more than one block, as that takes longer than the
// rest of the work; it also reads the output of another program. Other pipes and terminals have no
// thread: it would wait for input that is not needed yet.
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
    /// @return once the input is exhausted: why it could not be read to its end, or null
    const char* failure() const { return problem.empty() ? nullptr : problem.c_str(); }
    bool atEnd() const { return cur == end && !gz; }
    /// @return whether the file is damaged: compressed data that ends early or cannot be expanded,
    ///         or a NUL
    bool isDamaged() const { return damaged; }
    /// @return approximate number of bytes of the file before `cur`
    uint64_t position() const;
    uint64_t fileBytes() const { return size; }

    const char* cur = nullptr;  ///< next character; there is a blank at `end`
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
    uint64_t size = 0;                      ///< of the file; 0 if it is not a file
    uint64_t blockBegin = 0, blockEnd = 0;  ///< place of the current block in the file
};
