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
    } const cases[] = {{3, 3, 3, 3, 1, false},
                       {7, 0, 7, 0, 8, false},
                       {0, 7, 7, 0, 8, true},
                       {-4, 2, 2, -4, 7, true},
                       {INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, false}};
    for (const auto& c : cases) {
        const BitRange range(c.left, c.right);
        EXPECT_THAT((std::vector{range.left(), range.right(), range.msb, range.lsb, range.width}),
                    ElementsAre(c.left, c.right, c.msb, c.lsb, c.width));
        EXPECT_TRUE(range.isRange && !range.isBit && range.reversed == c.reversed);
    }
    const BitRange bit = BitRange::bit();
    EXPECT_TRUE(bit.isBit && !bit.isRange && !bit.reversed && bit.width == 1);
    EXPECT_TRUE(BitRange(7, 0).equals(BitRange(0, 7)));
    EXPECT_FALSE(BitRange(7, 0).equals(BitRange(7, 1)));
    EXPECT_FALSE(BitRange(7, 0).equals(BitRange(6, 0)));
    FailedAssertions failed;
    (void)BitRange(7, 0).equals(BitRange());
    EXPECT_THAT(failed.take(), ElementsAre("isRange() && o.isRange()"));
}

TEST(BitRangeTest, JoinsNeighboursAndRefusesOverlap) {
    struct {
        int left, right, otherLeft, otherRight;
        bool joins;
        int leftThen, rightThen;
    } const cases[] = {
        {3, 0, 3, 0, true, 3, 0},  {3, 0, 3, 1, false, 3, 0}, {3, 1, 3, 0, false, 3, 1},
        {3, 0, 4, 0, false, 3, 0}, {3, 2, 2, 0, false, 3, 2}, {7, 4, 3, 0, true, 7, 0},
        {3, 0, 7, 4, true, 7, 0},  {7, 6, 1, 0, true, 7, 0},  {1, 1, 0, 0, true, 0, 1},
        {0, 0, 1, 1, true, 1, 0},  {0, 3, 7, 4, false, 0, 3}, {0, 3, 4, 4, true, 0, 4},
        {0, 3, 4, 7, true, 0, 7},  {3, 0, 4, 7, true, 7, 0},
    };
    for (const auto& c : cases) {
        BitRange range(c.left, c.right);
        EXPECT_EQ(range.join({c.otherLeft, c.otherRight}), c.joins);
        EXPECT_THAT((std::vector{range.left(), range.right(), range.width}),
                    ElementsAre(c.leftThen, c.rightThen, range.msb - range.lsb + 1))
            << &c - cases;
    }
    EXPECT_FALSE(BitRange(3, 0).join(bitNumber(4)));
    EXPECT_FALSE(bitNumber(4).join({3, 0}));
}

TEST(BitRangeTest, FindsTheOffsetOfAPart) {
    struct {
        int left, right, partLeft, partRight, offset;
    } const cases[] = {
        {7, 0, 15, 8, -1}, {7, 0, 3, 0, 0},  {11, 4, 11, 10, 6},
        {11, 4, 6, 6, 2},  {4, 11, 6, 6, 5}, {4, 11, 6, 7, 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(BitRange(c.left, c.right).offsetOf({c.partLeft, c.partRight}), c.offset)
            << &c - cases;
    EXPECT_EQ(BitRange(4, 11).offsetOf(bitNumber(6)), 2);  // an indexed bit is not mirrored
    EXPECT_EQ(BitRange(4, -3).offsetOf(BitRange()), 2);    // a scalar counts as bit -1
    FailedAssertions failed;
    (void)BitRange(3, 0).offsetOf(BitRange(7, 0));
    EXPECT_THAT(failed.take(), ElementsAre("b.width() < width()", "(o + b.width()) <= width()"));
    (void)BitRange(3, 0).offsetOf(BitRange(4, 3));
    EXPECT_THAT(failed.take(), ElementsAre("(o + b.width()) <= width()"));
}

}  // namespace
