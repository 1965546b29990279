// The console's streams: the functions that all text goes through, the log, and typed lines.
//
// The log stream and the log's name are set and cleared together by qk_logfile_open() and
// qk_logfile_close(). One exception: code that diverts console text sets the stream to null
// meanwhile, and restores it before anything else can open or close a log.
#pragma once

#include <cstdio>
#include <string_view>

#include "qkzeft_run.h"

/// Status with which the run has ended; 0 until then. Set before the last console opens.
extern int runStatus;

/// Where console text is copied to; null when no log is open, or while text is diverted.
extern FILE* logStream;

/// Passes a line of formatted text to qk_prints; it must be shorter than what qk_printf() can
/// print.
/// @param text  ended by a NUL
void deliverLine(std::string_view text);

/// Writes to the log, if one is open, without delay. A failed write is reported once for each log.
void writeToLog(const char* text);

/// @return the log's name as it was given; null when none is open. Valid until the log is closed.
const char* logFileName();

/// Prompts, and reads a line of qk_stdin. A line of more than 255 bytes comes in pieces.
/// @param prompt  passed to qk_prints first; may be null
/// @return the line with its line end, a copy to be released with free(); null at the end of input.
///         A line ends at a NUL byte: one that begins with it is empty, which is not the end of
///         input
char* readConsoleLine(const char* prompt);

/// Removes white space from both ends of `text`, in place.
/// @return where the rest begins, inside `text`
char* stripLine(char* text);
