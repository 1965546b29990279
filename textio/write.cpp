// The typed writes.
#include <algorithm>
#include <charconv>

#include "qkzeft_textio.h"
#include "textio/arguments.h"
#include "textio/time_text.h"

namespace {

/// How a value is padded with blanks.
struct Layout {
    bool isLeft;
    size_t field;
};

Layout layoutOf(Arguments& arguments) {
    const bool isLeft = arguments.code("justified", 1, 0) == 1;
    const int64_t field = arguments.hasMore() ? arguments.number() : 0;
    return {isLeft, static_cast<size_t>(std::max<int64_t>(field, 0))};
}

/// Adds a value of `length` characters, which `fill` writes to their place.
template <class Fill>
void addValue(LineCell& cell, Layout layout, size_t length, Fill fill) {
    TextLine& line = cell.orEmpty();
    const size_t blanks = layout.field > length ? layout.field - length : 0;
    if (!layout.isLeft) line.fill(blanks, ' ');
    fill(line.room(length));
    line.used += length;
    if (layout.isLeft) line.fill(blanks, ' ');
}

void addText(LineCell& cell, Layout layout, std::string_view text) {
    addValue(cell, layout, text.size(), [&](char* at) { text.copy(at, text.size()); });
}

// ---- Numbers

/// Writes the text that `format` makes of a small number.
template <class Format>
void writeNumber(TaskCall& call, Format format) {
    Arguments arguments(call, 2, 4);
    LineCell cell = arguments.line();
    const int64_t value = arguments.number();
    const Layout layout = layoutOf(arguments);
    if (arguments.failed()) return;
    char text[24];
    addText(cell, layout, format(value, text));
}

void writeBit(TaskCall& call) {
    writeNumber(
        call, [](int64_t value, const char*) -> std::string_view { return value & 1 ? "1" : "0"; });
}

void writeBoolean(TaskCall& call) {
    writeNumber(call, [](int64_t value, const char*) -> std::string_view {
        return value != 0 ? "TRUE" : "FALSE";
    });
}

void writeCharacter(TaskCall& call) {
    writeNumber(call, [](int64_t value, char* text) -> std::string_view {
        text[0] = static_cast<char>(value);
        return {text, 1};
    });
}

void writeInteger(TaskCall& call) {
    writeNumber(call, [](int64_t value, char* text) -> std::string_view {
        return {text, static_cast<size_t>(std::to_chars(text, text + 24, value).ptr - text)};
    });
}

void writeTime(TaskCall& call) {
    Arguments arguments(call, 2, 5);
    LineCell cell = arguments.line();
    const int64_t value = arguments.ticks();
    const Layout layout = layoutOf(arguments);
    const int unit = arguments.code("unit", kTimeUnits - 1, kNanoseconds);
    if (arguments.failed()) return;
    char text[kTimeTextBytes];
    addText(cell, layout, {text, formatTime(value, unit, text)});
}

// ---- Strings and bit vectors

void writeString(TaskCall& call) {
    Arguments arguments(call, 2, 4);
    LineCell cell = arguments.line();
    const StringSource value = arguments.string();
    const Layout layout = layoutOf(arguments);
    if (!arguments.failed()) addText(cell, layout, value.text);
}

void writeDigits(TaskCall& call, unsigned digitBits) {
    Arguments arguments(call, 2, 4);
    LineCell cell = arguments.line();
    const int size = arguments.vectorSize();
    const size_t bits = widthOf(size);
    const OwnedChunks chunks = qk_read_this_arg_into_array(call, size);  // with a 0 at the end
    const Layout layout = layoutOf(arguments);
    if (arguments.failed()) return;
    const size_t length = (bits + digitBits - 1) / digitBits;
    addValue(cell, layout, length, [&](char* at) {
        for (size_t i = 0; i < length; ++i) {
            const size_t bit = i * digitBits;
            uint64_t digit = chunks.get()[bit / 64] >> bit % 64;
            if (bit % 64 + digitBits > 64) digit |= chunks.get()[bit / 64 + 1] << (64 - bit % 64);
            at[length - 1 - i] = "0123456789ABCDEF"[digit & ((1u << digitBits) - 1)];
        }
    });
}

void writeBinary(TaskCall& call) { writeDigits(call, 1); }
void writeOctal(TaskCall& call) { writeDigits(call, 3); }
void writeHexadecimal(TaskCall& call) { writeDigits(call, 4); }

}  // namespace

QK_DEFINE_TEXTIO(write_bit, "write", writeBit)
QK_DEFINE_TEXTIO(write_bit_vector, "write", writeBinary)
QK_DEFINE_TEXTIO(write_boolean, "write", writeBoolean)
QK_DEFINE_TEXTIO(write_character, "write", writeCharacter)
QK_DEFINE_TEXTIO(write_integer, "write", writeInteger)
QK_DEFINE_TEXTIO(write_string, "write", writeString)
QK_DEFINE_TEXTIO(write_time, "write", writeTime)
QK_DEFINE_TEXTIO(hwrite, "hwrite", writeHexadecimal)
QK_DEFINE_TEXTIO(owrite, "owrite", writeOctal)
