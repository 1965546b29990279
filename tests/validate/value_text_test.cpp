// How values that differ are shown.
#include "validate/value_text.h"

#include <gtest/gtest.h>

namespace {

std::string repeat(const char* digits, int count) {
    std::string text;
    while (count-- > 0) text += digits;
    return text;
}

TEST(ValueTextTest, AlignsTwoValuesAndMarksTheirDifferences) {
    const struct {
        std::string first, second, marked;
        const char *a, *b, *marks;
    } cases[] = {
        {"1", "0", "1", "1", "0", "^"},
        {"0x10z010", "00010010", "00010000", "0x10z010", "00010010", "   ^"},
        {"000000001", "100000000", "100000001", "9'h001", "9'h100", "   ^ ^"},
        {"000001001", "000001010", "000000011", "9'h9", "9'ha", "   ^"},
        {repeat("0", 16), repeat("0", 16), repeat("0", 16), "16'h0", "16'h0", ""},
        {"xxxx1x00zzzz01z0", "0000110000000110", "0000000000000001", "16'hxXzZ", "16'h0c06",
         "       ^"},
        {repeat("0", 4) + "10" + repeat("00010010001101000101011001111000", 2),
         repeat("0", 5) + "0" + repeat("00010010001101000101011001111001", 2),
         "000010" + repeat("0", 31) + "1" + repeat("0", 31) + "1", "70'h2_1234_5678_1234_5678",
         "70'h0_1234_5679_1234_5679", "    ^         ^         ^"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.a);
        const ValueText form({c.first, c.second});
        EXPECT_EQ(form.of(c.first), c.a);
        EXPECT_EQ(form.of(c.second), c.b);
        EXPECT_EQ(form.marks(c.marked), c.marks);
    }
}

TEST(ValueTextTest, LiteralsHaveAllDigits) {
    for (const auto& [digits, literal] : std::initializer_list<std::pair<const char*, const char*>>{
             {"1", "1'h1"}, {"x1", "2'hX"}, {"00011111", "8'h1f"}, {"1zzzz", "5'h1z"}})
        EXPECT_EQ(hexLiteral(digits), literal);
}

}  // namespace
