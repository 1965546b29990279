#include "validate/value_text.h"

#include <algorithm>

#include "base/characters.h"

namespace {

constexpr size_t kMostBinary = 8;

/// @param bits  1 to 4 digits
char hexDigit(const std::string& bits) {
    unsigned value = 0;
    int unknown = 0, floating = 0;
    for (const char c : bits) {
        value = value * 2 + (c == '1');
        unknown += c == 'x' || c == 'X';
        floating += c == 'z' || c == 'Z';
    }
    const int count = static_cast<int>(bits.size());
    if (unknown == count) return 'x';
    if (floating == count) return 'z';
    return unknown != 0 ? 'X' : floating != 0 ? 'Z' : hexDigitOf(value);
}

}  // namespace

ValueText::ValueText(const std::vector<std::string>& values) {
    const size_t width = values.front().size();
    if (width <= kMostBinary) return;
    size_t zeros = width - 1;
    for (const std::string& value : values)
        zeros = std::min(zeros, std::min(value.find_first_not_of('0'), width - 1));
    hexDigits = static_cast<int>((width - zeros + 3) / 4);
    prefix = std::to_string(width) + "'h";
}

template <class Visit>
void ValueText::eachDigit(const std::string& value, Visit&& visit) const {
    for (int digit = hexDigits - 1; digit >= 0; --digit) {
        const size_t end = value.size() - static_cast<size_t>(digit) * 4;
        const size_t begin = end > 4 ? end - 4 : 0;
        visit(value.substr(begin, end - begin));
        if (digit > 0 && digit % 4 == 0) visit(std::string());
    }
}

std::string ValueText::of(const std::string& value) const {
    if (hexDigits == 0) return value;
    std::string text = prefix;
    eachDigit(value, [&](const std::string& bits) { text += bits.empty() ? '_' : hexDigit(bits); });
    return text;
}

std::string ValueText::marks(const std::string& marked) const {
    const auto markOf = [](const std::string& bits) {
        return bits.find('1') == std::string::npos ? ' ' : '^';
    };
    std::string text(prefix.size(), ' ');
    if (hexDigits == 0)
        for (const char c : marked) text += c == '1' ? '^' : ' ';
    else
        eachDigit(marked, [&](const std::string& bits) { text += markOf(bits); });
    return text.substr(0, text.find_last_of('^') + 1);
}

std::string hexLiteral(const std::string& digits) {
    std::string text = std::to_string(digits.size()) + "'h";
    const size_t first = (digits.size() + 3) % 4 + 1;  // bits of the highest digit
    for (size_t at = 0; at < digits.size(); at += at == 0 ? first : 4)
        text += hexDigit(digits.substr(at, at == 0 ? first : 4));
    return text;
}
