// Decoding the argument pairs of a TEXTIO call.
//
// Pairs are read in order. The first wrong one is reported and ends the run. If qk_exit returns,
// every later pair reads as nothing, and the routine returns when it finds failed() after its last
// pair. Until then nothing has been stored.
#pragma once

#include <cstdint>
#include <string_view>

#include "systasks/args.h"
#include "textio/lines.h"

struct TextFile;

/// @return the magnitude of a size
inline size_t widthOf(int size) {
    return static_cast<size_t>(size < 0 ? -int64_t{size} : int64_t{size});
}

/// A cell of the model that holds the handle of a file or a line.
class Cell {
public:
    Cell() = default;
    explicit Cell(void* address);
    uint64_t handle() const { return held; }
    void store(uint64_t handle);

private:
    void* place = nullptr;
    uint64_t held = 0;
};

/// A cell whose handle denotes a line, or is 0 for a null line.
class LineCell : public Cell {
public:
    LineCell() = default;
    explicit LineCell(const Cell& cell) : Cell(cell), named(findLine(cell.handle())) {}
    /// @return null for a null line
    TextLine* line() const { return named; }
    /// @return the characters left; none for a null line
    std::string_view rest() const { return named ? named->rest() : std::string_view(); }
    void take(size_t count) {
        if (count != 0) named->take(count);
    }
    /// @return the line; a null one becomes empty
    TextLine& orEmpty() { return named ? *named : makeNew(); }
    /// Makes the cell denote a new line, which is empty.
    TextLine& makeNew();

private:
    TextLine* named = nullptr;
};

/// Where a result of up to 64 bits goes.
struct Place {
    void* place = nullptr;
    int bits = 0;
    void store(uint64_t value) const;
};

/// Where a bit vector goes, chunk by chunk.
struct VectorPlace {
    size_t bits = 0;
    OwnedPlaces chunks;
    void store(size_t chunk, uint64_t value) const;
};

/// A string that was passed.
struct StringSource {
    std::string_view text;
    OwnedText owned;
};

/// Where a string goes: a vector, or an array, the last element of which is the leftmost character.
struct StringPlace {
    size_t length = 0;
    int size = 0;  ///< of the vector, below 0; 0 for an array
    OwnedPlaces chunks;
    char* area = nullptr;
    /// Stores characters, starting with the leftmost; the others keep their values.
    void store(std::string_view text) const;
};

class Arguments {
public:
    /// @param least,most  pairs that the call may have
    Arguments(TaskCall& taskCall, int least, int most);

    bool failed() const { return hasFailed; }
    /// Prints an error in the call, and ends the run. Only the first error counts.
    void fail(const char* format, ...) __attribute__((format(printf, 2, 3)));

    bool hasMore() const { return !hasFailed && call.count > 0; }
    Cell cell();
    LineCell line();
    /// @return the open file, or null after a fault
    TextFile* file();
    int64_t number();
    /// Reads a code from 0 to `most`; if there is no further pair, returns `otherwise`.
    int code(const char* name, int most, int otherwise);
    Place smallPlace() { return placeOf(1, 32); }
    Place characterPlace() { return placeOf(8, 32); }
    Place integerPlace() { return placeOf(32, 32); }
    Place timePlace() { return placeOf(64, 64); }
    VectorPlace vectorPlace();
    StringSource string();
    StringPlace stringPlace();
    /// Reads a time in ticks.
    int64_t ticks();
    /// Reads the size of a bit vector, whose chunks are read next.
    int vectorSize();
    /// Reads a name or a message. One that was a vector or an array is `owned`, and may be padded.
    TextArgument text();

    TaskCall& call;

private:
    /// Reads the next size. @return 0 after an error, with failed()
    int next();
    void refuse(int size);
    Place placeOf(int fewestBits, int mostBits);

    int total;
    bool isMarked = false;  ///< the last size was marked as signed
    bool hasFailed = false;
};

/// Defines the exported routines: `function` receives the call.
#define QK_DEFINE_TEXTIO(suffix, name, function)                                                  \
    void qksysvhdl_##suffix(int flags, const void* instance, const char* scope, int ArgPairCount, \
                            ...) {                                                                \
        QK_BEGIN_TASK(call, name);                                                                \
        function(call);                                                                           \
        va_end(call.list);                                                                        \
    }
#define QK_DEFINE_TEXTIO_FUNCTION(suffix, name, function)                                        \
    int qksysvhdl_##suffix(int flags, const void* instance, const char* scope, int ArgPairCount, \
                           ...) {                                                                \
        QK_BEGIN_TASK(call, name);                                                               \
        const int result = function(call);                                                       \
        va_end(call.list);                                                                       \
        return result;                                                                           \
    }
