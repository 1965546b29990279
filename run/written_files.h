// The files that this process has open for writing.
//
// Two streams that write the same regular file damage each other's text. So code that opens a file
// for writing calls mayWrite() first, before the file is truncated, and if it stays open, enters it
// here until it is closed. A file is identified by device and inode, whatever name it is opened
// under. Pipes and devices can have several writers.
#pragma once

#include <cstdio>

enum class FileWriter {
    kTrace,   ///< a continuous trace
    kLog,     ///< the log of the console's text
    kDesign,  ///< a system task or TEXTIO
};

/// @param byDesign  two streams of a design may write the same file, which may be the console's
///                  output
/// @return whether `path` can be opened for writing; if not, a message names who writes it
bool mayWrite(const char* path, bool byDesign = false);

/// Enters a file that has just been opened.
/// @param key   identifies it until leaveWrittenFile(), such as its stream
/// @param text  its stream if it must be checked at the end of the run, else null
void enterWrittenFile(const void* key, const char* path, FileWriter writer,
                      std::FILE* text = nullptr);
/// Removes the entry of a file, before it is closed. Harmless when `key` is unknown.
void leaveWrittenFile(const void* key);
/// Closes a stream, entered or not, and removes its entry. Lost text is noted if it was entered.
/// @return whether everything was written
bool closeWrittenText(std::FILE* text);

/// Notes that text did not reach a file that is entered. Harmless when `key` is unknown.
void noteTextLost(const void* key);
/// The same for any file.
void noteTextLostIn(const char* path);

/// @return whether console text goes to `path`. Each line of a script is echoed, so such a file
///         would be a script without an end
bool receivesConsoleText(const char* path);
