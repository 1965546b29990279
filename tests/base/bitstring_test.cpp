#include "base/bitstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
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
        EXPECT_EQ(string.text(), c.text);
        EXPECT_TRUE(string.isDirty());
        EXPECT_EQ(failures.take(), c.failed);
    }
}

TEST(BitStringTest, IsAsGoodWide) {
    // A plain string of digits is the model; fields cross the chunks of 64.
    std::mt19937 random(1);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (const int width : {1, 7, 8, 63, 64, 65, 128, 129, 200}) {
        SCOPED_TRACE(width);
        BitString pending(width), live(width);
        pending.link(&live);
        std::string model(static_cast<size_t>(width), 'X'), before = model;
        for (int round = 0; round < 300; ++round) {
            const int bits = 1 + below(width), at = below(width - bits + 1);
            std::string digits;
            for (int i = 1 + below(bits); i > 0; --i)
                digits += (round % 2 ? "01" : "01xzXZ")[below(round % 2 ? 2 : 6)];
            pending.setDigits(digits, at, bits);
            const char filler = digits[0] == '1' ? '0' : digits[0];
            digits.insert(0, static_cast<size_t>(bits) - digits.size(), filler);
            model.replace(static_cast<size_t>(width - at - bits), digits.size(), digits);
            ASSERT_EQ(pending.text(), model);

            int change = 1;
            for (size_t i = 0; i < model.size(); ++i) {
                const bool known = model[i] < 'A', wasKnown = before[i] < 'A';
                if (known && model[i] != before[i]) change = 2;
                if (!known && wasKnown && change == 1) change = 3;
            }
            ASSERT_EQ(pending.commit(), change);
            ASSERT_EQ(live.text(), before = model);
            uint64_t known = 0, ones = 0;
            const int part = std::min(bits, 64);
            for (int i = part; i-- > 0;) {
                known = known << 1 | (live.digitAt(at + i) < 'A');
                ones = ones << 1 | (live.digitAt(at + i) == '1');
            }
            ASSERT_EQ(live.knownAt(at, part).known, known);
            ASSERT_EQ(live.knownAt(at, part).ones, ones);
        }
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
        const char* text;
        Failed failed;
    } cases[] = {
        {"01xz", "01xz", 1, "01xz", {}}, {"0", "1", 2, "0", {}},    {"z", "1", 3, "z", {}},
        {"1", "z", 2, "1", {}},          {"x", "z", 1, "x", {}},    {"X", "x", 1, "X", {}},
        {"0x", "11", 2, "0x", {}},       {"x0", "11", 2, "x0", {}}, {"Zx", "z0", 3, "Zx", {}},
        {"-1", "00", 2, "?1", {"0"}},    {"-", "0", 1, "?", {"0"}},
    };
    FailedAssertions failures;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pending) + " onto " + c.live);
        Bits pending(c.pending), live(c.live);
        pending.link(&live);
        EXPECT_EQ(pending.commit(), c.change);
        EXPECT_EQ(live.text(), c.text);
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
