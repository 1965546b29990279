// Literals and names in the form of Verilator's dumps. Literals are hexadecimal, or binary when a
// digit is x or z.
#include <cctype>
#include <charconv>

#include "tree.h"

namespace qkverilate {

namespace {

struct Literal {
    int width = 0;
    bool isSigned = false;
    bool isNegative = false;
    int bitsPerDigit = 4;
    std::string_view digits;
};

std::optional<Literal> takeApart(std::string_view text) {
    Literal literal;
    if (!text.empty() && text.front() == '-') {
        literal.isNegative = true;
        text.remove_prefix(1);
    }
    const size_t quote = text.find('\'');
    if (quote == std::string_view::npos) return std::nullopt;
    const auto parsed = std::from_chars(text.data(), text.data() + quote, literal.width);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + quote) return std::nullopt;
    text.remove_prefix(quote + 1);
    if (!text.empty() && text.front() == 's') {
        literal.isSigned = true;
        text.remove_prefix(1);
    }
    if (text.size() < 2 || (text.front() != 'h' && text.front() != 'b')) return std::nullopt;
    literal.bitsPerDigit = text.front() == 'b' ? 1 : 4;
    literal.digits = text.substr(1);
    return literal;
}

std::optional<uint32_t> digitValue(char digit) {
    const auto c = static_cast<unsigned char>(digit);
    if (std::isdigit(c)) return static_cast<uint32_t>(c - '0');
    const int lower = std::tolower(c);
    if (lower == 'x' || lower == 'z') return 0;
    if (lower < 'a' || lower > 'f') return std::nullopt;
    return static_cast<uint32_t>(lower - 'a' + 10);
}

}  // namespace

std::string plainName(std::string_view name) {
    std::string plain;
    while (!name.empty()) {
        const auto skip = [&](std::string_view code, char character) {
            if (name.substr(0, code.size()) != code) return false;
            name.remove_prefix(code.size());
            plain += character;
            return true;
        };
        if (skip("__DOT__", '.') || skip("__BRA__", '[') || skip("__KET__", ']')) continue;
        const auto isHex = [&](size_t at) {
            return std::isxdigit(static_cast<unsigned char>(name[at])) != 0;
        };
        if (name.size() >= 5 && name.substr(0, 3) == "__0" && isHex(3) && isHex(4)) {
            plain += static_cast<char>(std::stoi(std::string(name.substr(3, 2)), nullptr, 16));
            name.remove_prefix(5);
            continue;
        }
        plain += name.front();
        name.remove_prefix(1);
    }
    return plain;
}

std::optional<std::vector<uint32_t>> literalWords(std::string_view text) {
    const std::optional<Literal> literal = takeApart(text);
    if (!literal || literal->width < 1) return std::nullopt;
    std::vector<uint32_t> words((static_cast<size_t>(literal->width) + 31) / 32);
    size_t bit = 0;
    for (size_t at = literal->digits.size(); at-- > 0;) {
        const char c = literal->digits[at];
        if (c == '_') continue;
        const std::optional<uint32_t> digit = digitValue(c);
        if (!digit) return std::nullopt;
        if (bit / 32 < words.size()) words[bit / 32] |= *digit << bit % 32;
        bit += static_cast<size_t>(literal->bitsPerDigit);
    }
    if (literal->width % 32) words.back() &= (uint32_t{1} << literal->width % 32) - 1;
    return words;
}

std::optional<int64_t> literalValue(std::string_view text) {
    int64_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size()) return value;
    const std::optional<std::vector<uint32_t>> words = literalWords(text);
    if (!words) return std::nullopt;
    const Literal literal = *takeApart(text);
    uint64_t bits = words->front();
    if (words->size() > 1) bits |= uint64_t{(*words)[1]} << 32;
    const bool isTop = literal.width <= 64 && (bits >> (literal.width - 1) & 1);
    if (literal.isSigned && isTop && literal.width < 64) bits |= ~uint64_t{0} << literal.width;
    value = static_cast<int64_t>(bits);
    return literal.isNegative ? -value : value;
}

}  // namespace qkverilate
