#include "base/literals.h"

#include <bit>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "base/characters.h"
#include "base/qkassert.h"
#include "base/wide_step.h"

namespace {

constexpr int kChunkBits = 64;
// The number of decimal digits that always fit a chunk, and ten to that power.
constexpr int kGroupDigits = 19;
constexpr uint64_t kGroupScale = 10'000'000'000'000'000'000u;

enum DigitMode { kStrict, kLoose };

struct Text {
    const char* begin;
    const char* end;
};

/// Checked digits, without white space and underscores.
struct Digits {
    std::unique_ptr<char[]> chars;
    size_t count = 0;
};

/// Copies the digits of `text`, which white space may surround. Only loose mode accepts
/// underscores, and not as the first character.
/// @param name  what an assertion calls the buffer
/// @return false when the text has anything else; true with a count of 0 for an empty text
bool checkDigits(Text text, DigitMode mode, unsigned radix, const char* name, Digits& out) {
    while (text.begin != text.end && isSpace(*text.begin)) ++text.begin;
    while (text.begin != text.end && isSpace(text.end[-1])) --text.end;
    if (text.begin != text.end && *text.begin == '_') return false;
    out.chars.reset(new (std::nothrow) char[static_cast<size_t>(text.end - text.begin) + 1]);
    if (!QK_CHECK_AS(out.chars, name)) return false;
    for (const char* at = text.begin; at != text.end; ++at) {
        if (*at == '_' && mode == kLoose) continue;
        if (digitValue(*at) >= radix) return false;
        out.chars[out.count++] = *at;
    }
    return true;
}

QkMaxuList* newNode(uint64_t value, QkMaxuList* prev) {
    auto* const node = new (std::nothrow) QkMaxuList{value, prev, nullptr};
    if (QK_CHECK(node) && prev) prev->next = node;
    return node;
}

/// Multiplies the value by `scale` and adds `summand`. @return false when a node cannot be
/// allocated
bool multiplyAdd(QkMaxuList* list, uint64_t scale, uint64_t summand) {
    for (QkMaxuList* node = list;; node = node->next) {
        const ChunkProduct product = multiplyAddChunk(node->value, scale, summand);
        node->value = product.low;
        summand = product.high;
        if (!node->next) return summand == 0 || newNode(summand, node);
    }
}

/// Adds decimal digits to the zero at `list`, as many at a time as fit a chunk.
bool convertDecimal(const char* digits, size_t count, QkMaxuList* list) {
    while (count != 0) {
        const size_t taken = (count - 1) % kGroupDigits + 1;
        uint64_t group = 0;
        for (size_t i = 0; i < taken; ++i) group = group * 10 + digitValue(digits[i]);
        if (!multiplyAdd(list, kGroupScale, group)) return false;
        digits += taken;
        count -= taken;
    }
    return true;
}

/// Fills the zero at `list` from the low end with digits of `digitBits` bits. Leading zeros take
/// space like other digits.
bool convertBinary(const char* digits, size_t count, int digitBits, QkMaxuList* list) {
    QkMaxuList* node = list;
    int used = 0;
    while (count-- != 0) {
        const uint64_t digit = digitValue(digits[count]);
        if (used == kChunkBits) {
            node = newNode(0, node);
            if (!node) return false;
            used = 0;
        }
        node->value |= digit << used;
        used += digitBits;
        if (used <= kChunkBits) continue;

        used -= kChunkBits;
        const uint64_t rest = digit >> (digitBits - used);
        if (rest == 0 && count == 0) return true;
        node = newNode(rest, node);
        if (!node) return false;
    }
    return true;
}

/// @return bits up to the highest one that is set
int64_t significantBits(const QkMaxuList* list) {
    int64_t bits = 0, below = 0;
    for (; list; list = list->next, below += kChunkBits)
        if (list->value != 0) bits = below + std::bit_width(list->value);
    return bits;
}

/// Makes a list of `digits`.
/// @param sizeBits  bits that the value must fit in; negative for any
bool convert(const Digits& digits, unsigned radix, int sizeBits, QkMaxuList*& list) {
    if (digits.count == 0) return false;
    QkMaxuList* const made = newNode(0, nullptr);
    if (!made) return false;
    const bool done = radix == 10 ? convertDecimal(digits.chars.get(), digits.count, made)
                                  : convertBinary(digits.chars.get(), digits.count,
                                                  std::countr_zero(radix), made);
    if (!done || (sizeBits >= 0 && significantBits(made) > sizeBits)) {
        freeList(made);
        return false;
    }
    list = made;
    return true;
}

/// @return the value of decimal digits, or the greatest int when it is larger
int smallNumber(const Digits& digits) {
    int64_t value = 0;
    for (size_t i = 0; i < digits.count && value < INT_MAX; ++i) {
        value = value * 10 + digitValue(digits.chars[i]);
    }
    return value < INT_MAX ? static_cast<int>(value) : INT_MAX;
}

unsigned radixOfLetter(char letter) {
    switch (lowerCase(letter)) {
        case 'b': return 2;
        case 'o': return 8;
        case 'd': return 10;
        case 'h': return 16;
        default: return 0;
    }
}

/// <size>'<radix letter><digits>
bool parseSized(Text text, const char* quote, QkMaxuList*& list) {
    Digits size, digits;
    if (!checkDigits({text.begin, quote}, kStrict, 10, "size_str", size)) return false;
    const int sizeBits = size.count == 0 ? -1 : smallNumber(size);
    const unsigned radix = quote + 1 == text.end ? 0 : radixOfLetter(quote[1]);
    if (radix == 0) return false;
    if (!checkDigits({quote + 2, text.end}, kLoose, radix, "value_str", digits)) return false;
    return sizeBits != 0 && sizeBits != INT_MAX && convert(digits, radix, sizeBits, list);
}

/// Decimal, or hexadecimal or octal by the prefix of C.
bool parsePlain(Text text, QkMaxuList*& list) {
    while (isSpace(text.end[-1])) --text.end;
    unsigned radix = 10;
    if (text.end - text.begin > 1 && *text.begin == '0') {
        const bool isHex = lowerCase(text.begin[1]) == 'x';
        radix = isHex ? 16 : 8;
        text.begin += isHex ? 2 : 1;
        if (text.begin != text.end && isSpace(*text.begin)) return false;
    }
    Digits digits;
    return checkDigits(text, radix == 10 ? kLoose : kStrict, radix, "digits", digits) &&
           convert(digits, radix, -1, list);
}

/// <radix>#<digits>#
bool parseBased(Text text, const char* mark, QkMaxuList*& list) {
    if (mark == text.begin || isSpace(mark[-1]) || isSpace(mark[1])) return false;
    const auto* const close = std::strchr(mark + 1, '#');
    if (!close || isSpace(close[-1])) return false;
    for (const char* at = close + 1; at != text.end; ++at) {
        if (!isSpace(*at)) return false;
    }
    Digits base, digits;
    if (!checkDigits({text.begin, mark}, kStrict, 10, "base_str", base)) return false;
    const int radix = smallNumber(base);
    if (radix != 2 && radix != 8 && radix != 10 && radix != 16) return false;
    const auto checked = static_cast<unsigned>(radix);
    return checkDigits({mark + 1, close}, kLoose, checked, "value_str", digits) &&
           convert(digits, checked, -1, list);
}

}  // namespace

bool parseValue(const char* text, QkMaxuList*& list) {
    if (!QK_CHECK(!list)) return false;
    text = skipSpace(text);
    if (!*text) return false;
    const Text whole{text, text + std::strlen(text)};
    if (const char* const quote = std::strchr(text, '\'')) return parseSized(whole, quote, list);
    if (const char* const mark = std::strchr(text, '#')) return parseBased(whole, mark, list);
    return parsePlain(whole, list);
}

QkMaxuList* copyList(const QkMaxuList* source) {
    QkMaxuList *head = nullptr, *top = nullptr;
    for (; source; source = source->next) {
        top = newNode(source->value, top);
        if (!top) {
            freeList(head);
            return nullptr;
        }
        if (!head) head = top;
    }
    return head;
}

int listWidth(const QkMaxuList* list) {
    if (!list) return 0;
    int64_t bits = 0;
    for (; list->next; list = list->next) bits += kChunkBits;
    bits += std::bit_width(list->value);
    return bits < INT_MAX ? static_cast<int>(bits) : INT_MAX;
}

std::string listText(const QkMaxuList* list) {
    const QkMaxuList* top = list;
    for (const QkMaxuList* node = list; node; node = node->next)
        if (node->value != 0) top = node;
    std::string text = "0x";
    for (const QkMaxuList* node = top; node; node = node == list ? nullptr : node->prev) {
        char digits[17];
        std::snprintf(digits, sizeof digits, node == top ? "%" PRIx64 : "%016" PRIx64, node->value);
        text += digits;
    }
    return list ? text : "0x0";
}

void freeList(QkMaxuList* list) {
    while (list) {
        QkMaxuList* const next = list->next;
        delete list;
        list = next;
    }
}
