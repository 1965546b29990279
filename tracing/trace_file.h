// A file that history is written to: VCD text, plain or gzip, or FST.
//
// The model's thread writes the header first: writeHead() to endDefinitions(). Then come the
// initial values and the changes. The file has copied what it needs for these from the
// declarations, so that another thread can write them; two threads never use a file at once. After
// a failure nothing more is written, and the failure is reported once.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "base/stringbuf.h"
#include "tracing/history.h"

struct QkName;

class QkTraceFile {
public:
    QkTraceFile(const char* fileName, const char* formatName)
        : path(fileName), format(formatName) {}
    virtual ~QkTraceFile();
    QkTraceFile(const QkTraceFile&) = delete;
    QkTraceFile& operator=(const QkTraceFile&) = delete;

    virtual bool open() = 0;

    virtual void writeHead() = 0;
    virtual void beginScope(const char* name) = 0;
    /// Declares a name. All names of one slot have its code.
    virtual void declare(uint32_t slot, const QkName* name, uint32_t code) = 0;
    virtual void endScope() = 0;
    virtual void endDefinitions() = 0;

    /// Writes a time unless it repeats the last one.
    virtual void writeTime(uint64_t time) = 0;
    /// Encloses the initial values.
    virtual void beginInitial() {}
    virtual void endInitial() {}
    /// Writes the entries of history that are times, or changes of slots that have been declared.
    /// @param slotCount  all slots are below it
    virtual void write(const OutputChange* begin, const OutputChange* end, size_t slotCount) = 0;

    /// Writes what is buffered, so that the file can be read.
    /// @return whether everything so far was written
    bool sync();
    /// Writes what is buffered, closes the file and prints its name. The destructor closes the file
    /// without a message.
    /// @return whether everything was written
    bool close();

    /// Stops writing; `reason` is as in errno.
    void fail(int reason);
    bool hasFailed() const { return error != 0; }
    /// Prints why the file failed, if it did, at the first call.
    void tellFailure();
    const char* name() const { return path.str(); }

protected:
    virtual void flush() = 0;
    virtual void closeStream() = 0;
    /// Prints the name of the file.
    virtual void report() const = 0;

private:
    StringBuf path;
    const char* const format;
    std::atomic<int> error = 0;  ///< errno of the first failure
    bool failureTold = false;
};

/// Opens a file for writing: FST for a name that ends in ".fst", gzip for ".gz", else plain text.
/// An empty name means "logfile.vcd".
/// @return null, with a message, when it cannot be opened
std::unique_ptr<QkTraceFile> openTraceFile(const char* filename);

// ---- Text that the formats share

/// @return the date and time of day
std::string dateText();
/// Adds a name's bounds: "[7:0]", "[3]" for one bit of a range, or nothing.
/// @param out  room for kBoundsBytes
/// @return the end of what was added, which is not terminated
char* addBounds(char* out, const QkName* name);
inline constexpr int kBoundsBytes = 32;
/// @return the number of bits that history records for a name
int recordedWidth(const QkName* name);
