// The routines that open, close, read and write files.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>

#include "qkzeft_textio.h"
#include "textio/arguments.h"
#include "textio/files.h"

namespace {

// ---- Opening and closing

constexpr const char* kStatusNames[] = {"open_ok", "status_error", "name_error", "mode_error"};
static_assert(std::size(kStatusNames) == kOpenStatusCount, "one name per code");

constexpr int kShownName = 4096;  ///< characters of a name in a message; no path can have more

/// @return a file's name. One that came in a vector or an array is padded with blanks
std::string_view nameOf(const TextArgument& argument) {
    std::string_view name(argument.text);
    if (!argument.owned) return name;
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    name.remove_suffix(name.size() - (name.find_last_not_of(' ') + 1));
    return name;
}

void openCell(TaskCall& call) {
    Arguments arguments(call, 2, 4);
    Cell cell = arguments.cell();
    const TextArgument argument = arguments.text();
    const int kind = arguments.code("kind", kAppendMode, kReadMode);
    const bool wantsStatus = arguments.hasMore();
    const Place status = wantsStatus ? arguments.smallPlace() : Place{};
    if (arguments.failed()) return;

    const std::string_view name = nameOf(argument);
    uint64_t handle = 0;
    const OpenStatus result =
        cell.handle() != 0 ? kStatusError : openFile(name, static_cast<FileKind>(kind), handle);
    if (result == kOpenOk) cell.store(handle);
    if (wantsStatus) {
        status.store(result);
    } else if (result != kOpenOk) {
        const int shown = static_cast<int>(std::min<size_t>(name.size(), kShownName));
        arguments.fail("Cannot open file \"%.*s\": %s", shown, name.data(), kStatusNames[result]);
    }
}

/// Reports that text may be lost, once for each file.
void reportFailedWrite(const char* task, TextFile& file) {
    if (std::exchange(file.hasFailed, true)) return;
    const std::string name = file.name;  // a copy: printing the message may close the file
    qk_task_error(task, "Write to file \"%s\" failed", name.c_str());
}

void closeCell(TaskCall& call) {
    Arguments arguments(call, 1, 1);
    Cell cell = arguments.cell();
    if (arguments.failed() || cell.handle() == 0) return;
    const TextFile* const file = findFile(cell.handle());
    if (!file) {
        arguments.fail("Illegal file handle of %" PRId64, static_cast<int64_t>(cell.handle()));
        return;
    }
    const std::string name = file->name;
    const bool wasReported = file->hasFailed;
    const bool isWritten = closeFile(cell.handle());
    cell.store(0);
    if (!isWritten && !wasReported)
        qk_task_error(call.task, "Write to file \"%s\" failed", name.c_str());
}

/// @return the file of the next pair if it is open for that direction, else null
TextFile* fileOpenFor(Arguments& arguments, bool reading) {
    TextFile* const file = arguments.file();
    if (!file || (file->kind == kReadMode) == reading) return file;
    arguments.fail("File \"%s\" is not open for %s", file->name, reading ? "reading" : "writing");
    return nullptr;
}

void flush(TaskCall& call) {
    Arguments arguments(call, 1, 1);
    TextFile* const file = fileOpenFor(arguments, false);
    if (!file || !file->output) return;
    if (std::fflush(file->output) != 0) reportFailedWrite(call.task, *file);
}

int isAtEnd(TaskCall& call) {
    Arguments arguments(call, 1, 1);
    TextFile* const file = arguments.file();
    return arguments.failed() || atEnd(*file) ? 1 : 0;
}

// ---- Lines

void readToCell(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    TextFile* const file = fileOpenFor(arguments, true);
    LineCell cell = arguments.line();
    if (arguments.failed()) return;
    if (atEnd(*file)) {
        arguments.fail("End of file \"%s\"", file->name);
        return;
    }
    TextLine& line = cell.orEmpty();
    line.clear();
    readLine(*file, line);
}

void writeFromCell(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    TextFile* const file = fileOpenFor(arguments, false);
    LineCell cell = arguments.line();
    if (arguments.failed()) return;
    TextLine& line = cell.orEmpty();
    const std::string_view text = line.rest();
    line.clear();  // the characters are not erased
    if (!writeLine(*file, text)) reportFailedWrite(call.task, *file);
}

void writeToBoth(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    TextFile* const file = fileOpenFor(arguments, false);
    LineCell cell = arguments.line();
    if (arguments.failed()) return;
    TextLine& line = cell.orEmpty();
    const std::string text(line.rest());  // a copy: printing the line may change it
    line.clear();
    if (!writeLine(*file, text)) reportFailedWrite(call.task, *file);
    printLine(text);
}

}  // namespace

QK_DEFINE_TEXTIO(file_open, "file_open", openCell)
QK_DEFINE_TEXTIO(file_close, "file_close", closeCell)
QK_DEFINE_TEXTIO_FUNCTION(endfile, "endfile", isAtEnd)
QK_DEFINE_TEXTIO(flush, "flush", flush)
QK_DEFINE_TEXTIO(readline, "readline", readToCell)
QK_DEFINE_TEXTIO(writeline, "writeline", writeFromCell)
QK_DEFINE_TEXTIO(tee, "tee", writeToBoth)
