#include "systasks/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <vector>

#include "base/qkassert.h"
#include "base/storage.h"
#include "licence/licence.h"
#include "qkzeft_module.h"
#include "run/console_text.h"

namespace {

/// The chunks of a value, the least significant first, with a zero chunk behind the last.
class Value {
public:
    Value(TaskCall& call, int size) : bits(widthOf(size)) {
        const auto wanted = static_cast<size_t>(qk_arg_chunks(size));
        if (wanted + 1 > few.size()) many.resize(wanted + 1);
        chunks = many.empty() ? few.data() : many.data();
        while (size != 0) chunks[count++] = qk_read_chunk(call, size);
        chunks[count] = 0;
    }
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    /// @return the bits from `at` on, of which at least 58 are good
    uint64_t from(size_t at) const {
        const size_t chunk = at / 64, shift = at % 64;
        const uint64_t low = chunks[chunk] >> shift;
        return shift == 0 ? low : low | chunks[chunk + 1] << (64 - shift);
    }
    size_t significantBits() const {
        for (size_t i = count; i-- > 0;)
            if (chunks[i] != 0) return i * 64 + static_cast<size_t>(std::bit_width(chunks[i]));
        return 0;
    }

    const size_t bits;  ///< width
    size_t count = 0;
    uint64_t* chunks;

private:
    static size_t widthOf(int size) {
        const int64_t width = size;
        return static_cast<size_t>(width < 0 ? -width : width);
    }
    std::array<uint64_t, 17> few;
    std::vector<uint64_t> many;
};

/// Takes a text, which no digits are printed for, or an array.
/// @return whether the argument was one
bool skipNoValue(TaskCall& call, int size) {
    if (size == 0) skipText(call);
    return size == 0;
}

constexpr char kDigits[] = "0123456789abcdef";

/// Eight binary digits, or two hexadecimal ones, for each byte.
struct ByteTexts {
    char binary[256][8];
    char hexadecimal[256][2];
};
constexpr ByteTexts kBytes = [] {
    ByteTexts texts{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        for (unsigned i = 0; i < 8; ++i) texts.binary[byte][i] = kDigits[byte >> (7 - i) & 1];
        texts.hexadecimal[byte][0] = kDigits[byte >> 4];
        texts.hexadecimal[byte][1] = kDigits[byte & 15];
    }
    return texts;
}();

/// Prints a value in a radix that is a power of two.
template <unsigned kBitsPerDigit>
void printPowerOfTwo(Line& line, TaskCall& call, int marked, bool suppress) {
    const int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    const Value value(call, size);
    const size_t shown = suppress ? std::max<size_t>(value.significantBits(), 1) : value.bits;
    const size_t digits = (shown + kBitsPerDigit - 1) / kBitsPerDigit;
    char* out = line.room(digits);
    size_t left = digits;
    if constexpr (kBitsPerDigit != 3) {
        constexpr size_t perByte = 8 / kBitsPerDigit;
        for (; left % perByte != 0; --left)
            *out++ = kDigits[value.from((left - 1) * kBitsPerDigit) & bitMask(kBitsPerDigit)];
        for (; left > 0; left -= perByte) {
            const size_t byte = (left / perByte) - 1;
            const auto at = static_cast<uint8_t>(value.chunks[byte / 8] >> (byte % 8 * 8));
            std::memcpy(out, kBitsPerDigit == 1 ? kBytes.binary[at] : kBytes.hexadecimal[at],
                        perByte);
            out += perByte;
        }
    } else {
        for (; left > 0; --left) *out++ = kDigits[value.from((left - 1) * kBitsPerDigit) & 7];
    }
    line.advance(digits);
}

// ---- Decimal

constexpr size_t kMostDecimalChunks = 16;
constexpr size_t kMostDecimalDigits = 308;
constexpr uint64_t kBigStep = 10'000'000'000'000'000'000u;  // 19 digits at a time
constexpr int kBigStepDigits = 19;

/// Writes digits to the left of `end`. @return where they begin
char* writeDigits(char* end, uint64_t value) {
    char text[20];
    const char* const textEnd = std::to_chars(text, text + sizeof text, value).ptr;
    const auto length = static_cast<size_t>(textEnd - text);
    std::memcpy(end - length, text, length);
    return end - length;
}

/// Divides a value by kBigStep. @return the remainder
uint64_t divideByBigStep(uint64_t* chunks, size_t count) {
    __extension__ using Wide = unsigned __int128;
    uint64_t remainder = 0;
    for (size_t i = count; i-- > 0;) {
        const Wide part = static_cast<Wide>(remainder) << 64 | chunks[i];
        chunks[i] = static_cast<uint64_t>(part / kBigStep);
        remainder = static_cast<uint64_t>(part % kBigStep);
    }
    return remainder;
}

/// Writes all digits of a value, which is used up, to the left of `end`.
char* writeDecimal(char* end, uint64_t* chunks, size_t count) {
    const auto trim = [&] {
        while (count > 0 && chunks[count - 1] == 0) --count;
    };
    for (trim(); count > 1 || (count == 1 && chunks[0] >= kBigStep); trim()) {
        char* const begin = writeDigits(end, divideByBigStep(chunks, count));
        end -= kBigStepDigits;
        std::memset(end, '0', static_cast<size_t>(begin - end));
    }
    return writeDigits(end, count == 1 ? chunks[0] : 0);
}

/// Makes a value its two's complement.
void negate(Value& value, size_t count, size_t bits) {
    uint64_t carry = 1;
    for (size_t i = 0; i < count; ++i) {
        value.chunks[i] = ~value.chunks[i] + carry;
        carry = carry & (value.chunks[i] == 0);
    }
    if (bits % 64 != 0) value.chunks[count - 1] &= bitMask(static_cast<int>(bits % 64));
}

}  // namespace

void printHexadecimal(Line& line, TaskCall& call, int size, bool suppress) {
    printPowerOfTwo<4>(line, call, size, suppress);
}
void printOctal(Line& line, TaskCall& call, int size, bool suppress) {
    printPowerOfTwo<3>(line, call, size, suppress);
}
void printBinary(Line& line, TaskCall& call, int size, bool suppress) {
    printPowerOfTwo<1>(line, call, size, suppress);
}

void printDecimal(Line& line, TaskCall& call, int marked, bool suppress) {
    const int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    Value value(call, size);
    const bool isSigned = size != marked;
    // What does not fit is not looked at: the top bit is then the highest that is.
    const size_t count = std::min(value.count, kMostDecimalChunks);
    const size_t bits = std::min(value.bits, count * 64);
    const bool isNegative = isSigned && (value.chunks[count - 1] >> ((bits - 1) % 64) & 1) != 0;
    if (isNegative) negate(value, count, bits);

    char buffer[kMostDecimalDigits + 2 * kBigStepDigits];
    char* const end = buffer + sizeof buffer;
    char* begin = writeDecimal(end, value.chunks, count);
    if (static_cast<size_t>(end - begin) > kMostDecimalDigits) {
        begin = end - kMostDecimalDigits;
        *begin = '?';
    }
    const size_t digits = static_cast<size_t>(end - begin) + (isNegative ? 1 : 0);
    const size_t field =
        1 + static_cast<size_t>(static_cast<double>(value.bits) * 0.30102999566) + isSigned;
    if (!suppress && field > digits) line.fill(field - digits, ' ');
    if (isNegative) line.add('-');
    line.add({begin, static_cast<size_t>(end - begin)});
}

// ---- The walk

namespace {

void printCharacter(Line& line, TaskCall& call, int marked) {
    int size = withoutSignedMark(marked);
    if (skipNoValue(call, size)) return;
    line.add(static_cast<char>(qk_read_chunk(call, size)));
    qk_skip_arg(call, size);
}

void printString(Line& line, TaskCall& call, int marked) {
    constexpr size_t kMostBytes = 4095;
    const TextArgument argument = readTextArgument(call, withoutSignedMark(marked));
    if (!argument.text) return;
    const size_t length = std::strlen(argument.text);
    QK_ASSERT_AS(length <= kMostBytes, "r < sizeof(buf)");
    line.add({argument.text, length});
}

/// What follows a '%' and needs an argument.
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

bool needsArgument(char c) { return c != '\0' && std::strchr("hxdobcstHXDOBCST", c) != nullptr; }

/// Handles what follows a '%'. @return where the format goes on
const char* formatConversion(Line& line, TaskCall& call, const char* at) {
    const bool suppress = *at == '0';
    if (suppress) ++at;
    const char c = *at;
    if (c == '%') {
        line.add('%');
    } else if (c == 'm' || c == 'M') {
        printLocation(line, call);
    } else if (!needsArgument(c)) {
        qk_printf("\nZEFT display/write unrecognised format character %%%c in %s\n", c, call.task);
        endRun(1);
    } else if (call.count == 0) {
        qk_task_error(call.task, "found %%%c format specifier with no arguments remaining", c);
        endRun(1);
    } else {
        printConversion(line, call, c, suppress);
    }
    return c ? at + 1 : at;
}

void formatText(Line& line, TaskCall& call, const char* at) {
    while (*at) {
        const char* const percent = std::strchr(at, '%');
        if (!percent) {
            line.add(std::string_view(at));
            return;
        }
        line.add({at, static_cast<size_t>(percent - at)});
        at = formatConversion(line, call, percent + 1);
    }
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
    line.add('.');
    line.add(std::string_view(call.scope));
}
