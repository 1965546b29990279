// A fixed-width string of the logic digits 0 1 x X z Z, paired as pending and live.
//
// Digits are kept 64 to a chunk, a bit of each in three words, so that a value is written,
// committed and compared a chunk at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/stringbuf.h"

class BitString {
public:
    /// All digits X. @param width  digits, 1 or more
    explicit BitString(int width);
    BitString(const BitString&) = delete;
    BitString& operator=(const BitString&) = delete;

    /// Writes `digits` into the field of `bits` digits whose lowest is digit `at`, extended to the
    /// left by the rule of the VCD format. A negative `at` means the whole width. What is no digit
    /// makes one that a commit asserts against.
    void setDigits(std::string_view digits, int at, int bits);
    /// Writes `bits` known digits, 1 to 64, the lowest of them digit `at`.
    void setKnown(uint64_t value, int at, int bits);
    /// Moves this pending string into its live partner.
    /// @return 2 when a digit became another known value, else 3 when a known digit became unknown,
    ///         else 1
    int commit();
    /// Takes the digits of a string of the same width.
    void copyFrom(const BitString& other);
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

    bool isDirty() const { return dirty; }
    int width() const { return digitCount; }
    std::string text() const;
    bool isLinked() const { return liveBits != nullptr; }

    /// Which of the digits `at` to `at` + `bits` - 1, at most 64 and all within the width, are 0 or
    /// 1, and which are 1.
    struct Known {
        uint64_t known, ones;
    };
    Known knownAt(int at, int bits) const;

private:
    /// Digit i is told by bit i of each word.
    struct Chunk {
        uint64_t known;  ///< 0 or 1
        uint64_t high;   ///< known: 1; unknown: z rather than x
        uint64_t upper;  ///< unknown: an upper-case letter; known: no digit at all
    };
    static Chunk chunkOf(std::string_view digits);
    static Chunk extensionOf(std::string_view digits);
    void put(const Chunk& digits, int at, int bits);
    int chunkCount() const { return (digitCount + 63) / 64; }

    BitString* liveBits = nullptr;
    bool dirty = false;
    int32_t digitCount;
    Chunk* chunks = &narrow;
    Chunk narrow{};  // the only one of a string of up to 64 digits
    std::unique_ptr<Chunk[]> wide;
};

/// The same reduction on digits in a text. @return a place inside `digits`
const char* reducedDigits(const char* digits);
