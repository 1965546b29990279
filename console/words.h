// Words of a command line. White space is as in isspace().
#pragma once

#include <string>
#include <string_view>

#include "base/characters.h"

/// The first word of a text and what follows it.
struct FirstWord {
    std::string_view word;  ///< empty when the text is empty or begins with white space
    const char* rest;       ///< after the word and the white space that follows it
};

inline FirstWord firstWord(const char* text) {
    const char* end = text;
    while (*end && !isSpace(*end)) ++end;
    return {std::string_view(text, static_cast<std::size_t>(end - text)), skipSpace(end)};
}

/// Removes the word at the start of `text`, which ends at white space or one of `stops`.
inline std::string takeWord(const char*& text, const char* stops = "") {
    const std::string_view all(text), ends(stops);
    size_t length = 0;
    while (length < all.size() && !isSpace(all[length]) &&
           ends.find(all[length]) == std::string_view::npos)
        ++length;
    text += length;
    return std::string(all.substr(0, length));
}

/// The two sides of "<model>=<trace>".
struct Assignment {
    std::string left;
    std::string right;  ///< a path with slashes becomes a dotted one
};

/// Splits two words of letters, digits and ".-_$" with blanks, '=' or '/' between them. A missing
/// word is empty.
/// @param argument  null counts as empty
Assignment splitAssignment(const char* argument);
