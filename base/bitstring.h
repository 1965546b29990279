// A fixed-width string of the logic digits 0 1 x X z Z; strings come in pairs, a pending and a live
// one.
//
// A chunk holds 64 digits in three words, with one bit of each word for a digit, so that a value is
// written, committed and compared a chunk at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/qkassert.h"
#include "base/storage.h"
#include "base/stringbuf.h"

class BitString {
public:
    /// Up to 64 digits; bit i of each word describes digit i.
    struct Chunk {
        uint64_t known;  ///< 0 or 1
        uint64_t high;   ///< known: 1; unknown: z rather than x
        uint64_t upper;  ///< unknown: an upper-case letter; known: not a digit at all

        static Chunk ofKnown(uint64_t value) { return Chunk{~uint64_t{0}, value, 0}; }
    };

    /// All digits X.
    /// @param width  digits, 1 or more
    /// @param place  storage for up to 64 digits, borrowed; null: allocates its own
    explicit BitString(int width, Chunk* place = nullptr);
    BitString(const BitString&) = delete;
    BitString& operator=(const BitString&) = delete;

    /// Writes `digits` into the field of `bits` digits whose lowest is digit `at`, extended to the
    /// left by the rule of the VCD format. A negative `at` means the whole width. A character that
    /// is not a digit makes a later commit fail an assertion.
    void setDigits(std::string_view digits, int at, int bits);
    /// Writes `bits` known digits, 1 to 64, the lowest of them digit `at`.
    void setKnown(uint64_t value, int at, int bits);
    /// Sets the whole string to the known digits of a value, with zeros to its left.
    void setWhole(uint64_t value) {
        dirty = true;
        for (int i = 0; i < chunkCount(); ++i) chunks[i] = Chunk::ofKnown(i == 0 ? value : 0);
    }
    /// Copies this pending string to its live partner.
    /// @return 2 when a digit became another known value, else 3 when a known digit became unknown,
    ///         else 1
    int commit();
    /// Copies the digits of a string of the same width.
    void copyFrom(const BitString& other);
    /// @return digit `offset`, 0 being the least significant
    char digitAt(int offset) const;
    /// Assigns the shortest left-extended form (IEEE 1364-2005, 18.2.2); without `reduce` only one
    /// leading 0 is dropped.
    void printReduced(StringBuf& out, bool reduce) const;
    /// Appends the digits in hexadecimal, unknown ones as 0, with a size prefix unless the width is
    /// a multiple of 4. Digits above 9 print as k to p.
    void printHex(StringBuf& out) const;
    /// Makes `live` the partner; to be called once. Not owned.
    void link(BitString* live);

    bool isDirty() const { return dirty; }
    int width() const { return digitCount; }
    std::string text() const;

    /// Which of the digits `at` to `at` + `bits` - 1, at most 64 and all within the width, are 0 or
    /// 1, and which are 1.
    struct Known {
        uint64_t known, ones;
    };
    Known knownAt(int at, int bits) const;

    /// What committing some digits changes in the partner.
    struct Changes {
        uint64_t becameKnown, becameUnknown, noDigits;
    };
    static Changes changesOf(const Chunk& pending, const Chunk& live, uint64_t mask) {
        const uint64_t bad = pending.known & pending.upper;
        return Changes{mask & pending.known & ~bad & (~live.known | (pending.high ^ live.high)),
                       mask & ~pending.known & live.known, mask & bad};
    }
    /// @return the result of commit()
    static int classify(const Changes& changes) {
        QK_ASSERT_AS(changes.noDigits == 0, "0");
        return changes.becameKnown ? 2 : changes.becameUnknown ? 3 : 1;
    }

private:
    static Chunk chunkOf(std::string_view digits);
    static Chunk extensionOf(std::string_view digits);
    void put(const Chunk& digits, int at, int bits);
    int chunkCount() const { return (digitCount + 63) / 64; }
    Changes commitChunks();

    Chunk* chunks;
    int32_t digitCount;
    bool dirty = false;
    BitString* liveBits = nullptr;
    std::unique_ptr<Chunk[]> wide;
    Chunk narrow{};
};

inline int BitString::commit() {
    dirty = false;
    if (!QK_CHECK(liveBits)) return 1;
    Changes changes;
    if (digitCount <= 64 && liveBits->digitCount == digitCount) {
        changes = changesOf(*chunks, *liveBits->chunks, bitMask(digitCount));
        *liveBits->chunks = *chunks;
    } else {
        changes = commitChunks();
    }
    return classify(changes);
}

inline BitString::Known BitString::knownAt(int at, int bits) const {
    const int shift = at % 64;
    const Chunk* const from = &chunks[at / 64];
    uint64_t known = from->known >> shift, high = from->high >> shift;
    if (shift + bits > 64) {
        known |= from[1].known << (64 - shift);
        high |= from[1].high << (64 - shift);
    }
    known &= bitMask(bits);
    return Known{known, high & known};
}

/// The same reduction on digits in a text. @return a place inside `digits`
const char* reducedDigits(const char* digits);
