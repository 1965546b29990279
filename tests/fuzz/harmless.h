// Which command lines a fuzz target may try.
#pragma once

#include <cstring>
#include <string>

/// @return whether the line neither reads nor writes files of any name nor leaves the process
inline bool isHarmless(const std::string& line) {
    const size_t start = line.find_first_not_of(" \t\v\f\r");
    if (start == std::string::npos) return true;
    for (const char* const word : {"save", "lo", "lstofile", "traceto", "exit", "q", "cli"})
        if (line.compare(start, std::strlen(word), word) == 0) return false;
    return true;
}
