#include "base/bitstring.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "base/qkassert.h"

namespace {

constexpr int kHexDigitBits = 4;

bool isKnown(char digit) { return digit == '0' || digit == '1'; }

bool isUnknown(char digit) { return digit == 'x' || digit == 'X' || digit == 'z' || digit == 'Z'; }

/// @return what fills the places to the left of a value that begins with `first`
char extensionOf(char first) { return isKnown(first) ? '0' : isUnknown(first) ? first : '\0'; }

const char* dropRepeats(const char* digits) {
    while ((*digits == '0' || isUnknown(*digits)) && *digits == digits[1]) ++digits;
    return digits;
}

const char* dropZero(const char* digits) {
    return *digits == '0' && digits[1] ? digits + 1 : digits;
}

}  // namespace

BitString::BitString(int width)
    : liveBits(nullptr), dirty(0), digitCount(std::max(width, 0)), str(nullptr) {
    const auto count = static_cast<size_t>(digitCount);
    str = new (std::nothrow) char[count + 1];
    QK_ASSERT(str);
    if (!str) {
        digitCount = 0;
        return;
    }
    std::memset(str, 'X', count);
    str[count] = '\0';
}

BitString::~BitString() { delete[] str; }

void BitString::setDigits(const char* digits, int at, int bits) {
    dirty = 1;
    const size_t length = std::strlen(digits);
    if (at < 0) {
        QK_ASSERT_AS(bits < 0 || bits == digitCount, "(nbits < 0) || (nbits == width)");
        bits = digitCount;
        at = 0;
    }
    const bool fits = bits >= 0 && length <= static_cast<size_t>(bits);
    QK_ASSERT_AS(fits, "l <= nbits");
    const bool isInside = int64_t{at} + bits <= digitCount;
    QK_ASSERT_AS(isInside, "(at + nbits) <= width");
    if (!fits || !isInside) return;

    char* const field = str + (digitCount - at - bits);
    const size_t extended = static_cast<size_t>(bits) - length;
    std::memset(field, extensionOf(*digits), extended);
    std::memcpy(field + extended, digits, length);
}

int BitString::commit() {
    dirty = 0;
    QK_ASSERT(liveBits);
    if (!liveBits) return 1;
    bool becameKnown = false, becameUnknown = false;
    const int count = std::min(digitCount, liveBits->digitCount);
    for (int i = 0; i < count; ++i) {
        const char pending = str[i];
        char& live = liveBits->str[i];
        if (isKnown(pending)) {
            becameKnown |= pending != live;
        } else if (isUnknown(pending)) {
            becameUnknown |= isKnown(live);
        } else {
            QK_ASSERT_AS(false, "0");
        }
        live = pending;
    }
    return becameKnown ? 2 : becameUnknown ? 3 : 1;
}

char BitString::digitAt(int offset) const {
    const bool isInside = offset >= 0 && offset < digitCount;
    QK_ASSERT_AS(isInside, "(o >= 0) && (o < width)");
    return isInside ? str[digitCount - offset - 1] : 'X';
}

void BitString::printReduced(StringBuf& out, bool reduce) const {
    out.assign(dropZero(reduce ? dropRepeats(str) : str));
}

void BitString::printHex(StringBuf& out) const {
    std::string text;
    int groupBits = digitCount % kHexDigitBits;
    if (groupBits != 0) text = std::to_string(digitCount) + "'h";
    if (groupBits == 0) groupBits = kHexDigitBits;
    for (const char* p = str; *p; groupBits = kHexDigitBits) {
        int value = 0;
        for (; groupBits != 0; --groupBits) {
            QK_ASSERT(*p);
            value = value * 2 + (*p == '1' ? 1 : 0);
            if (*p) ++p;
        }
        text += static_cast<char>(value > 9 ? 'a' + value : '0' + value);
    }
    out.append(text.c_str());
}

void BitString::link(BitString* live) {
    QK_ASSERT(!liveBits);
    liveBits = live;
}

const char* reducedDigits(const char* digits) { return dropZero(dropRepeats(digits)); }
