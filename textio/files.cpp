#include "textio/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "base/memory.h"
#include "qkzeft_run.h"
#include "run/end_signal.h"
#include "run/written_files.h"
#include "systasks/line.h"
#include "textio/handle_table.h"

namespace {

constexpr size_t kBufferBytes = 65536;
constexpr const char* kFilesTag = "qksysvhdl:files";
constexpr uint64_t kInput = 1, kOutput = 2, kFirstOpened = 3;

constinit HandleTable<TextFile> files(kFirstOpened, kFilesTag);

char* copyName(std::string_view name) {
    auto* const copy = static_cast<char*>(allocateBlock(name.size() + 1, kFilesTag));
    name.copy(copy, name.size());
    copy[name.size()] = '\0';
    return copy;
}

void setUp(TextFile& file, std::string_view name, FileKind kind, bool isStandard) {
    file.name = copyName(name);
    file.kind = kind;
    file.isStandard = isStandard;
    if (!isStandard) file.buffer = static_cast<char*>(allocateBlock(kBufferBytes, kFilesTag));
}

constexpr std::string_view kStandardInput = "STD_INPUT", kStandardOutput = "STD_OUTPUT";

/// Models may use the standard files without opening them, also in static constructors.
void setUpStandardFiles() {
    if (static bool done = false; done || std::exchange(done, true)) return;
    setUp(*files.put(kInput), kStandardInput, kReadMode, true);
    setUp(*files.put(kOutput), kStandardOutput, kWriteMode, true);
}

/// Opens a path for reading; fails for a directory.
int openInput(const char* path) {
    const int input = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (input < 0 || (fstat(input, &status) == 0 && !S_ISDIR(status.st_mode))) return input;
    close(input);
    return -1;
}

}  // namespace

TextFile* findFile(uint64_t handle) {
    setUpStandardFiles();
    return files.find(handle);
}

OpenStatus openFile(std::string_view name, FileKind kind, uint64_t& handle) {
    setUpStandardFiles();
    const bool isInput = name == kStandardInput, isOutput = name == kStandardOutput;
    if (isInput ? kind != kReadMode : isOutput && kind == kReadMode) return kModeError;
    int input = -1;
    std::FILE* output = nullptr;
    if (!isInput && !isOutput) {
        const std::string path(name);
        if (kind == kReadMode)
            input = openInput(path.c_str());
        else if (mayWrite(path.c_str(), true))
            output = std::fopen(path.c_str(), kind == kWriteMode ? "we" : "ae");
        if (input < 0 && !output) return kNameError;
    }
    TextFile& file = *files.add(handle);
    setUp(file, name, kind, isInput || isOutput);
    file.input = input;
    file.output = output;
    if (!output) return kOpenOk;
    std::setvbuf(output, file.buffer, _IOFBF, kBufferBytes);
    enterWrittenFile(output, file.name, FileWriter::kDesign, output);
    return kOpenOk;
}

bool closeFile(uint64_t handle) {
    const TextFile* const file = files.find(handle);
    if (!file) return true;
    const bool isWritten = !file->output || closeWrittenText(file->output);
    if (file->buffer && !file->output) close(file->input);
    std::free(file->name);
    std::free(file->buffer);
    files.remove(handle, handle >= kFirstOpened);
    return isWritten;
}

// ---- Reading

namespace {

/// Reads ahead. @return false at the end; an error counts as the end
bool refill(TextFile& file) {
    ssize_t count;
    do {
        count = read(file.input, file.buffer, kBufferBytes);
    } while (count < 0 && errno == EINTR);
    file.at = 0;
    file.filled = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0;
}

/// @return the console's next character, or EOF. A signal that interrupts the wait is not an end,
///         unless it ends the run
int nextTyped() {
    if (!qk_stdin) return EOF;
    while (true) {
        errno = 0;
        const int c = getc_unlocked(qk_stdin);
        if (c != EOF || !std::ferror(qk_stdin) || errno != EINTR || pendingEndSignal()) return c;
        std::clearerr(qk_stdin);
    }
}

void readTypedLine(TextLine& line) {
    for (int c; (c = nextTyped()) != EOF && c != '\n';) {
        *line.room(1) = static_cast<char>(c);
        ++line.used;
    }
}

void readFileLine(TextFile& file, TextLine& line) {
    while (file.at < file.filled || refill(file)) {
        const char* const begin = file.buffer + file.at;
        const size_t left = file.filled - file.at;
        const auto* const lineFeed = static_cast<const char*>(std::memchr(begin, '\n', left));
        const size_t length = lineFeed ? static_cast<size_t>(lineFeed - begin) : left;
        line.append({begin, length});
        file.at += length + (lineFeed ? 1 : 0);
        if (lineFeed) return;
    }
}

}  // namespace

bool atEnd(TextFile& file) {
    if (file.kind != kReadMode) return true;
    if (!file.isStandard) return file.at >= file.filled && !refill(file);
    const int c = nextTyped();
    return c == EOF || std::ungetc(c, qk_stdin) == EOF;
}

void readLine(TextFile& file, TextLine& line) {
    if (file.isStandard)
        readTypedLine(line);
    else
        readFileLine(file, line);
    if (const std::string_view text = line.rest(); !text.empty() && text.back() == '\r')
        --line.used;
}

// ---- Writing

bool writeLine(TextFile& file, std::string_view text) {
    if (file.isStandard) {
        printLine(text);
        return true;
    }
    const bool isWritten = fwrite_unlocked(text.data(), 1, text.size(), file.output) == text.size();
    if (putc_unlocked('\n', file.output) != EOF && isWritten) return true;
    noteTextLost(file.output);
    return false;
}

void printLine(std::string_view text) {
    if (!qk_prints) return;
    Line line;  // a copy: delivering the text may use this line
    char* const begin = line.room(text.size() + 2);
    char* const end = std::replace_copy(text.begin(), text.end(), begin, '\0', ' ');
    end[0] = '\n';
    end[1] = '\0';
    qk_prints(begin);
}
