#include "base/bitstring.h"

#include <gmock/gmock.h>

#include <cstring>
#include <random>
#include <string>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;
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
        const char *text, *failed;
    } cases[] = {
        {"01xzXZ01", -1, -1, "01xzXZ01", ""},
        {"10", -1, 8, "00000010", ""},
        {"x1", 0, 4, "XXXXxxx1", ""},
        {"Z", 5, 3, "ZZZXXXXX", ""},
        {"01", 7, 1, "XXXXXXXX", "l <= nbits"},
        {"", 0, -1, "XXXXXXXX", "l <= nbits"},
        {"1", -1, 7, "00000001", "(nbits < 0) || (nbits == width)"},
        {"1", 6, 3, "XXXXXXXX", "(at + nbits) <= width"},
        {"1", INT32_MAX, 2, "XXXXXXXX", "(at + nbits) <= width"},
    };
    FailedAssertions failures;
    for (const auto& c : cases) {
        BitString string(8);
        string.setDigits(c.digits, c.at, c.bits);
        EXPECT_EQ(string.text(), c.text) << c.digits << " at " << c.at << " of " << c.bits;
        EXPECT_THAT(failures.take(), Failed(*c.failed ? 1 : 0, c.failed));
    }
}

TEST(BitStringTest, CommitsAndClassifiesAtEveryWidth) {
    // A plain string of digits is the model; fields cross the chunks of 64.
    std::mt19937 random(1);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    for (const int width : {1, 2, 7, 8, 63, 64, 65, 128, 129, 200}) {
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
            ASSERT_TRUE(pending.isDirty());
            ASSERT_EQ(pending.commit(), change);
            ASSERT_FALSE(pending.isDirty());
            ASSERT_EQ(live.text(), before = model);
            const int part = std::min(bits, 64);
            const BitString::Known known = live.knownAt(at, part);
            for (int i = 0; i < 64; ++i) {
                ASSERT_EQ(known.known >> i & 1, i < part && live.digitAt(at + i) < 'A');
                ASSERT_EQ(known.ones >> i & 1, i < part && live.digitAt(at + i) == '1');
            }
        }
    }
}

TEST(BitStringTest, AssertsItsUse) {
    FailedAssertions failures;
    Bits pending("1-0"), live("000");
    pending.commit();
    pending.link(&live);
    pending.link(&live);
    EXPECT_EQ(pending.commit(), 2);
    EXPECT_EQ(live.text(), "1?0");
    EXPECT_EQ(live.digitAt(2), '1');
    live.digitAt(3);
    live.digitAt(-1);
    const char* const outside = "(o >= 0) && (o < width)";
    EXPECT_THAT(failures.take(), ElementsAre("liveBits", "!liveBits", "0", outside, outside));
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
        StringBuf reduced("old"), unreduced("old");
        Bits(c.digits).printReduced(reduced, true);
        Bits(c.digits).printReduced(unreduced, false);
        EXPECT_STREQ(reduced.str(), c.reduced);
        EXPECT_STREQ(unreduced.str(), c.unreduced);
        EXPECT_STREQ(reducedDigits(c.digits), c.reduced);
    }
    EXPECT_STREQ(reducedDigits(""), "");
}

TEST(BitStringTest, PrintsHexadecimalWithLettersFromK) {
    StringBuf out("=");
    for (const char* const digits : {"011010", "10011010", "1011110011011110", "1111x1z1", "1"})
        Bits(digits).printHex(out);
    EXPECT_STREQ(out.str(), "=6'h1k9klmnop51'h1");
    FailedAssertions failures;
    Bits("0?").printHex(out);
    EXPECT_THAT(failures.take(), ElementsAre("*p"));
}

}  // namespace
