#include "run/console_text.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/characters.h"
#include "base/qkassert.h"
#include "base/stringbuf.h"
#include "run/end_signal.h"
#include "run/failure.h"
#include "run/written_files.h"

namespace {

/// Both streams are flushed after every message: a crash loses no text.
void deliver(const char* text) {
    if (!qk_stdout || !text) return;
    std::fputs(text, qk_stdout);
    std::fflush(qk_stdout);
    writeToLog(text);
}

char* ownedLogName = nullptr;
bool logHasFailed = false;

}  // namespace

constinit FILE* qk_stdin = nullptr;
constinit FILE* qk_stdout = nullptr;
void (*qk_prints)(const char*) = deliver;
void (*qk_exit)(int) = std::exit;
int runStatus = 0;
FILE* logStream = nullptr;

namespace {

/// Static constructors of a model may already print, so this runs ahead of all of them.
__attribute__((constructor(101))) void takeStandardStreams() {
    qk_stdin = stdin;
    qk_stdout = stdout;
}

}  // namespace

void qk_printf(const char* format, ...) {
    if (!QK_CHECK(format) || !qk_prints) return;
    // A separate copy: the delivery may itself print.
    StringBuf message;
    va_list arguments;
    va_start(arguments, format);
    message.vformat(format, arguments);
    va_end(arguments);
    qk_prints(message.str());
}

void deliverLine(std::string_view text) {
    const bool fits = QK_CHECK_AS(text.size() < WORKBUFLEN, "printed_length < WORKBUFLEN");
    if (fits && qk_prints) qk_prints(text.data());
}

// ---- The log

void writeToLog(const char* text) {
    if (!logStream) return;
    const bool isWritten = std::fputs(text, logStream) >= 0 && std::fflush(logStream) == 0;
    if (isWritten || std::exchange(logHasFailed, true)) return;
    noteTextLost(logStream);
    qk_printf("ZEFT: writing log file \"%s\" failed: %s\n", ownedLogName, std::strerror(errno));
}

const char* logFileName() { return ownedLogName; }

void qk_logfile_close() {
    if (logStream) closeWrittenText(logStream);
    logStream = nullptr;
    std::free(ownedLogName);
    ownedLogName = nullptr;
}

int qk_logfile_open(const char* filename, int append) {
    qk_logfile_close();
    if (!filename || !*filename) {
        printFailure("ZEFT: qk_logfile_open: no filename given (logfile closed)\n");
        return 0;
    }
    if (qk_prints != deliver) {
        printFailure(
            "ZEFT: qk_logfile_open: qk_prints() has been overridden, logfile not opened\n");
        return 0;
    }
    char* const name = mayWrite(filename) ? strdup(filename) : nullptr;
    FILE* const stream = name ? std::fopen(filename, append ? "a" : "w") : nullptr;
    if (!stream) {
        std::free(name);
        printFailure("ZEFT: qk_logfile_open: failed to open file \"%s\"\n", filename);
        return 0;
    }
    ownedLogName = name;
    logStream = stream;
    enterWrittenFile(stream, filename, FileWriter::kLog, stream);
    logHasFailed = false;
    return 1;
}

// ---- Typed lines

char* readConsoleLine(const char* prompt) {
    char inputLine[256];
    if (qk_prints) qk_prints(prompt);
    if (!qk_stdin) return nullptr;
    errno = 0;
    while (!std::fgets(inputLine, sizeof inputLine, qk_stdin)) {
        // A signal that interrupts the wait does not mean the end of input, unless it ends the run.
        if (!std::ferror(qk_stdin) || errno != EINTR || pendingEndSignal()) return nullptr;
        std::clearerr(qk_stdin);
    }
    return duplicate(inputLine, "console line");
}

char* stripLine(char* text) {
    while (isSpace(*text)) ++text;
    char* end = text + std::strlen(text);
    while (end > text && isSpace(end[-1])) *--end = '\0';
    return text;
}
