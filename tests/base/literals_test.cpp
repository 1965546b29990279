#include "base/literals.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iomanip>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "failed_assertions.h"
#include "qkzeft_run.h"

namespace {

using testing::ElementsAre;
using Chunks = std::vector<uint64_t>;
using List = std::unique_ptr<QkMaxuList, void (*)(QkMaxuList*)>;

List parsed(const std::string& text) {
    QkMaxuList* list = nullptr;
    const bool isRead = parseValue(text.c_str(), list);
    EXPECT_EQ(isRead, list != nullptr) << text;
    return {list, freeList};
}

Chunks chunksOf(const QkMaxuList* list) {
    Chunks chunks;
    const QkMaxuList* below = nullptr;
    for (; list; below = list, list = list->next) {
        EXPECT_EQ(list->prev, below);
        chunks.push_back(list->value);
    }
    return chunks;
}

/// The chunks in hexadecimal, all but the top one with 16 digits.
std::string hexOf(const QkMaxuList* list) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    const Chunks chunks = chunksOf(list);
    for (auto chunk = chunks.rbegin(); chunk != chunks.rend(); ++chunk) {
        text << std::setw(chunk == chunks.rbegin() ? 1 : 16) << *chunk;
    }
    return text.str();
}

TEST(ParseValueTest, ReadsEveryForm) {
    const struct {
        const char *text, *value;
    } cases[] = {
        {"0", "0"},
        {" \t42\n", "2a"},
        {"0 ", "0"},
        {"1_000", "3e8"},
        {"1__0_", "a"},
        {"010", "8"},
        {"000", "0"},
        {"0x1F", "1f"},
        {"0Xdeadbeef01234567", "deadbeef01234567"},
        {"8'b1", "1"},
        {"8'B1111_1111", "ff"},
        {"'o17", "f"},
        {"'D10", "a"},
        {"12'hAbC", "abc"},
        {" 12 'h abc ", "abc"},
        {"4'h000f", "f"},
        {"1'd1", "1"},
        {"128'h1", "1"},
        {"64'hffff_ffff_ffff_ffff", "ffffffffffffffff"},
        {"2147483646'h1", "1"},
        {"65'h1_0000_0000_0000_0000", "10000000000000000"},
        {"4'd00000000000000000000009", "9"},
        {"16#ff#", "ff"},
        {" 2#1_01#  ", "5"},
        {"8#17#", "f"},
        {"10#99#", "63"},
        {"016#Ff#", "ff"},
        {"18446744073709551615", "ffffffffffffffff"},
        {"18446744073709551616", "10000000000000000"},
        {"99999999999999999999", "56bc75e2d630fffff"},
        // A leading zero that fills a chunk makes one.
        {"0x00000000000000001", "00000000000000001"},
        {"123456789012345678901234567890", "18ee90ff6c373e0ee4e3f0ad2"},
        // Octal digits do not fill a chunk evenly: the 22nd has two bits above it.
        {"'o1777777777777777777777", "ffffffffffffffff"},
        {"'o0001777777777777777777777", "0ffffffffffffffff"},
        {"'o4000000000000000000000", "20000000000000000"},
    };
    for (const auto& c : cases) EXPECT_EQ(hexOf(parsed(c.text).get()), c.value) << c.text;
}

TEST(ParseValueTest, RefusesWhatIsNoLiteral) {
    struct {
        const char *what, *texts;  // the texts end with a bar each
    } const cases[] = {
        {"no digits, or others", "|  |x|-1|+1|1.5|12a|_1|1 2|\xff|"},
        {"prefixes, with strict digits", "0x|0x |0x 1|0xg|0x1_0|08|0 1|0_7|0b1|"},
        {"a letter as radix", "'|8'|'h|8'h|8'x1|8'sh1|8' h1|'h_1|'h1 2|'b2|'o8|'da|8'h1'|"},
        {"sizes", "0'h0|8_0'h1|-8'h1|a'h1|1 2'h1|2147483647'h1|99999999999999999999'h1|"},
        {"values beyond their size",
         "4'd16|1'b10|3'o10|8'h100|64'h1_0000_0000_0000_0000|"
         "64'd18446744073709551616|"},
        {"a number as radix", "#|##|#1#|16#|16#1|16##|3#12#|1_6#1#|#16#ff#|0#0#|2#2#|16#_f#|"},
        {"white space and more around the marks",
         "16 #1#|16# 1#|16#1 #|16#1 1#|16#1#1|16#ff# x|"
         "16#f#f#|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::istringstream texts(c.texts);
        for (std::string text; std::getline(texts, text, '|');) {
            EXPECT_EQ(parsed(text), nullptr) << text;
        }
    }
}

/// Decimal digits of a value, found by doubling: nothing like the way they are read.
std::string decimalOf(const std::string& binary) {
    std::string reversed = "0";
    for (const char bit : binary) {
        int carry = bit - '0';
        for (char& digit : reversed) {
            const int doubled = (digit - '0') * 2 + carry;
            digit = static_cast<char>('0' + doubled % 10);
            carry = doubled / 10;
        }
        if (carry != 0) reversed += '1';
    }
    return {reversed.rbegin(), reversed.rend()};
}

/// Digits of `bits` bits each.
std::string groupedDigits(std::string binary, size_t bits) {
    binary.insert(0, (bits - binary.size() % bits) % bits, '0');
    std::string digits;
    for (size_t i = 0; i < binary.size(); i += bits) {
        digits += "0123456789aBcDEf"[std::stoi(binary.substr(i, bits), nullptr, 2)];
    }
    return digits;
}

TEST(ParseValueTest, ReadsRandomValuesOfAnyWidthInEveryRadix) {
    const unsigned seed = 20240611;
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 400; ++round) {
        const size_t width = round < 200 ? static_cast<size_t>(round) + 1 : random() % 1000 + 1;
        std::string binary = "1";
        while (binary.size() < width) binary += random() % 4 != 0 ? '1' : '0';
        Chunks expected((width + 63) / 64);
        for (size_t i = 0; i < width; ++i) {
            expected[i / 64] |= uint64_t{binary[width - 1 - i] == '1'} << i % 64;
        }
        const std::string bodies[] = {"'b" + binary, "'o" + groupedDigits(binary, 3),
                                      "'d" + decimalOf(binary), "'h" + groupedDigits(binary, 4)};
        for (std::string body : bodies) {
            SCOPED_TRACE(body);
            body.insert(3 + random() % (body.size() - 2), "_");
            const List list = parsed(std::to_string(width) + body);
            ASSERT_NE(list, nullptr);
            EXPECT_EQ(chunksOf(list.get()), expected);
            EXPECT_EQ(listWidth(list.get()), static_cast<int>(width));
            EXPECT_EQ(parsed(std::to_string(width - 1) + body), nullptr);
        }
    }
}

TEST(ParseValueTest, ReadsVeryLongDecimals) {
    const List list = parsed("1" + std::string(64999, '0'));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(listWidth(list.get()), 215923);
    // 10^64999 is a multiple of 2^64999 and of no higher power.
    const Chunks chunks = chunksOf(list.get());
    EXPECT_TRUE(
        std::all_of(chunks.begin(), chunks.begin() + 1015, [](uint64_t c) { return c == 0; }));
    EXPECT_EQ(chunks[1015] & (~uint64_t{0} >> 24), uint64_t{1} << 39);
}

TEST(ValueListTest, CopiesAndMeasures) {
    struct {
        const char* text;
        int width;
    } const cases[] = {
        {"0", 0},
        {"1", 1},
        {"0xff", 8},
        {"0x8000000000000000", 64},
        {"0x10000000000000000", 65},
        {"0x000000000000000001", 64},
        {"'h1_0000000000000000_0000000000000000", 129},
    };
    for (const auto& c : cases) {
        const List list = parsed(c.text);
        EXPECT_EQ(listWidth(list.get()), c.width) << c.text;
        const List copy(copyList(list.get()), freeList);
        EXPECT_NE(copy, list);
        EXPECT_EQ(chunksOf(copy.get()), chunksOf(list.get())) << c.text;
    }
    EXPECT_EQ(listWidth(nullptr), 0);
    EXPECT_EQ(copyList(nullptr), nullptr);
    freeList(nullptr);
}

TEST(ValueListTest, AFullListIsNotOverwritten) {
    const List list = parsed("7");
    QkMaxuList* full = list.get();
    FailedAssertions failed;
    EXPECT_FALSE(parseValue("8", full));
    EXPECT_THAT(failed.take(), ElementsAre("!list"));
    EXPECT_EQ(full, list.get());
}

TEST(AtottmaxuTest, ReadsANumberAndSaysWhereItStopped) {
    struct {
        const char* text;
        uint64_t value;
        const char* rest;
    } const cases[] = {
        {"", 0, ""},
        {" \n+0042 x", 42, " x"},
        {"abc", 0, "abc"},
        {"++1", 0, "+1"},
        {"-1", 0, "-1"},
        {"010", 10, ""},
        {"1_000", 1, "_000"},
        {"123456789012", 123456789012, ""},
        {"18446744073709551615", UINT64_MAX, ""},
        {"18446744073709551617", 1, ""},
        {"0x1f", 31, ""},
        {"+000X1Fg", 31, "g"},
        {"0x", 0, ""},
        {"x1f", 0, "x1f"},
        {"x\"1F\" ", 31, " "},
        {"X\"1f", 31, ""},
        {"x\"", 0, ""},
        {"0x\"1\"", 0, "\"1\""},
        {"'d10", 16, ""},
        {"00'hff", 255, ""},
        {"8'hff", 8, "'hff"},
        {"'", 0, "'"},
        {"'h", 0, ""},
        {"0x_1_f", 31, ""},
        {"0x0123456789abcdef0", 0x0123456789abcdef, "0"},
        {"0x_fedcba987654321_0", 0xfedcba987654321, "_0"},
        {"x\"fedcba98765432100\"", 0xfedcba9876543210, "0\""},
    };
    for (const auto& c : cases) {
        const char* end = nullptr;
        EXPECT_EQ(atottmaxu(c.text, &end), c.value) << c.text;
        EXPECT_STREQ(end, c.rest) << c.text;
        EXPECT_EQ(atottmaxu(c.text, nullptr), c.value);
    }
}

}  // namespace
