// A fixed-width string of the logic digits 0 1 x X z Z, paired as pending and live.
#pragma once

#include <cstdint>

#include "base/stringbuf.h"

class BitString {
public:
    /// All digits X. @param width  digits, 1 or more
    explicit BitString(int width);
    BitString(const BitString&) = delete;
    BitString& operator=(const BitString&) = delete;
    ~BitString();

    /// Writes `digits` into the field of `bits` digits whose lowest is digit `at`, extended to the
    /// left by the rule of the VCD format. A negative `at` means the whole width.
    void setDigits(const char* digits, int at, int bits);
    /// Moves this pending string into its live partner.
    /// @return 2 when a digit became another known value, else 3 when a known digit became unknown,
    ///         else 1
    int commit();
    /// @return digit `offset`, 0 being the least significant
    char digitAt(int offset) const;
    /// Assigns the shortest left-extended form (IEEE 1364-2005, 18.2.2); without `reduce` only one
    /// leading 0 is dropped.
    void printReduced(StringBuf& out, bool reduce) const;
    /// Appends the digits in hexadecimal, unknown ones as 0, with a size prefix unless the width is
    /// a multiple of 4. Digits above 9 print as k to p.
    void printHex(StringBuf& out) const;
    /// Makes `live` the partner, once. Not owned.
    void link(BitString* live);

    bool isDirty() const { return dirty != 0; }
    int width() const { return digitCount; }
    const char* text() const { return str; }
    bool isLinked() const { return liveBits != nullptr; }

private:
    BitString* liveBits;
    uint32_t dirty;
    int32_t digitCount;
    char* str;  // digitCount + 1 bytes; str[0] is the most significant digit
};

/// The same reduction on digits in a text. @return a place inside `digits`
const char* reducedDigits(const char* digits);
