// The bits that a declaration covers.
#pragma once

#include <cstdint>

/// Bit bounds of a net. With isRange and isBit both false: a scalar without range information.
struct BitRange {
    int msb = 0;            ///< the higher bit number, whatever the declaration's direction
    int lsb = 0;            ///< the lower bit number
    int width = 1;          ///< msb - lsb + 1
    bool isRange = false;   ///< a declared range
    bool isBit = false;     ///< a single bit, selected by index `lsb`
    bool reversed = false;  ///< a declared range, ascending: left bound below the right one

    /// A scalar.
    BitRange() = default;
    /// The declared range [left:right]. A width that does not fit an int saturates.
    BitRange(int left, int right);
    /// A single bit without bounds.
    static BitRange bit();

    /// Bounds as declared.
    int left() const { return reversed ? lsb : msb; }
    int right() const { return reversed ? msb : lsb; }

    /// @return the number of the bit that is `place` bits above the lowest bit of the value
    int64_t bitAt(int64_t place) const { return reversed ? msb - place : lsb + place; }
    /// @return how far above the lowest bit of the value the lowest bit of `part` is, a range of
    ///         bits among these
    int placeOf(const BitRange& part) const { return reversed ? msb - part.msb : part.lsb - lsb; }
    /// @return whether the bits from `first` to `last` are among these, in their direction
    bool contains(int first, int last) const {
        const int low = reversed ? first : last, high = reversed ? last : first;
        return low <= high && low >= lsb && high <= msb;
    }
    bool hasSameBounds(const BitRange& other) const { return msb == other.msb && lsb == other.lsb; }

    /// @return whether both cover the same bits; direction is ignored. Both must be ranges.
    bool equals(const BitRange& other) const;
    /// Extends this range by another that does not overlap it; a gap between them is included.
    /// @return false, changing nothing but possibly `reversed`, when they overlap unequally
    bool join(const BitRange& other);
    /// @return the offset of `part`'s low bit inside this range; -1 when the widths are equal
    int offsetOf(const BitRange& part) const;
};
