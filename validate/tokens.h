// Tokens of a trace, eight characters at a time.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// @return the first blank or line end at or after `at`; there is one after the end of the buffer
inline const char* tokenEnd(const char* at) {
    constexpr uint64_t ones = 0x0101010101010101, highs = 0x8080808080808080;
    for (;; at += 8) {
        uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        // Characters are below 0x80: those above the blank keep their high bit.
        const uint64_t blanks = ~((eight | highs) - ones * '!') & highs;
        if (blanks) return at + __builtin_ctzll(blanks) / 8;
    }
}

inline constexpr std::string_view kEnd = "$end";
inline constexpr const char* kEndMissing = "$end missing to end of file";
inline constexpr const char* kEndMissingBy = "$end missing by line %d";

/// @return whether a text has more than its end
inline bool endsWith(std::string_view text, std::string_view end) {
    return text.size() > end.size() && text.ends_with(end);
}

inline bool isBitDigit(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return c == '0' || c == '1' || lower == 'x' || lower == 'z';
}

inline constexpr std::string_view kBitDigits = "01xXzZ";
inline constexpr std::string_view kRealDigits = "0123456789xXzZeE.-+";

/// @return the place of the first character that is not among `allowed`, or npos
inline size_t findStray(std::string_view value, std::string_view allowed) {
    constexpr uint64_t zeros = 0x3030303030303030, ones = 0x0101010101010101;
    size_t at = 0;
    for (; at + 8 <= value.size(); at += 8) {
        uint64_t eight;
        std::memcpy(&eight, value.data() + at, sizeof eight);
        if ((eight ^ zeros) & ~ones) break;
    }
    for (; at < value.size(); ++at)
        if (allowed.find(value[at]) == std::string_view::npos) return at;
    return std::string_view::npos;
}
