// Words of a command line. White space is what isspace() takes for it.
#pragma once

#include <cctype>
#include <string_view>

inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

inline const char* skipSpace(const char* text) {
    while (isSpace(*text)) ++text;
    return text;
}

/// The first word of a text and what follows it.
struct FirstWord {
    std::string_view word;  ///< empty when the text is, or begins with white space
    const char* rest;       ///< behind the word and the white space that follows it
};

inline FirstWord firstWord(const char* text) {
    const char* end = text;
    while (*end && !isSpace(*end)) ++end;
    return {std::string_view(text, static_cast<std::size_t>(end - text)), skipSpace(end)};
}
