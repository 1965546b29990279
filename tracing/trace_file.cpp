#include "tracing/trace_file.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>

#include "netdb/netdb.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "run/failure.h"
#include "run/written_files.h"
#include "tracing/fst_file.h"
#include "tracing/vcd_file.h"

namespace {

bool endsWith(const char* text, const char* ending) {
    const size_t length = std::strlen(text), tail = std::strlen(ending);
    return length >= tail && std::strcmp(text + length - tail, ending) == 0;
}

std::unique_ptr<QkTraceFile> makeFile(const char* filename) {
    if (endsWith(filename, ".gz")) return makeGzipFile(filename);
    if (endsWith(filename, ".fst")) return std::make_unique<QkFstFile>(filename);
    return makePlainFile(filename);
}

}  // namespace

std::unique_ptr<QkTraceFile> openTraceFile(const char* filename) {
    if (!filename || !*filename) filename = "logfile.vcd";
    if (endsWith(filename, ".fsdb")) {
        printFailure(
            "FSDB support is not enabled in the ZEFT RunTime library (file not opened).\n");
        return nullptr;
    }
    if (!mayWrite(filename)) {
        qk_printf("Failed to open '%s' for writing\n", filename);
        return nullptr;
    }
    std::unique_ptr<QkTraceFile> result = makeFile(filename);
    QK_ASSERT(result);
    if (!result->open()) {
        printFailure("Failed to open '%s' for writing\n", filename);
        if (qk_strict) result->close();
        return nullptr;
    }
    enterWrittenFile(result.get(), filename, FileWriter::kTrace);
    return result;
}

QkTraceFile::~QkTraceFile() { leaveWrittenFile(this); }

void QkTraceFile::fail(int reason) {
    int none = 0;
    error.compare_exchange_strong(none, reason ? reason : EIO);
}

void QkTraceFile::tellFailure() {
    if (error == 0 || failureTold) return;
    failureTold = true;
    printFailure("ZEFT: writing %s file '%s' failed: %s\n", format, name(), std::strerror(error));
}

bool QkTraceFile::sync() {
    flush();
    tellFailure();
    return error == 0;
}

bool QkTraceFile::close() {
    closeStream();
    leaveWrittenFile(this);
    tellFailure();
    if (error == 0 || qk_strict) report();
    return error == 0;
}

// ---- Text that the formats share

std::string dateText() {
    char text[128] = "(time not available)";
    const std::time_t now = std::time(nullptr);
    std::tm local;
    if (now != static_cast<std::time_t>(-1) && localtime_r(&now, &local))
        std::strftime(text, sizeof text, "%B %d, %Y %H:%M:%S %Z", &local);
    return text;
}

char* addBounds(char* out, const QkName* name) {
    const BitRange& range = name->range();
    const auto add = [&](int bound) { out = std::to_chars(out, out + 12, bound).ptr; };
    if (!range.isRange) return out;
    *out++ = '[';
    if (range.width == 1) {
        add(range.right());
    } else {
        add(range.left());
        *out++ = ':';
        add(range.right());
    }
    *out++ = ']';
    return out;
}

int recordedWidth(const QkName* name) {
    return name->isSlice() ? name->range().width : name->trace->range.width;
}
