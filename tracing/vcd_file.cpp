#include "tracing/vcd_file.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "netdb/netdb.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/time.h"
#include "run/version.h"
#include "run/written_files.h"

namespace {

constexpr size_t kBufferBytes = 512 * 1024;
constexpr size_t kBlockBytesOut = 256 * 1024;  // what leaves at a time, at least

class QkVcdPlainFile : public QkVcdFile {
public:
    using QkVcdFile::QkVcdFile;
    ~QkVcdPlainFile() override { close(); }
    bool open() override {
        pfp = std::fopen(name(), "w");
        if (pfp) std::setvbuf(pfp, nullptr, _IONBF, 0);  // the blocks are large
        return pfp != nullptr;
    }

protected:
    bool put(const char* text, size_t bytes) override {
        QK_ASSERT(pfp);
        return std::fwrite(text, 1, bytes, pfp) == bytes;
    }
    bool flushStream() override { return std::fflush(pfp) == 0; }
    bool closeStream() override { return !pfp || std::fclose(std::exchange(pfp, nullptr)) == 0; }
    void report() const override { qk_printf("VCD written to file: %s\n", name()); }

private:
    FILE* pfp = nullptr;
};

class QkVcdGzipFile : public QkVcdFile {
public:
    using QkVcdFile::QkVcdFile;
    ~QkVcdGzipFile() override { close(); }
    bool open() override {
        // The default level would make tracing wait for zlib: this one is about five times as fast
        // for a file at most a third larger.
        gzfp = gzopen(name(), "wb1R");
        if (gzfp) gzbuffer(gzfp, 128 * 1024);
        return gzfp != nullptr;
    }

protected:
    bool put(const char* text, size_t bytes) override {
        QK_ASSERT(gzfp);
        return gzwrite(gzfp, text, static_cast<unsigned>(bytes)) == static_cast<int>(bytes);
    }
    bool flushStream() override { return gzflush(gzfp, Z_SYNC_FLUSH) == Z_OK; }
    bool closeStream() override { return !gzfp || gzclose(std::exchange(gzfp, nullptr)) == Z_OK; }
    void report() const override { qk_printf("VCD written to gzipped file: %s\n", name()); }

private:
    gzFile gzfp = nullptr;
};

bool endsWith(const char* text, const char* ending) {
    const size_t length = std::strlen(text), tail = std::strlen(ending);
    return length >= tail && std::strcmp(text + length - tail, ending) == 0;
}

}  // namespace

std::unique_ptr<QkVcdFile> openTraceFile(const char* filename) {
    if (!filename || !*filename) filename = "logfile.vcd";
    std::unique_ptr<QkVcdFile> result;
    if (endsWith(filename, ".fsdb")) {
        printFailure(
            "FSDB support is not enabled in the ZEFT RunTime library (file not opened).\n");
        return nullptr;
    }
    if (!mayWrite(filename)) {
        qk_printf("Failed to open '%s' for writing\n", filename);
        return nullptr;
    }
    if (endsWith(filename, ".gz"))
        result = std::make_unique<QkVcdGzipFile>(filename);
    else
        result = std::make_unique<QkVcdPlainFile>(filename);
    QK_ASSERT(result);
    if (!result->open()) {
        printFailure("Failed to open '%s' for writing\n", filename);
        if (!qk_strict) result->closeUnopened();
        return nullptr;
    }
    enterWrittenFile(result.get(), filename, FileWriter::kTrace);
    return result;
}

// ---- The buffer

QkVcdFile::QkVcdFile(const char* name) : fileName(name), buffer(kBufferBytes) {
    state.signedTimes = qk_strict;
}

void QkVcdFile::flush() {
    if (used != 0 && error == 0 && !put(buffer.data(), used)) error = errno ? errno : EIO;
    used = 0;
}

bool QkVcdFile::sync() {
    flush();
    if (!flushStream() && error == 0) error = errno ? errno : EIO;
    return error == 0;
}

void QkVcdFile::makeRoom(size_t bytes) {
    if (used >= kBlockBytesOut || used + bytes > buffer.size()) flush();
}

void QkVcdFile::puts(const char* text) {
    for (size_t left = std::strlen(text); left != 0;) {
        const size_t piece = std::min(left, kBlockBytesOut);
        makeRoom(piece);
        std::memcpy(buffer.data() + used, text, piece);
        used += piece;
        text += piece;
        left -= piece;
    }
}

void QkVcdFile::printf(const char* format, ...) {
    QK_ASSERT(format);
    StringBuf text;
    va_list arguments;
    va_start(arguments, format);
    text.vformat(format, arguments);
    va_end(arguments);
    puts(text.str());
}

bool QkVcdFile::close() {
    if (std::exchange(isClosed, true)) return error == 0;
    flush();
    leaveWrittenFile(this);
    if (!closeStream() && error == 0) error = errno ? errno : EIO;
    if (error != 0)
        printFailure("ZEFT: writing VCD file '%s' failed: %s\n", name(), std::strerror(error));
    if (error == 0 || qk_strict) report();
    return error == 0;
}

// ---- Text

void QkVcdFile::writeVersion() {
    puts("$version\n    Halbrix VCD graphics V3.0\n    ");
    puts(kLibraryMarker);
    puts("\n$end\n");
}

void QkVcdFile::writeDate() {
    char text[128] = "(time not available)";
    const std::time_t now = std::time(nullptr);
    std::tm local;
    if (now != static_cast<std::time_t>(-1) && localtime_r(&now, &local))
        std::strftime(text, sizeof text, "%B %d, %Y %H:%M:%S %Z", &local);
    printf("$date\n    %s\n$end\n", text);
}

void QkVcdFile::writeTimescale() {
    printf("$timescale\n    %s %s\n$end\n", vcdTimescaleNumber(), vcdTimescaleUnit());
}

void QkVcdFile::scopeBegin(const char* name) {
    puts("\n$scope module ");
    puts(name);
    puts(" $end\n");
}

namespace {

/// Adds a text and blanks up to `columns`.
char* addPadded(char* out, const char* text, int columns) {
    for (; *text; ++text, --columns) *out++ = *text;
    while (columns-- > 0) *out++ = ' ';
    return out;
}

char* addNumber(char* out, int number) { return std::to_chars(out, out + 12, number).ptr; }

}  // namespace

// Designs have very many variables: no formatting by printf here.
void QkVcdFile::writeVar(const QkName* name, const char* code) {
    const BitRange& range = name->range();
    char text[128] = "$var wire ";
    char* out = text + std::strlen(text);
    char number[12] = {};
    addNumber(number, range.width);
    out = addPadded(out, number, 3);
    *out++ = ' ';
    out = addPadded(out, code, 3);
    *out++ = ' ';
    *out = '\0';
    puts(text);

    puts(name->name);
    out = text;
    for (size_t length = std::strlen(name->name); length < 6; ++length) *out++ = ' ';
    *out++ = ' ';
    if (range.isRange) {
        *out++ = '[';
        if (range.width == 1) {
            out = addNumber(out, range.reversed ? range.msb : range.lsb);
        } else {
            out = addNumber(out, range.left());
            *out++ = ':';
            out = addNumber(out, range.right());
        }
        *out++ = ']';
        *out++ = ' ';
    }
    std::strcpy(out, "$end\n");
    puts(text);
}

void QkVcdFile::scopeEnd() { puts("$upscope $end\n\n"); }

void QkVcdFile::endDefinitions() { puts("$enddefinitions $end\n"); }

void QkVcdFile::dumpvarsBegin() { puts("$dumpvars\n"); }

void QkVcdFile::dumpvarsEnd() { puts("$end\n"); }

void QkVcdFile::writeTime(uint64_t time) {
    static const uint64_t none = 0;
    makeRoom(kMostTextBytes);
    const OutputChange marker{kTimeMarker, 0, time};
    char* const out = buffer.data() + used;
    used +=
        static_cast<size_t>(hotLoops().writeText(&marker, &marker + 1, &none, state, out) - out);
}

void QkVcdFile::writeChanges(const OutputChange* begin, const OutputChange* end,
                             const SlotTable& slots) {
    makeRoom(static_cast<size_t>(end - begin) * kMostTextBytes);
    char* const out = buffer.data() + used;
    used +=
        static_cast<size_t>(hotLoops().writeText(begin, end, slots.tails.data(), state, out) - out);
}
