// Values of one net in a form that is easy to compare: below each other, with marks where they
// differ.
#pragma once

#include <string>
#include <vector>

/// Formats values of one width. Up to 8 digits stay binary; more become hexadecimal, as in
/// 70'h2_0123_4567_89ab_cdef, without leading zeros that all of the values share. A hexadecimal
/// digit is x or z when all its bits are, X or Z when some are.
class ValueText {
public:
    /// @param values  digits 0, 1, x, X, z and Z, of one width of at least 1
    explicit ValueText(const std::vector<std::string>& values);
    std::string of(const std::string& value) const;
    /// @param marked  a 1 for each digit to be marked
    /// @return blanks, and a ^ below each digit of the text that has a marked one, up to the last
    std::string marks(const std::string& marked) const;

private:
    /// Calls visit(text of four bits) for each hexadecimal digit that is printed, and visit("") for
    /// each place between groups of four.
    template <class Visit>
    void eachDigit(const std::string& value, Visit&& visit) const;

    std::string prefix;
    int hexDigits = 0;  ///< 0: binary
};

/// @param digits  as in ValueText()
/// @return a hexadecimal literal such as 12'h0ff, with all digits of the width, whatever that is
std::string hexLiteral(const std::string& digits);
