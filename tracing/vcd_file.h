// VCD files: the text around the changes, and the two kinds of stream.
//
// Text is collected in one buffer and written in large blocks.
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
    /// @return whether everything was written; else errno has the reason
    virtual bool put(const char* text, size_t bytes) = 0;
    /// Flushes what was put to the file. @return whether that succeeded
    virtual bool flushPut() = 0;
    /// @return whether the stream, if open, closed without an error
    virtual bool closePut() = 0;

private:
    void puts(const char* text);
    /// Makes room for `bytes` more, which is at most kBufferBytes.
    void makeRoom(size_t bytes);
    void putBuffer();
    void check(bool done);

    /// Results of vcdTail(), by slot; 0 if the file does not declare the slot: such entries are
    /// skipped.
    std::vector<uint64_t> tails;
    VcdTextState state;
    std::vector<char> buffer;
    size_t used = 0;
};

/// @return the end of a value line: a blank for vectors, the code, and "\n". In eight bytes, the
///         last of which has its length, so that one store writes it
uint64_t vcdTail(uint32_t code, bool isVector);

std::unique_ptr<QkTraceFile> makePlainFile(const char* filename);
std::unique_ptr<QkTraceFile> makeGzipFile(const char* filename);
