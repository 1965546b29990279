// VCD files: the text around the changes, and the two streams that it goes to.
//
// Text gathers in one buffer and leaves in large blocks. A stream that fails is reported once, when
// the file is closed, and takes no more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/stringbuf.h"
#include "tracing/history.h"
#include "tracing/hot_loops.h"

struct QkName;

class QkVcdFile {
public:
    explicit QkVcdFile(const char* fileName);
    virtual ~QkVcdFile() = default;
    QkVcdFile(const QkVcdFile&) = delete;
    QkVcdFile& operator=(const QkVcdFile&) = delete;

    virtual bool open() = 0;
    /// Writes what is buffered, so that the file can be read.
    /// @return whether all that was written so far went out
    bool sync();
    /// Writes what is buffered, closes the stream and prints where the text went, or why not all of
    /// it did. The destructor does so if nobody has.
    /// @return whether all that was written went out
    bool close();
    /// Nothing is to be printed of a file that could not be opened.
    void closeUnopened() { isClosed = true; }

    /// @return the name that it was opened under
    const char* name() const { return fileName.str(); }

    void writeVersion();
    void writeDate();
    void writeTimescale();
    void scopeBegin(const char* name);
    /// Declares a name under an identifier code (IEEE 1364-2005, 18.2.3.4).
    void writeVar(const QkName* name, const char* code);
    void scopeEnd();
    void endDefinitions();
    void dumpvarsBegin();
    void dumpvarsEnd();
    /// Writes a time line unless it repeats the last one.
    void writeTime(uint64_t time);
    void writeChanges(const OutputChange* begin, const OutputChange* end, const SlotTable& slots);

protected:
    /// @return whether all went out; errno tells why not
    virtual bool put(const char* text, size_t bytes) = 0;
    /// Has what was put reach the file. @return whether it could
    virtual bool flushStream() = 0;
    /// @return whether the stream, if open, closed without an error
    virtual bool closeStream() = 0;
    /// Prints where the text went.
    virtual void report() const = 0;

private:
    void puts(const char* text);
    void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Makes room for `bytes` more, at most kBufferBytes.
    void makeRoom(size_t bytes);
    void flush();

    StringBuf fileName;
    VcdTextState state;
    std::vector<char> buffer;
    size_t used = 0;
    bool isClosed = false;
    int error = 0;  ///< errno of the first failed write
};

/// Opens a file for writing: gzip for a name that ends in ".gz", else plain text. An empty name
/// means "logfile.vcd".
/// @return null, with a message, when it cannot be opened
std::unique_ptr<QkVcdFile> openTraceFile(const char* filename);
