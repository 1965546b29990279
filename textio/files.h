// The text files of a design: streams of lines, which the model identifies by handles.
//
// File 1 is INPUT and file 2 OUTPUT. A standard file has no stream of its own: it reads the current
// qk_stdin at each use, or prints to the console.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "textio/lines.h"

enum FileKind { kReadMode, kWriteMode, kAppendMode };
enum OpenStatus { kOpenOk, kStatusError, kNameError, kModeError, kOpenStatusCount };

struct TextFile {
    char* name;  ///< owned
    FileKind kind;
    bool isStandard;
    bool hasFailed;     ///< a failed write has been reported
    int input;          ///< descriptor of a file to read
    std::FILE* output;  ///< stream of a file to write
    char* buffer;       ///< owned; what has been read ahead, or the stream's own buffer
    size_t at, filled;  ///< the unread part of the buffer
};

/// @return the file of a handle, or null
TextFile* findFile(uint64_t handle);
/// Opens a file. @param handle  receives its handle if it could be opened
OpenStatus openFile(std::string_view name, FileKind kind, uint64_t& handle);
/// Closes a file and removes it. @return false when written text may be lost
bool closeFile(uint64_t handle);

/// @return whether nothing is left to read; waits for input
bool atEnd(TextFile& file);
/// Adds the next line to `line`, without its end: a line feed and a carriage return before it, or
/// a carriage return before the end of the file.
void readLine(TextFile& file, TextLine& line);
/// Writes a text and a line feed. @return false when that fails
bool writeLine(TextFile& file, std::string_view text);
/// Prints a text and a line feed to the console, in one piece.
void printLine(std::string_view text);
