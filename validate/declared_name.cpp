#include "validate/declared_name.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

namespace {

/// One `[...]` or `(...)`.
struct Bounds {
    char bracket;
    int left, right;
    bool isRange;  ///< two numbers
    bool isApart;  ///< separated from the text before it

    bool fits(int width) const { return isRange && BitRange(left, right).width == width; }
    std::string text() const {
        const std::string more = isRange ? ":" + std::to_string(right) : "";
        return bracket + std::to_string(left) + more + (bracket == '[' ? "]" : ")");
    }
};

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

void dropBlanks(std::string_view& text) { text = text.substr(0, text.find_last_not_of(' ') + 1); }

/// Removes an integer and the blanks around it from the front. @return whether there is one that
/// fits
bool takeNumber(std::string_view& text, int& number) {
    skipBlanks(text);
    const bool isNegative = text.substr(0, 1) == "-";
    if (isNegative) text.remove_prefix(1);
    int64_t value = 0;
    size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        value = value * 10 + (text[digits] - '0');
        if (value > INT_MAX) return false;
    }
    text.remove_prefix(digits);
    skipBlanks(text);
    number = static_cast<int>(isNegative ? -value : value);
    return digits > 0;
}

bool takeWord(std::string_view& text, std::string_view word) {
    if (text.substr(0, word.size()) != word) return false;
    text.remove_prefix(word.size());
    return true;
}

/// Removes bounds, and the blanks before them, from the end of a text.
/// @param name  number of characters at the front that are not bounds
bool takeBounds(std::string_view& text, size_t name, Bounds& bounds) {
    if (text.size() <= name || (text.back() != ']' && text.back() != ')')) return false;
    bounds.bracket = text.back() == ']' ? '[' : '(';
    const size_t open = text.rfind(bounds.bracket);
    if (open == std::string_view::npos || open < name) return false;
    std::string_view inside = text.substr(open + 1, text.size() - open - 2);
    if (!takeNumber(inside, bounds.left)) return false;
    bounds.right = bounds.left;
    bounds.isRange = takeWord(inside, ":") || takeWord(inside, "downto") || takeWord(inside, "to");
    if (bounds.isRange && !takeNumber(inside, bounds.right)) return false;
    if (!inside.empty()) return false;
    text = text.substr(0, open);
    bounds.isApart = text.back() == ' ';
    dropBlanks(text);
    return true;
}

/// @return the length of an escaped name at the front of a text
size_t escapedLength(std::string_view text) {
    constexpr std::string_view followers = " [(";
    for (size_t at = text.find('\\', 1); at != std::string_view::npos; at = text.find('\\', at + 1))
        if (at + 1 == text.size() || followers.find(text[at + 1]) != std::string_view::npos)
            return at + 1;
    return std::min(text.find(' '), text.size());
}

}  // namespace

std::string DeclaredName::ofBit(const std::string& net, int index, char bracket) {
    return net + Bounds{bracket, index, index, false, false}.text();
}

DeclaredName parseDeclaredName(std::string_view text, int width) {
    dropBlanks(text);
    DeclaredName result;
    const bool isEscaped = text.substr(0, 1) == "\\";
    const size_t escaped = isEscaped ? escapedLength(text) : 0;
    const bool isClosed = escaped > 1 && text[escaped - 1] == '\\';
    // The bounds of an escaped name begin where it ends.
    const bool endsEarly = isClosed || escaped < text.size();
    const size_t fixed = !isEscaped ? 1 : endsEarly ? escaped : 2;

    std::vector<Bounds> all;  // the last first
    for (Bounds bounds; takeBounds(text, fixed, bounds);) all.push_back(bounds);
    if (isEscaped && endsEarly ? text.size() != escaped : text.find(' ') != std::string_view::npos)
        return result;

    result.name = text;
    result.range = BitRange(width - 1, 0);
    result.range.isRange = false;
    if (all.empty()) return result;
    const Bounds& last = all.front();
    const bool isApart = last.isApart || (isEscaped && endsEarly);
    const bool isOfNet = isApart ? last.isRange || width == 1 : last.fits(width);
    const bool mayBeBit = !isOfNet && !last.isRange && width == 1 && all.size() == 1 && !isEscaped;
    if (isOfNet || mayBeBit) result.range = BitRange(last.left, last.right);
    if (mayBeBit) result.bitBracket = last.bracket;
    for (size_t i = all.size(); i-- > (isOfNet || mayBeBit ? 1u : 0u);)
        result.name += all[i].text();
    return result;
}

std::string_view unescaped(std::string_view name) {
    if (name.substr(0, 1) != "\\") return name;
    name.remove_prefix(1);
    if (!name.empty() && (name.back() == '\\' || name.back() == ' ')) name.remove_suffix(1);
    return name;
}

bool needsEscape(std::string_view name) {
    return std::any_of(name.begin(), name.end(), [](char c) {
        const char lower = static_cast<char>(c | 0x20);
        return !((lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '$');
    });
}
