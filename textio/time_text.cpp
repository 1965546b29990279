#include "textio/time_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "base/characters.h"
#include "run/time.h"

namespace {

/// A unit is `factor` times 10^`exponent` femtoseconds. A fraction ends after that many digits,
/// unless the factor keeps it from terminating.
struct Unit {
    std::string_view name;
    unsigned factor;
    int exponent;
};
constexpr Unit kUnits[] = {{"fs", 1, 0},  {"ps", 1, 3},   {"ns", 1, 6},   {"us", 1, 9},
                           {"ms", 1, 12}, {"sec", 1, 15}, {"min", 6, 16}, {"hr", 36, 17}};
static_assert(std::size(kUnits) == kTimeUnits, "one for each code");

constexpr int kLargestExponent = 1000;

/// @return the exponent of ten of a tick in femtoseconds
int tickExponent() { return qk_timescale_precision - kFinestExponent; }

bool isSign(char c) { return c == '+' || c == '-'; }

/// @return the end of the digits that begin at `at`
size_t endOfDigits(std::string_view text, size_t at) {
    while (at < text.size() && isDigit(text[at])) ++at;
    return at;
}

/// A decimal: digits, which may contain a point, and an exponent.
struct Decimal {
    std::string_view digits;  ///< including the point
    size_t fractionDigits;
    int exponent;  ///< between -kLargestExponent - 1 and kLargestExponent + 1
    bool isNegative;
};

int exponentOf(std::string_view digits, bool isNegative) {
    int exponent = 0;
    for (char c : digits) exponent = std::min(exponent * 10 + (c - '0'), kLargestExponent + 1);
    return isNegative ? -exponent : exponent;
}

/// @return the number of characters read, or kNoValue
size_t parseDecimal(std::string_view text, Decimal& decimal) {
    size_t at = !text.empty() && isSign(text[0]) ? 1 : 0;
    decimal.isNegative = at == 1 && text[0] == '-';
    const size_t begin = at;
    at = endOfDigits(text, begin);
    if (at == begin) return kNoValue;
    decimal.fractionDigits = 0;
    if (at < text.size() && text[at] == '.') {
        const size_t point = at;
        at = endOfDigits(text, point + 1);
        decimal.fractionDigits = at - point - 1;
        if (decimal.fractionDigits == 0) return kNoValue;
    }
    decimal.digits = text.substr(begin, at - begin);
    decimal.exponent = 0;
    if (at == text.size() || lowerCase(text[at]) != 'e') return at;
    ++at;
    const bool isNegative = at < text.size() && text[at] == '-';
    if (at < text.size() && isSign(text[at])) ++at;
    const size_t exponent = at;
    at = endOfDigits(text, exponent);
    if (at == exponent) return kNoValue;
    decimal.exponent = exponentOf(text.substr(exponent, at - exponent), isNegative);
    return at;
}

/// @return the unit that the text begins with, or null
const Unit* parseUnit(std::string_view text) {
    for (const Unit& unit : kUnits) {
        if (beginsWithWord(text, unit.name)) return &unit;
    }
    return nullptr;
}

/// Multiplies digits by `factor`, without the lowest `dropped` digits of the product.
/// @return false when the product needs more than 64 bits
bool multiply(std::string_view digits, size_t dropped, unsigned factor, uint64_t& product) {
    unsigned carry = 0;
    size_t kept = digits.size();
    for (; dropped > 0 && (kept > 0 || carry > 0); --dropped) {
        if (kept > 0 && digits[kept - 1] == '.') --kept;
        const unsigned digit = kept > 0 ? static_cast<unsigned>(digits[--kept] - '0') : 0;
        carry = (digit * factor + carry) / 10;
    }
    uint64_t number = 0;
    for (char c : digits.substr(0, kept)) {
        if (c == '.') continue;
        if (__builtin_mul_overflow(number, uint64_t{10}, &number) ||
            __builtin_add_overflow(number, static_cast<uint64_t>(c - '0'), &number))
            return false;
    }
    return !__builtin_mul_overflow(number, uint64_t{factor}, &product) &&
           !__builtin_add_overflow(product, uint64_t{carry}, &product);
}

/// @return whether a time fits 64 bits with a sign
bool toTicks(const Decimal& decimal, const Unit& unit, int64_t& ticks) {
    ticks = 0;
    if (decimal.exponent < -kLargestExponent) return true;
    if (decimal.digits.find_first_not_of("0.") == std::string_view::npos) return true;
    if (decimal.exponent > kLargestExponent) return false;
    const int64_t shift = decimal.exponent + unit.exponent - tickExponent() -
                          static_cast<int64_t>(decimal.fractionDigits);
    uint64_t value;
    if (!multiply(decimal.digits, shift < 0 ? static_cast<size_t>(-shift) : 0, unit.factor, value))
        return false;
    for (int64_t i = 0; i < shift; ++i)
        if (__builtin_mul_overflow(value, uint64_t{10}, &value)) return false;
    const uint64_t limit = static_cast<uint64_t>(INT64_MAX) + (decimal.isNegative ? 1 : 0);
    if (value > limit) return false;
    ticks = static_cast<int64_t>(decimal.isNegative ? 0 - value : value);
    return true;
}

/// The digits of a number of units, one after the other: those of `ticks`, with the decimal point
/// moved, divided by the unit's factor as on paper.
class Quotient {
public:
    Quotient(uint64_t ticks, const Unit& unit) : factor(unit.factor) {
        const auto count =
            static_cast<int>(std::to_chars(digits, std::end(digits), ticks).ptr - digits);
        point = count + tickExponent() - unit.exponent;
        end = count;
        while (end > 0 && digits[end - 1] == '0') --end;
        at = std::min(point, 0);
    }
    bool isInFraction() const { return at >= point; }
    /// @return whether all digits from here on are 0
    bool isDone() const { return remainder == 0 && (at >= end || end == 0); }
    char next() {
        remainder =
            remainder * 10 + (at >= 0 && at < end ? static_cast<unsigned>(digits[at] - '0') : 0);
        ++at;
        const unsigned digit = remainder / factor;
        remainder %= factor;
        return static_cast<char>('0' + digit);
    }

private:
    char digits[20];
    unsigned factor, remainder = 0;
    int point, end, at;
};

}  // namespace

bool isWhite(char c) { return c == ' ' || c == '\t' || c == '\xa0'; }

size_t parseTime(std::string_view text, int64_t& ticks) {
    Decimal decimal;
    const size_t number = parseDecimal(text, decimal);
    if (number == kNoValue) return kNoValue;
    size_t at = number;
    while (at < text.size() && isWhite(text[at])) ++at;
    if (at == number) return kNoValue;
    const Unit* const unit = parseUnit(text.substr(at));
    if (!unit || !toTicks(decimal, *unit, ticks)) return kNoValue;
    return at + unit->name.size();
}

size_t formatTime(int64_t ticks, int unitCode, char* text) {
    const Unit& unit = kUnits[unitCode];
    const auto magnitude = static_cast<uint64_t>(ticks);
    Quotient quotient(ticks < 0 ? 0 - magnitude : magnitude, unit);
    char* at = text;
    if (ticks < 0) *at++ = '-';
    char* const number = at;
    while (!quotient.isInFraction()) {
        const char digit = quotient.next();
        if (at != number || digit != '0') *at++ = digit;
    }
    if (at == number) *at++ = '0';
    if (!quotient.isDone()) *at++ = '.';
    for (int i = 0; i < unit.exponent && !quotient.isDone(); ++i) *at++ = quotient.next();
    *at++ = ' ';
    at = std::copy(unit.name.begin(), unit.name.end(), at);
    return static_cast<size_t>(at - text);
}
