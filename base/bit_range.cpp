#include "base/bit_range.h"

#include <climits>

#include "base/qkassert.h"

namespace {

int widthOf(int msb, int lsb) {
    const int64_t width = int64_t{msb} - lsb + 1;
    return width > INT_MAX ? INT_MAX : static_cast<int>(width);
}

}  // namespace

BitRange::BitRange(int left, int right) : isRange(true), reversed(left < right) {
    msb = reversed ? right : left;
    lsb = reversed ? left : right;
    width = widthOf(msb, lsb);
}

BitRange BitRange::bit() {
    BitRange range;
    range.isBit = true;
    return range;
}

bool BitRange::equals(const BitRange& other) const {
    QK_ASSERT_AS(isRange && other.isRange, "isRange() && o.isRange()");
    return hasSameBounds(other);
}

bool BitRange::join(const BitRange& other) {
    if (!isRange || !other.isRange) return false;
    if (reversed && !other.reversed && other.width != 1) return false;
    if (width == 1 && other.width == 1) reversed = lsb > other.lsb;
    if (lsb == other.lsb) return msb == other.msb;
    if (lsb > other.lsb) {
        if (lsb <= other.msb) return false;
        lsb = other.lsb;
    } else {
        if (msb >= other.lsb) return false;
        msb = other.msb;
    }
    width = widthOf(msb, lsb);
    return true;
}

int BitRange::offsetOf(const BitRange& part) const {
    if (width == part.width) return -1;
    QK_ASSERT_AS(part.width < width, "b.width() < width()");
    int64_t offset = int64_t{part.isRange || part.isBit ? part.lsb : -1} - lsb;
    if (part.isRange && part.width == 1 && reversed) offset = width - offset - 1;
    QK_ASSERT_AS(offset + part.width <= width, "(o + b.width()) <= width()");
    return static_cast<int>(offset);
}
