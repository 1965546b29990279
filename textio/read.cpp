// The typed reads. A value is removed from the line completely or not at all.
#include <cstdint>
#include <string_view>

#include "base/characters.h"
#include "qkzeft_textio.h"
#include "textio/arguments.h"
#include "textio/time_text.h"

namespace {

constexpr int kShownRest = 40;  ///< characters of the line in a message

/// A read's line and its GOOD argument: the first pair, and the one after the value's.
class Read {
public:
    Read(Arguments& pairs, const char* typeName)
        : arguments(pairs), type(typeName), cell(pairs.line()) {}

    /// Reads the last pair. @return whether the call was correct
    bool begin() {
        hasGood = arguments.hasMore();
        if (hasGood) good = arguments.smallPlace();
        return !arguments.failed();
    }
    std::string_view rest() const { return cell.rest(); }
    /// Removes a value from the line.
    /// @param taken  its characters, or kNoValue
    /// @return whether there is a value, to be stored
    bool end(size_t taken) {
        const bool isFound = taken != kNoValue;
        if (hasGood) good.store(isFound ? 1 : 0);
        if (!isFound && !hasGood) {
            const std::string_view shown = rest().substr(0, kShownRest);
            arguments.fail("No %s value at \"%.*s\"", type, static_cast<int>(shown.size()),
                           shown.data() ? shown.data() : "");
        }
        if (isFound) cell.take(taken);
        return isFound;
    }

private:
    Arguments& arguments;
    const char* type;
    LineCell cell;
    bool hasGood = false;
    Place good;
};

size_t whiteBefore(std::string_view text) {
    size_t count = 0;
    while (count < text.size() && isWhite(text[count])) ++count;
    return count;
}

// ---- Values that are numbers: a parser receives the text after the white space

using Parser = size_t (*)(std::string_view text, int64_t& value);

void readNumber(TaskCall& call, const char* type, Place (Arguments::*takePlace)(), Parser parse) {
    Arguments arguments(call, 2, 3);
    Read read(arguments, type);
    const Place place = (arguments.*takePlace)();
    if (!read.begin()) return;
    const size_t skipped = whiteBefore(read.rest());
    int64_t value = 0;
    const size_t taken = parse(read.rest().substr(skipped), value);
    if (read.end(taken == kNoValue ? kNoValue : skipped + taken))
        place.store(static_cast<uint64_t>(value));
}

size_t parseBit(std::string_view text, int64_t& value) {
    if (text.empty() || (text[0] != '0' && text[0] != '1')) return kNoValue;
    value = text[0] - '0';
    return 1;
}

size_t parseBoolean(std::string_view text, int64_t& value) {
    constexpr std::string_view kTrue = "true", kFalse = "false";
    value = beginsWithWord(text, kTrue) ? 1 : 0;
    if (value) return kTrue.size();
    return beginsWithWord(text, kFalse) ? kFalse.size() : kNoValue;
}

size_t parseInteger(std::string_view text, int64_t& value) {
    const bool isNegative = !text.empty() && text[0] == '-';
    const size_t begin = isNegative || (!text.empty() && text[0] == '+') ? 1 : 0;
    const int64_t limit = int64_t{INT32_MAX} + (isNegative ? 1 : 0);
    int64_t number = 0;
    size_t at = begin;
    for (; at < text.size() && isDigit(text[at]); ++at) {
        number = number * 10 + (text[at] - '0');
        if (number > limit) return kNoValue;
    }
    if (at == begin) return kNoValue;
    value = isNegative ? -number : number;
    return at;
}

void readBit(TaskCall& call) { readNumber(call, "bit", &Arguments::smallPlace, parseBit); }
void readBoolean(TaskCall& call) {
    readNumber(call, "boolean", &Arguments::smallPlace, parseBoolean);
}
void readInteger(TaskCall& call) {
    readNumber(call, "integer", &Arguments::integerPlace, parseInteger);
}
void readTime(TaskCall& call) { readNumber(call, "time", &Arguments::timePlace, parseTime); }

// ---- Bit vectors

/// Finds the digits of a value. Those of more than one bit may have a single _ between them, and
/// the first must fit the remaining bits of the value.
/// @return characters, or kNoValue
size_t spanOfDigits(std::string_view text, size_t bits, unsigned digitBits) {
    const size_t count = (bits + digitBits - 1) / digitBits;
    const auto surplus = static_cast<unsigned>(count * digitBits - bits);
    size_t at = 0;
    for (size_t digit = 0; digit < count; ++digit, ++at) {
        if (digitBits > 1 && digit > 0 && at < text.size() && text[at] == '_') ++at;
        const unsigned limit = digitBits - (digit == 0 ? surplus : 0);
        if (at >= text.size() || digitValue(text[at]) >> limit != 0) return kNoValue;
    }
    return at;
}

void storeDigits(const VectorPlace& place, std::string_view digits, unsigned digitBits) {
    uint64_t chunk = 0;
    unsigned filled = 0;
    size_t index = 0;
    for (size_t at = digits.size(); at-- > 0;) {
        if (digits[at] == '_') continue;
        const uint64_t digit = digitValue(digits[at]);
        chunk |= digit << filled;
        filled += digitBits;
        if (filled < 64) continue;
        place.store(index++, chunk);
        filled -= 64;
        chunk = digit >> (digitBits - filled);
    }
    if (index * 64 < place.bits) place.store(index, chunk);
}

void readDigits(TaskCall& call, unsigned digitBits) {
    Arguments arguments(call, 2, 3);
    Read read(arguments, "bit_vector");
    const VectorPlace place = arguments.vectorPlace();
    if (!read.begin()) return;
    if (place.bits == 0) {
        read.end(0);
        return;
    }
    const std::string_view text = read.rest();
    const size_t skipped = whiteBefore(text);
    const size_t taken = spanOfDigits(text.substr(skipped), place.bits, digitBits);
    if (read.end(taken == kNoValue ? kNoValue : skipped + taken))
        storeDigits(place, text.substr(skipped, taken), digitBits);
}

void readBinary(TaskCall& call) { readDigits(call, 1); }
void readOctal(TaskCall& call) { readDigits(call, 3); }
void readHexadecimal(TaskCall& call) { readDigits(call, 4); }

// ---- Characters

void readCharacter(TaskCall& call) {
    Arguments arguments(call, 2, 3);
    Read read(arguments, "character");
    const Place place = arguments.characterPlace();
    if (!read.begin()) return;
    const std::string_view text = read.rest();
    if (read.end(text.empty() ? kNoValue : 1)) place.store(static_cast<unsigned char>(text[0]));
}

void readString(TaskCall& call) {
    Arguments arguments(call, 2, 3);
    Read read(arguments, "string");
    const StringPlace place = arguments.stringPlace();
    if (!read.begin()) return;
    const std::string_view text = read.rest();
    if (read.end(text.size() < place.length ? kNoValue : place.length))
        place.store(text.substr(0, place.length));
}

void readWord(TaskCall& call) {
    Arguments arguments(call, 3, 3);
    LineCell cell = arguments.line();
    const StringPlace place = arguments.stringPlace();
    const Place length = arguments.smallPlace();
    if (arguments.failed()) return;
    const std::string_view text = cell.rest();
    const size_t skipped = whiteBefore(text);
    size_t end = skipped;
    while (end < text.size() && end - skipped < place.length && !isWhite(text[end])) ++end;
    cell.take(end);
    length.store(end - skipped);
    place.store(text.substr(skipped, end - skipped));
}

}  // namespace

QK_DEFINE_TEXTIO(read_bit, "read", readBit)
QK_DEFINE_TEXTIO(read_bit_vector, "read", readBinary)
QK_DEFINE_TEXTIO(read_boolean, "read", readBoolean)
QK_DEFINE_TEXTIO(read_character, "read", readCharacter)
QK_DEFINE_TEXTIO(read_integer, "read", readInteger)
QK_DEFINE_TEXTIO(read_string, "read", readString)
QK_DEFINE_TEXTIO(read_time, "read", readTime)
QK_DEFINE_TEXTIO(hread, "hread", readHexadecimal)
QK_DEFINE_TEXTIO(oread, "oread", readOctal)
QK_DEFINE_TEXTIO(sread, "sread", readWord)
