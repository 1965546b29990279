#include "systasks/format.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include "base/qkassert.h"
#include "base/storage.h"
#include "licence/licence.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "systasks/digits.h"

namespace {

/// The chunks of a value, the least significant first, with a zero chunk after the last.
class Value {
public:
    Value(TaskCall& call, int size)
        : bits(static_cast<size_t>(size < 0 ? -int64_t{size} : int64_t{size})) {
        if (bits > kFewChunks * 64) many.resize(bits / 64 + 2);
        chunks = many.empty() ? few : many.data();
        while (size != 0) chunks[count++] = qk_read_chunk(call, size);
        chunks[count] = 0;
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    size_t significantBits() const {
        for (size_t i = count; i-- > 0;)
            if (chunks[i] != 0) return i * 64 + static_cast<size_t>(std::bit_width(chunks[i]));
        return 0;
    }

    const size_t bits;  ///< width
    size_t count = 0;
    uint64_t* chunks;

private:
    static constexpr size_t kFewChunks = 16;
    uint64_t few[kFewChunks + 1];
    std::vector<uint64_t> many;
};

/// Skips a text or an array, for which no digits are printed.
/// @return whether the argument was one
bool skipNoValue(TaskCall& call, int size) {
    if (size == 0) skipText(call);
    return size == 0;
}

/// Prints a value in a radix that is a power of two.
template <size_t kBitsPerDigit, char* (*kWrite)(char*, const uint64_t*, size_t)>
void printPowerOfTwo(Line& line, TaskCall& call, int marked, bool suppress) {
    const int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    const Value value(call, size);
    const size_t shown = suppress ? std::max<size_t>(value.significantBits(), 1) : value.bits;
    const size_t digits = (shown + kBitsPerDigit - 1) / kBitsPerDigit;
    kWrite(line.room(digits + kDigitSlack), value.chunks, digits);
    line.advance(digits);
}

constexpr size_t kMostDecimalChunks = 16;
constexpr size_t kMostDecimalDigits = 308;

/// Replaces a value by its two's complement.
void negate(Value& value, size_t count, size_t bits) {
    uint64_t carry = 1;
    for (size_t i = 0; i < count; ++i) {
        value.chunks[i] = ~value.chunks[i] + carry;
        carry = carry & (value.chunks[i] == 0);
    }
    if (bits % 64 != 0) value.chunks[count - 1] &= bitMask(static_cast<int>(bits % 64));
}

}  // namespace

void printHexadecimal(Line& line, TaskCall& call, int marked, bool suppress) {
    printPowerOfTwo<4, writeHexadecimal>(line, call, marked, suppress);
}
void printOctal(Line& line, TaskCall& call, int marked, bool suppress) {
    printPowerOfTwo<3, writeOctal>(line, call, marked, suppress);
}
void printBinary(Line& line, TaskCall& call, int marked, bool suppress) {
    printPowerOfTwo<1, writeBinary>(line, call, marked, suppress);
}

void printDecimal(Line& line, TaskCall& call, int marked, bool suppress) {
    const int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    Value value(call, size);
    const bool isSigned = size != marked;
    // Chunks that do not fit are ignored: the sign is then the highest remaining bit.
    const size_t count = std::min(value.count, kMostDecimalChunks);
    const size_t bits = std::min(value.bits, count * 64);
    const bool isNegative = isSigned && (value.chunks[count - 1] >> ((bits - 1) % 64) & 1) != 0;
    if (isNegative) negate(value, count, bits);

    char buffer[kMostDecimalDigits + kDigitSlack];  // 1024 bits have one digit more than is shown
    char* const end = buffer + sizeof buffer;
    char* begin = writeDecimal(end, value.chunks, count);
    if (static_cast<size_t>(end - begin) > kMostDecimalDigits) {
        begin = end - kMostDecimalDigits;
        *begin = '?';
    }
    const auto digits = static_cast<size_t>(end - begin);
    const size_t length = digits + (isNegative ? 1 : 0);
    const size_t field =
        1 + static_cast<size_t>(static_cast<double>(value.bits) * 0.30102999566) + isSigned;
    if (!suppress && field > length) line.fill(field - length, ' ');
    if (isNegative) line.add('-');
    line.add({begin, digits});
}

// ---- The walk

namespace {

void printCharacter(Line& line, TaskCall& call, int marked) {
    int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    line.add(static_cast<char>(qk_read_chunk(call, size)));
    qk_skip_arg(call, size);
}

void checkLength(size_t bytes) {
    constexpr size_t kMostBytes = 4095;
    QK_ASSERT_AS(bytes <= kMostBytes, "r < sizeof(buf)");
}

void printString(Line& line, TaskCall& call, int marked) {
    const int size = withoutSignedMark(marked);
    if (size == 0) {
        const TextArgument argument = readTextArgument(call, size);
        const std::string_view text(argument.text ? argument.text : "");
        checkLength(text.size());
        line.add(text);
        return;
    }
    const Value value(call, size);
    const size_t length = value.bits / 8;
    checkLength(length);
    writeBytes(line.room(length + kDigitSlack), value.chunks, length);
    line.advance(length);
}

/// Prints a conversion that needs an argument.
void printConversion(Line& line, TaskCall& call, char conversion, bool suppress) {
    const auto next = [&] {
        --call.count;
        return va_arg(call.list, int);
    };
    switch (conversion | 0x20) {
        case 'h':
        case 'x': printHexadecimal(line, call, next(), suppress); return;
        case 'd': printDecimal(line, call, next(), suppress); return;
        case 'o': printOctal(line, call, next(), suppress); return;
        case 'b': printBinary(line, call, next(), suppress); return;
        case 'c': printCharacter(line, call, next()); return;
        case 's': printString(line, call, next()); return;
        default: printTime(line, call, next()); return;
    }
}

bool needsArgument(char c) {
    switch (c | 0x20) {
        case 'h':
        case 'x':
        case 'd':
        case 'o':
        case 'b':
        case 'c':
        case 's':
        case 't': return true;
        default: return false;
    }
}

/// Handles what follows a '%'. @return where the format continues
const char* formatConversion(Line& line, TaskCall& call, const char* at) {
    const bool suppress = *at == '0';
    if (suppress) ++at;
    const char c = *at;
    if (c == '%') {
        line.add('%');
    } else if (c == 'm' || c == 'M') {
        printLocation(line, call);
    } else if (!needsArgument(c)) {
        const char shown[] = {c, '\0'};  // a '%' at the end of the format has none
        qk_printf("\nZEFT display/write unrecognised format character %%%s in %s\n", shown,
                  call.task);
        endRun(1);
    } else if (call.count == 0) {
        failTask(call, "found %%%c format specifier with no arguments remaining", c);
    } else {
        printConversion(line, call, c, suppress);
    }
    return c ? at + 1 : at;
}

/// Adds the text up to a '%' or the end. @return the position there
const char* addPlain(Line& line, const char* at) {
    constexpr size_t kShort = 16;  // most pieces are
    char* const out = line.room(kShort);
    for (size_t i = 0; i < kShort; ++i) {
        if (at[i] == '%' || at[i] == '\0') {
            line.advance(i);
            return at + i;
        }
        out[i] = at[i];
    }
    line.advance(kShort);
    at += kShort;
    const char* const end = strchrnul(at, '%');
    line.add({at, static_cast<size_t>(end - at)});
    return end;
}

void formatText(Line& line, TaskCall& call, const char* at) {
    for (at = addPlain(line, at); *at; at = addPlain(line, at))
        at = formatConversion(line, call, at + 1);
}

}  // namespace

void formatArguments(Line& line, TaskCall& call, Printer defaultPrinter) {
    if (!licensed(Gate::kDisplay)) return;
    while (call.count > 0) {
        --call.count;
        const int size = va_arg(call.list, int);
        if (size != 0) {
            defaultPrinter(line, call, size, false);
        } else if (const char* const text = va_arg(call.list, const char*)) {
            formatText(line, call, text);
        } else {
            line.add(' ');
        }
    }
}

void printLocation(Line& line, const TaskCall& call) {
    const char* name = "";
    if (call.instance && (call.flags & kInstanceIsModule)) {
        // The pointer is to the object that the generated code registers.
        auto* const module = static_cast<kelvo_module*>(const_cast<void*>(call.instance));
        name = module->qk_get_full_instance_name();
    } else if (call.instance) {
        name = static_cast<const char*>(call.instance);
    }
    line.add(std::string_view(name));
    if (!call.scope || !*call.scope) return;
    std::string_view scope(call.scope);
    if (scope.ends_with('.')) scope.remove_suffix(1);
    line.add('.');
    line.add(scope);
}
