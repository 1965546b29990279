// VCD files: the text around the changes, and the two streams that it goes to.
//
// Text gathers in one buffer and leaves in large blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tracing/hot_loops.h"
#include "tracing/trace_file.h"

class QkVcdFile : public QkTraceFile {
public:
    explicit QkVcdFile(const char* fileName);

    void writeHead() override;
    void beginScope(const char* name) override;
    /// Declares a name under an identifier code (IEEE 1364-2005, 18.2.3.8).
    void declare(uint32_t slot, const QkName* name, uint32_t code) override;
    void endScope() override;
    void endDefinitions() override;
    void writeTime(uint64_t time) override;
    void beginInitial() override;
    void endInitial() override;
    void write(const OutputChange* begin, const OutputChange* end, size_t slotCount) override;

protected:
    void flush() override;
    void closeStream() override;
    /// @return whether all went out; errno tells why not
    virtual bool put(const char* text, size_t bytes) = 0;
    /// Has what was put reach the file. @return whether it could
    virtual bool flushPut() = 0;
    /// @return whether the stream, if open, closed without an error
    virtual bool closePut() = 0;

private:
    void puts(const char* text);
    /// Makes room for `bytes` more, at most kBufferBytes.
    void makeRoom(size_t bytes);
    void putBuffer();
    void check(bool done);

    /// What vcdTail() gives, by slot; 0 where the file declares nothing: those entries are passed
    /// over.
    std::vector<uint64_t> tails;
    VcdTextState state;
    std::vector<char> buffer;
    size_t used = 0;
};

/// @return what ends a value line: "\n" and what precedes it, a blank for vectors and the code. In
///         eight bytes with its length in the last, so that one store writes it
uint64_t vcdTail(uint32_t code, bool isVector);

std::unique_ptr<QkTraceFile> makePlainFile(const char* filename);
std::unique_ptr<QkTraceFile> makeGzipFile(const char* filename);
