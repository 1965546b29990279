// Lines, and the typed reads and writes of TEXTIO, all through pointers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "qkzeft.h"

/// Calls a routine: VHDL(readline, 2, CELL(file), CELL(line))
#define VHDL(routine, ...) qksysvhdl_##routine(0, "top.u", nullptr, __VA_ARGS__)
#define CELL(cell) -64, &(cell)
#define TEXT(text) 0, static_cast<const char*>(text)
/// An array of characters; `reversed` is a string that holds the leftmost one last.
#define CHARACTERS(reversed)                                                           \
    0, static_cast<const char*>(nullptr), 0, uint64_t{8}, uint64_t{(reversed).size()}, \
        uint64_t{0}, uint64_t{0}, (reversed).data()

using Routine = void (*)(int flags, const void* instance, const char* scope, int pairs, ...);

struct Typed {
    const char* name;
    Routine read, write;
    int bits;  ///< 0: as many as the value has
};
inline constexpr Typed kTyped[] = {
    {"bit", qksysvhdl_read_bit, qksysvhdl_write_bit, 1},
    {"boolean", qksysvhdl_read_boolean, qksysvhdl_write_boolean, 9},
    {"character", qksysvhdl_read_character, qksysvhdl_write_character, 8},
    {"integer", qksysvhdl_read_integer, qksysvhdl_write_integer, 32},
    {"time", qksysvhdl_read_time, qksysvhdl_write_time, 64},
    {"bit_vector", qksysvhdl_read_bit_vector, qksysvhdl_write_bit_vector, 0},
    {"hexadecimal", qksysvhdl_hread, qksysvhdl_hwrite, 0},
    {"octal", qksysvhdl_oread, qksysvhdl_owrite, 0},
    {"string", qksysvhdl_read_string, qksysvhdl_write_string, 0},
};

/// Reads a value into chunks, as many as `bits` bits have, at most three.
/// @param good  receives whether there was one; null: it is a fault if there is none
inline void readTyped(Routine read, uint64_t& line, int bits, uint64_t* to, uint8_t* good) {
    const int pairs = good ? 3 : 2;  // what follows these is not looked at
    switch ((bits + 63) / 64) {
        case 0: return read(0, "top.u", nullptr, pairs, CELL(line), TEXT(""), -1, good);
        case 1: return read(0, "top.u", nullptr, pairs, CELL(line), -bits, to, -1, good);
        case 2: return read(0, "top.u", nullptr, pairs, CELL(line), -bits, to, to + 1, -1, good);
        default: read(0, "top.u", nullptr, pairs, CELL(line), -bits, to, to + 1, to + 2, -1, good);
    }
}

/// Writes a value from chunks, at most two.
/// @param pairs  2: the value alone; 3: justified; 4: in a field; 5: a time in a unit
inline void writeTyped(Routine write, uint64_t& line, int bits, const uint64_t* from, int pairs,
                       int isLeft = 0, int field = 0, int unit = 0) {
#define QK_LAYOUT 1, isLeft, 32, field, 4, unit
    switch ((bits + 63) / 64) {
        case 0: return write(0, "top.u", nullptr, pairs, CELL(line), TEXT(""), QK_LAYOUT);
        case 1: return write(0, "top.u", nullptr, pairs, CELL(line), -bits, from, QK_LAYOUT);
        default: write(0, "top.u", nullptr, pairs, CELL(line), -bits, from, from + 1, QK_LAYOUT);
    }
#undef QK_LAYOUT
}

/// A line as a model sees it; nothing for a null line.
using LineText = std::optional<std::string>;

inline uint64_t makeLine(const LineText& text) {
    uint64_t line = 0;
    if (!text) return line;
    std::string reversed(text->rbegin(), text->rend());
    VHDL(new_line, 2, CELL(line), CHARACTERS(reversed));
    return line;
}

inline LineText textOf(uint64_t& line) {
    if (line == 0) return std::nullopt;
    std::string text;
    const int length = VHDL(line_length, 1, CELL(line));
    for (int i = 1; i <= length; ++i)
        text += static_cast<char>(VHDL(line_char, 2, CELL(line), 32, i));
    return text;
}
