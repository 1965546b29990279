#include "tracing/vcd_file.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/id_code.h"
#include "netdb/netdb.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "run/time.h"
#include "run/version.h"

namespace {

constexpr size_t kBufferBytes = 512 * 1024;
constexpr size_t kBlockBytesOut = 256 * 1024;  // minimum size of a write
constexpr size_t kManySlots = 2000;

class QkVcdPlainFile final : public QkVcdFile {
public:
    using QkVcdFile::QkVcdFile;
    ~QkVcdPlainFile() override { closePut(); }
    bool open() override {
        pfp = std::fopen(name(), "w");
        if (pfp) std::setvbuf(pfp, nullptr, _IONBF, 0);  // the blocks are large
        return pfp != nullptr;
    }

protected:
    bool put(const char* text, size_t bytes) override {
        return std::fwrite(text, 1, bytes, pfp) == bytes;
    }
    bool flushPut() override { return std::fflush(pfp) == 0; }
    bool closePut() override { return !pfp || std::fclose(std::exchange(pfp, nullptr)) == 0; }
    void report() const override { qk_printf("VCD written to file: %s\n", name()); }

private:
    FILE* pfp = nullptr;
};

class QkVcdGzipFile final : public QkVcdFile {
public:
    using QkVcdFile::QkVcdFile;
    ~QkVcdGzipFile() override { closePut(); }
    bool open() override {
        // The default level would make tracing wait for zlib: this one is about five times as fast
        // and makes files at most a third larger.
        gzfp = gzopen(name(), "wb1R");
        if (gzfp) gzbuffer(gzfp, 128 * 1024);
        return gzfp != nullptr;
    }

protected:
    bool put(const char* text, size_t bytes) override {
        return gzwrite(gzfp, text, static_cast<unsigned>(bytes)) == static_cast<int>(bytes);
    }
    bool flushPut() override { return gzflush(gzfp, Z_SYNC_FLUSH) == Z_OK; }
    bool closePut() override { return !gzfp || gzclose(std::exchange(gzfp, nullptr)) == Z_OK; }
    void report() const override { qk_printf("VCD written to gzipped file: %s\n", name()); }

private:
    gzFile gzfp = nullptr;
};

}  // namespace

std::unique_ptr<QkTraceFile> makePlainFile(const char* filename) {
    return std::make_unique<QkVcdPlainFile>(filename);
}

std::unique_ptr<QkTraceFile> makeGzipFile(const char* filename) {
    return std::make_unique<QkVcdGzipFile>(filename);
}

// ---- The buffer

QkVcdFile::QkVcdFile(const char* name) : QkTraceFile(name, "VCD"), buffer(kBufferBytes) {
    state.signedTimes = qk_strict;
}

void QkVcdFile::check(bool done) {
    if (!done) fail(errno);
}

void QkVcdFile::putBuffer() {
    if (used != 0 && !hasFailed()) check(put(buffer.data(), used));
    used = 0;
}

void QkVcdFile::flush() {
    putBuffer();
    check(flushPut());
}

void QkVcdFile::closeStream() {
    putBuffer();
    check(closePut());
}

void QkVcdFile::makeRoom(size_t bytes) {
    if (used >= kBlockBytesOut || used + bytes > buffer.size()) putBuffer();
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

// ---- Text

void QkVcdFile::writeHead() {
    puts("$version\n    Halbrix VCD graphics V3.0\n    ");
    puts(kLibraryMarker);
    puts("\n$end\n$date\n    ");
    puts(dateText().c_str());
    puts("\n$end\n$timescale\n    ");
    puts(vcdTimescaleNumber());
    puts(" ");
    puts(vcdTimescaleUnit());
    puts("\n$end\n");
}

void QkVcdFile::beginScope(const char* name) {
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

}  // namespace

uint64_t vcdTail(uint32_t code, bool isVector) {
    char text[8] = {};
    static_assert(1 + kIdCodeMaxLength + 1 < sizeof text, "the length has the last byte");
    int length = 0;
    if (isVector) text[length++] = ' ';
    length += idCodeText(code, text + length);
    text[length++] = '\n';
    text[7] = static_cast<char>(length);
    uint64_t tail;
    std::memcpy(&tail, text, sizeof tail);
    return tail;
}

// Designs have very many variables: formatting with printf would be too slow.
void QkVcdFile::declare(uint32_t slot, const QkName* name, uint32_t code) {
    if (slot >= tails.size()) tails.resize(slot + size_t{1});
    tails[slot] = vcdTail(code, recordedWidth(name) != 1);

    char text[128] = "$var wire ";
    char* out = text + std::strlen(text);
    char number[12] = {}, codeText[kIdCodeMaxLength + 1];
    std::to_chars(number, number + sizeof number, name->range().width);
    out = addPadded(out, number, 3);
    *out++ = ' ';
    idCodeText(code, codeText);
    out = addPadded(out, codeText, 3);
    *out++ = ' ';
    *out = '\0';
    puts(text);

    puts(name->name);
    out = text;
    for (size_t length = std::strlen(name->name); length < 6; ++length) *out++ = ' ';
    *out++ = ' ';
    char* const bounds = out;
    out = addBounds(out, name);
    if (out != bounds) *out++ = ' ';
    std::strcpy(out, "$end\n");
    puts(text);
}

void QkVcdFile::endScope() { puts("$upscope $end\n\n"); }

void QkVcdFile::endDefinitions() { puts("$enddefinitions $end\n"); }

void QkVcdFile::beginInitial() { puts("$dumpvars\n"); }

void QkVcdFile::endInitial() { puts("$end\n"); }

void QkVcdFile::writeTime(uint64_t time) {
    const OutputChange marker{kTimeMarker, 0, time};
    write(&marker, &marker + 1, 1);
}

void QkVcdFile::write(const OutputChange* begin, const OutputChange* end, size_t slotCount) {
    if (slotCount > tails.size()) tails.resize(slotCount);
    state.hasManySlots = tails.size() >= kManySlots;
    makeRoom(static_cast<size_t>(end - begin) * kMostTextBytes);
    char* const out = buffer.data() + used;
    used += static_cast<size_t>(hotLoops().writeText(begin, end, tails.data(), state, out) - out);
}
