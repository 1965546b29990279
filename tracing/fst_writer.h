// FST files: the compact waveform format of GTKWave.
//
// A file is a sequence of blocks, each with a type and a length: a header, the hierarchy, the
// widths of its variables, then blocks of changes. Numbers are big-endian, or in groups of seven
// bits, the lowest first. A block of changes has
//
//   - the frame: every variable's value where the block begins, a character a bit;
//   - chains: the changes of one variable, each as the number of times since its last change and
//     its value. A chain that equals that of an earlier variable is stored only once;
//   - an index of the place of each variable's chain; - the table of times.
//
// While a block is being written it has a type at which readers stop, and the header has no times
// until the file is closed: of an incomplete file all blocks but the last can be read.
//
// Nothing here depends on the database or the model: a writer may belong to any one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/large_memory.h"
#include "tracing/fst_chains.h"
#include "tracing/history.h"
#include "tracing/lz4_block.h"

/// Bytes for a block or a part of one.
class FstBytes {
public:
    void put(unsigned byte) { bytes.push_back(static_cast<unsigned char>(byte)); }
    void put(std::span<const unsigned char> more);
    void putText(const char* text);   ///< with its NUL
    void putNumber(uint64_t number);  ///< in eight bytes
    void putVarint(uint64_t number);
    void putSignedVarint(int64_t number);
    size_t size() const { return bytes.size(); }
    operator std::span<const unsigned char>() const { return bytes; }
    void clear() { bytes.clear(); }

private:
    std::vector<unsigned char> bytes;
};

class FstWriter {
    using Span = std::span<const unsigned char>;

public:
    static constexpr size_t kBlockEntries = (size_t{64} << 20) / sizeof(OutputChange);

    /// @param blockEntries  entries of history that fill a block
    explicit FstWriter(size_t blockEntries = kBlockEntries) : fullBlock(blockEntries) {}
    /// Closes the file as it is.
    ~FstWriter();
    FstWriter(const FstWriter&) = delete;
    FstWriter& operator=(const FstWriter&) = delete;

    /// @return whether it could be opened; else errno has the reason
    bool open(const char* path);

    // ---- The head, in this order; then the changes

    /// @param timescale  exponent of ten of a tick in seconds
    void setHead(const char* version, const char* date, int timescale);
    void beginScope(const char* name);
    void endScope();
    /// Declares a variable, or another name for the variable of `slot`.
    /// @param slot   not kTimeMarker
    /// @param width  at least 1, the same for all names of a slot
    void declare(uint32_t slot, const char* name, uint32_t width);
    void endDefinitions();

    /// Writes changes and times in the order of history; slots without a variable are skipped.
    void write(const OutputChange* change, const OutputChange* end);
    void writeTime(uint64_t time);

    /// Ends a block, so that everything written can be read. @return whether there was no error so
    /// far
    bool flush();
    /// Completes the file. @return whether all went out
    bool close();
    /// @return errno of the first call that failed, or 0
    int error() const { return failure; }
    /// Stops writing; `reason` is as in errno.
    void fail(int reason);

private:
    enum Kind : uint8_t { kUndeclared, kNarrow, kWide };

    struct Slot {
        FstVariable variable;
        Kind kind = kUndeclared;
    };
    struct Variable {
        uint32_t width;
        size_t frameAt;  ///< place in the frame
    };

    void writePart(const Slot& of, const OutputChange& part);
    void pushBits(uint64_t bits, uint32_t count);

    void endBlock();
    void writeFrame();
    void writeChains();
    int64_t writeChain(size_t variable, Span chain);
    void updateFrame(const Variable& variable, Span chain);
    void writeIndex();
    void writeTimes();

    void beginSection(size_t fieldBytes);
    void endSection(unsigned type, const FstBytes& fields);
    FstBytes head() const;
    void writeHierarchy();
    void writeGeometry();
    Span smallerOf(Span bytes, int strategy);
    void emit(Span bytes);
    void drain();
    void patch(uint64_t at, Span bytes);

    // The head.
    std::string version, date;
    int timescale = 0;
    FstBytes hierarchy, geometry;
    uint64_t scopeCount = 0, nameCount = 0;

    // The block.
    std::vector<Slot, LargeAllocator<Slot>> slots = std::vector<Slot, LargeAllocator<Slot>>(1);
    std::vector<Variable> variables;  ///< a variable's handle in the file is its number plus 1
    std::string frame;                ///< values where the block begins
    FstChains chains;
    FstBytes times;  ///< as differences
    uint32_t timeCount = 0;
    bool hasTime = false;  ///< the file has had one
    uint64_t firstTime = 0, lastTime = 0;
    uint64_t blockBegin = 0;  ///< the time of the frame
    uint64_t blockCount = 0;
    const size_t fullBlock;
    size_t entries = 0;  ///< of history, in the block
    // The value that comes in parts.
    uint32_t partsOf = kTimeMarker;    ///< its slot; that of times without one
    uint32_t partBits = 0;             ///< of it, so far
    std::vector<unsigned char> parts;  ///< with room behind the longest
    uint64_t pendingBits = 0;          ///< its last ones, from the top: less than a byte

    // The end of a block.
    struct Seen {
        uint32_t hash;    ///< the part of the hash that the place in the table does not give
        uint32_t handle;  ///< 0: none
    };
    std::vector<Seen, LargeAllocator<Seen>> seen;  ///< chains written; a power of two
    std::vector<int64_t>
        index;              ///< by variable: place of its chain, or minus the handle that has it
    uint64_t chainsAt = 0;  ///< what places count from
    uint64_t traversalBytes = 0;  ///< of the chains of all variables, unpacked
    std::vector<unsigned char> packed;
    FstBytes deflated;
    Lz4Packer packer;

    // The file.
    int file = -1;
    int failure = 0;
    std::vector<unsigned char> buffer;
    uint64_t offset = 0;  ///< in the file, of the next byte
    uint64_t sectionAt = 0;
};
