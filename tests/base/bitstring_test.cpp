#include "base/bitstring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "failed_assertions.h"

namespace {

using Failed = std::vector<std::string>;

struct Bits : BitString {
    explicit Bits(const char* digits) : BitString(static_cast<int>(std::strlen(digits))) {
        setDigits(digits, -1, -1);
    }
};

TEST(BitStringTest, WritesAFieldExtendedToTheLeft) {
    const struct {
        const char* digits;
        int at, bits;
        const char* text;
        Failed failed;
    } cases[] = {
        {"01xzXZ01", -1, -1, "01xzXZ01", {}},
        {"10", -1, 8, "00000010", {}},
        {"x1", 0, 4, "XXXXxxx1", {}},
        {"Z", 5, 3, "ZZZXXXXX", {}},
        {"01", 7, 1, "XXXXXXXX", {"l <= nbits"}},
        {"1", -1, 7, "00000001", {"(nbits < 0) || (nbits == width)"}},
        {"1", 6, 3, "XXXXXXXX", {"(at + nbits) <= width"}},
        {"1", INT32_MAX, 2, "XXXXXXXX", {"(at + nbits) <= width"}},
        {"", 0, -1, "XXXXXXXX", {"l <= nbits"}},
    };
    FailedAssertions failures;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.digits << " at " << c.at << " of " << c.bits);
        BitString string(8);
        EXPECT_FALSE(string.isDirty());
        string.setDigits(c.digits, c.at, c.bits);
        EXPECT_STREQ(string.text(), c.text);
        EXPECT_TRUE(string.isDirty());
        EXPECT_EQ(failures.take(), c.failed);
    }
}

TEST(BitStringTest, AnswersDigitsFromTheLowEnd) {
    FailedAssertions failures;
    const Bits bits("z01");
    EXPECT_EQ(bits.digitAt(0), '1');
    EXPECT_EQ(bits.digitAt(2), 'z');
    EXPECT_EQ(failures.take(), Failed{});
    bits.digitAt(3);
    bits.digitAt(-1);
    EXPECT_EQ(failures.take(), Failed(2, "(o >= 0) && (o < width)"));
}

TEST(BitStringTest, CommitsAndClassifiesTheChange) {
    const struct {
        const char *pending, *live;
        int change;
        Failed failed;
    } cases[] = {
        {"01xz", "01xz", 1, {}}, {"0", "1", 2, {}},      {"z", "1", 3, {}},    {"1", "z", 2, {}},
        {"x", "z", 1, {}},       {"X", "x", 1, {}},      {"0x", "11", 2, {}},  {"x0", "11", 2, {}},
        {"Zx", "z0", 3, {}},     {"-1", "00", 2, {"0"}}, {"-", "0", 1, {"0"}},
    };
    FailedAssertions failures;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pending) + " onto " + c.live);
        Bits pending(c.pending), live(c.live);
        pending.link(&live);
        EXPECT_EQ(pending.commit(), c.change);
        EXPECT_STREQ(live.text(), c.pending);
        EXPECT_FALSE(pending.isDirty());
        EXPECT_EQ(failures.take(), c.failed);
    }
    Bits unlinked("1"), live("0");
    unlinked.commit();
    EXPECT_EQ(failures.take(), Failed{"liveBits"});
    unlinked.link(&live);
    unlinked.link(&live);
    EXPECT_EQ(failures.take(), Failed{"!liveBits"});
}

TEST(BitStringTest, PrintsTheShortestForm) {
    const struct {
        const char *digits, *reduced, *unreduced;
    } cases[] = {
        {"0001", "1", "001"}, {"xxx1", "x1", "xxx1"},   {"000", "0", "00"},    {"zz0", "z0", "zz0"},
        {"0x", "x", "x"},     {"1100", "1100", "1100"}, {"00x1", "x1", "0x1"}, {"0", "0", "0"},
        {"XXx", "Xx", "XXx"}, {"ZZ", "Z", "ZZ"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.digits);
        StringBuf out("old");
        Bits(c.digits).printReduced(out, true);
        EXPECT_STREQ(out.str(), c.reduced);
        Bits(c.digits).printReduced(out, false);
        EXPECT_STREQ(out.str(), c.unreduced);
        EXPECT_STREQ(reducedDigits(c.digits), c.reduced);
    }
    EXPECT_STREQ(reducedDigits(""), "");
}

TEST(BitStringTest, PrintsHexadecimalWithLettersFromK) {
    const struct {
        const char *digits, *text;
    } cases[] = {
        {"011010", "=6'h1k"}, {"10011010", "=9k"}, {"1011110011011110", "=lmno"},
        {"1111x1z1", "=p5"},  {"1", "=1'h1"},
    };
    for (const auto& c : cases) {
        StringBuf out("=");
        Bits(c.digits).printHex(out);
        EXPECT_STREQ(out.str(), c.text);
    }
    FailedAssertions failures;
    BitString cut(4);
    cut.setDigits("?", 0, 3);
    StringBuf out;
    cut.printHex(out);
    EXPECT_EQ(failures.take(), Failed(3, "*p"));
}

}  // namespace
