// What a character is, and the same letter in the other case.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>

/// @return whether it is white space according to isspace()
inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

/// @return the first place at or after `text` that is not white space
inline const char* skipSpace(const char* text) {
    while (isSpace(*text)) ++text;
    return text;
}

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The ASCII letter in upper or lower case; other characters unchanged.
inline char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
inline char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

/// @return the value of a digit of a radix up to 16, in either case; 255 for any other character
inline unsigned digitValue(char c) {
    if (isDigit(c)) return static_cast<unsigned>(c - '0');
    const char letter = lowerCase(c);
    return letter >= 'a' && letter <= 'f' ? static_cast<unsigned>(letter - 'a' + 10) : 255;
}

/// @return the digit for a value up to 15, in lower case
inline char hexDigitOf(uint64_t value) { return "0123456789abcdef"[value]; }

/// @return whether a text begins with a word, ignoring case; the word has lower-case letters only
inline bool beginsWithWord(std::string_view text, std::string_view word) {
    return text.size() >= word.size() &&
           std::equal(word.begin(), word.end(), text.begin(),
                      [](char letter, char c) { return letter == lowerCase(c); });
}
