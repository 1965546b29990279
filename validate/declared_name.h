// Names of variables as simulators write them: escaped or not, with bounds directly after the name
// or separate.
#pragma once

#include <string>
#include <string_view>

#include "base/bit_range.h"

/// What a $var declares after its code.
struct DeclaredName {
    std::string name;  ///< empty: the text is not a name with bounds
    BitRange range;
    /// '[' or '(' when this may be a bit of a wider net: `name` is then the name of that net, and
    /// `range` the bit; else 0
    char bitBracket = 0;

    /// @return the name of a bit of `net` as it was declared
    static std::string ofBit(const std::string& net, int index, char bracket);
};

/// Parses `q [7:0]`, `q[7:0]`, `q(7 downto 0)`, `q[3]`, `m [3] [7:0]` and the like. Bounds that are
/// separate from the name, or that fit the width, are those of the net; any other index belongs to
/// the name, like that of an element. A name that begins with a backslash ends at white space,
/// unless a second backslash at the end of a word, or just before bounds, closes it.
/// @param text   words, separated by one blank
/// @param width  as declared, at least 1
DeclaredName parseDeclaredName(std::string_view text, int width);

/// @return a name without the characters that escape it: a backslash at its beginning, and the
///         backslash or blank that ends it
std::string_view unescaped(std::string_view name);
/// @return whether a name has other characters than letters, digits, `_` and `$`
bool needsEscape(std::string_view name);

/// Calls visit(spelling) for the ways to write a name that may be escaped, its own first, until one
/// call returns true. A backslash within the name may have been doubled. @return whether one did
template <class Visit>
bool eachSpelling(const std::string& name, Visit&& visit) {
    if (visit(name)) return true;
    if (!needsEscape(name)) return false;
    std::string bare(unescaped(name));
    for (size_t doubled = 0; doubled != std::string::npos;) {
        for (const std::string& other : {bare, "\\" + bare, "\\" + bare + "\\", "\\" + bare + " "})
            if (other != name && visit(other)) return true;
        doubled = bare.find("\\\\");
        for (size_t at = doubled; at != std::string::npos; at = bare.find("\\\\", at + 1))
            bare.erase(at, 1);
    }
    return false;
}
