#include "base/bit_range.h"

#include <gmock/gmock.h>

#include <climits>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;

BitRange bitNumber(int number) {
    BitRange range = BitRange::bit();
    range.msb = range.lsb = number;
    return range;
}

TEST(BitRangeTest, KeepsBoundsAndDirection) {
    struct {
        int left, right, msb, lsb, width;
        bool reversed;
    } const cases[] = {
        {3, 3, 3, 3, 1, false},
        {7, 0, 7, 0, 8, false},
        {0, 7, 7, 0, 8, true},
        {-4, 2, 2, -4, 7, true},
        {INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.left << ":" << c.right);
        const BitRange range(c.left, c.right);
        EXPECT_TRUE(range.isRange && !range.isBit);
        EXPECT_EQ(range.msb, c.msb);
        EXPECT_EQ(range.lsb, c.lsb);
        EXPECT_EQ(range.width, c.width);
        EXPECT_EQ(range.reversed, c.reversed);
        EXPECT_EQ(range.left(), c.left);
        EXPECT_EQ(range.right(), c.right);
    }
    const BitRange bit = BitRange::bit();
    EXPECT_TRUE(bit.isBit && !bit.isRange && !bit.reversed && bit.width == 1);
}

TEST(BitRangeTest, EqualityIgnoresDirectionAndWantsRanges) {
    EXPECT_TRUE(BitRange(7, 0).equals(BitRange(0, 7)));
    EXPECT_FALSE(BitRange(7, 0).equals(BitRange(7, 1)));
    EXPECT_FALSE(BitRange(7, 0).equals(BitRange(6, 0)));
    FailedAssertions failed;
    (void)BitRange(7, 0).equals(BitRange());
    EXPECT_THAT(failed.take(), ElementsAre("isRange() && o.isRange()"));
}

TEST(BitRangeTest, JoinsNeighboursAndRefusesOverlap) {
    struct {
        const char* what;
        BitRange range, other;
        bool joins;
        int left, right;
    } const cases[] = {
        {"the same", {3, 0}, {3, 0}, true, 3, 0},
        {"overlap at the bottom", {3, 0}, {3, 1}, false, 3, 0},
        {"overlap at the top", {3, 1}, {3, 0}, false, 3, 1},
        {"same low bit, another high bit", {3, 0}, {4, 0}, false, 3, 0},
        {"one shared bit", {3, 2}, {2, 0}, false, 3, 2},
        {"neighbour below", {7, 4}, {3, 0}, true, 7, 0},
        {"neighbour above", {3, 0}, {7, 4}, true, 7, 0},
        {"gap", {7, 6}, {1, 0}, true, 7, 0},
        {"single bits going down", {1, 1}, {0, 0}, true, 0, 1},
        {"single bits going up", {0, 0}, {1, 1}, true, 1, 0},
        {"ascending by descending", {0, 3}, {7, 4}, false, 0, 3},
        {"ascending by a bit", {0, 3}, {4, 4}, true, 0, 4},
        {"ascending by ascending", {0, 3}, {4, 7}, true, 0, 7},
        {"descending by ascending", {3, 0}, {4, 7}, true, 7, 0},
        {"a bit that is no range", {3, 0}, bitNumber(4), false, 3, 0},
        {"to a bit that is no range", bitNumber(4), {3, 0}, false, 4, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        BitRange range = c.range;
        EXPECT_EQ(range.join(c.other), c.joins);
        EXPECT_EQ(range.left(), c.left);
        EXPECT_EQ(range.right(), c.right);
        EXPECT_EQ(range.width, range.msb - range.lsb + 1);
    }
}

TEST(BitRangeTest, FindsTheOffsetOfAPart) {
    struct {
        const char* what;
        BitRange whole, part;
        int offset;
    } const cases[] = {
        {"equal width, other bounds", {7, 0}, {15, 8}, -1},
        {"low part", {7, 0}, {3, 0}, 0},
        {"high part", {11, 4}, {11, 10}, 6},
        {"one bit", {11, 4}, {6, 6}, 2},
        {"one bit of an ascending range is mirrored", {4, 11}, {6, 6}, 5},
        {"an indexed bit is not", {4, 11}, bitNumber(6), 2},
        {"nor a wider part", {4, 11}, {6, 7}, 2},
        {"a scalar counts as bit -1", {4, -3}, BitRange(), 2},
    };
    for (const auto& c : cases) EXPECT_EQ(c.whole.offsetOf(c.part), c.offset) << c.what;

    FailedAssertions failed;
    (void)BitRange(3, 0).offsetOf(BitRange(7, 0));
    EXPECT_THAT(failed.take(), ElementsAre("b.width() < width()", "(o + b.width()) <= width()"));
    (void)BitRange(3, 0).offsetOf(BitRange(4, 3));
    EXPECT_THAT(failed.take(), ElementsAre("(o + b.width()) <= width()"));
}

}  // namespace
