#include <random>

#include "tests/support/model_test.h"

namespace {

/// A value as a text of digits, its top bit first, and which bit number each digit has.
struct Digits {
    std::string text;
    int left;
    int step;  // from one digit's number to the next
    size_t placeOf(int bit) const { return static_cast<size_t>((bit - left) * step); }
};

class BitsTest : public ModelTest {
protected:
    std::mt19937_64 random{12345};

    int upTo(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }
};

/// A net of `width` bits in parts of random widths, in storage of its own.
struct RandomNet {
    std::vector<uint64_t> storage;
    std::vector<std::pair<int, int>> parts;  // low bit's distance from the value's low end, width
    Digits digits;

    /// Sets the storage from the digits; bits of the storage above a part's width become ones.
    void store(bool invert) {
        for (size_t i = 0; i < parts.size(); ++i) {
            uint64_t value = ~uint64_t{0};
            for (int bit = 0; bit < parts[i].second; ++bit) {
                const auto place =
                    digits.text.size() - 1 - static_cast<size_t>(parts[i].first + bit);
                if ((digits.text[place] == '1') == invert) value &= ~(uint64_t{1} << bit);
            }
            storage[i] = value;
        }
    }
};

TEST_F(BitsTest, RangesAreReadAndWrittenBitByBit) {
    std::vector<RandomNet> nets(120);
    std::vector<QkGRNet> rows;
    std::vector<std::string> names;
    std::vector<bool> inverted;
    for (size_t i = 0; i < nets.size(); ++i) names.push_back("n" + std::to_string(i));
    for (size_t i = 0; i < nets.size(); ++i) {
        RandomNet& n = nets[i];
        const int widths[] = {1, 7, 8, 9, 31, 33, 63, 64, 65, 100, 129, 200};
        const int width = widths[i % 12];
        const bool ascending = i / 12 % 2 == 1, inParts = width > 64 || i % 5 == 0;
        const int low = upTo(9) - 4;
        n.digits = {std::string(static_cast<size_t>(width), '0'), ascending ? low : low + width - 1,
                    ascending ? 1 : -1};
        for (char& c : n.digits.text) c = static_cast<char>('0' + random() % 2);
        for (int at = 0; at < width;) {
            const int take = std::min(inParts ? 1 + upTo(64) : 64, width - at);
            n.parts.emplace_back(at, take);
            at += take;
        }
        n.storage.resize(n.parts.size());
        for (size_t p = 0; p < n.parts.size(); ++p) {
            const auto [from, take] = n.parts[p];
            const int lowest = ascending ? low + width - 1 - from : low + from;
            const int highest = ascending ? lowest - take + 1 : lowest + take - 1;
            rows.push_back(net(0, static_cast<int>(rows.size()) + 1, names[i].c_str(),
                               &n.storage[p], highest, lowest, inParts ? 0x201 : 1));
        }
    }
    registerNets("top", rows);

    for (size_t i = 0; i < nets.size(); ++i) {
        SCOPED_TRACE(names[i]);
        RandomNet& n = nets[i];
        QkName* const record = name(("top." + names[i]).c_str());
        ASSERT_TRUE(record);
        // A lone bit numbered 0 has no bounds; its number is 0 all the same.
        const bool scalar = record->trace->range.isBit;
        if (scalar) n.digits.left = 0;
        QkTrace* const trace = record->trace;
        if (!trace->bits) trace->invert = i % 3 == 0;
        const bool invert = trace->invert;
        n.store(invert);
        const int width = static_cast<int>(n.digits.text.size());
        for (int turn = 0; turn < 40; ++turn) {
            // `bit` is the number of the lowest bit wanted.
            const int bit = n.digits.left + n.digits.step * (upTo(width + 4) - 2);
            const int count = 1 + upTo(64);
            const int64_t last = (bit - n.digits.left) * n.digits.step;  // place of the lowest
            const bool within = last < width && last - (count - 1) >= 0;
            uint64_t got;
            ASSERT_EQ(readBits(record, 0, bit, count, &got), within ? 0 : 1);
            const uint64_t value = random() & bitMask(count);
            if (!within) {
                ASSERT_EQ(writeBits(record, 0, bit, count, value), 1);
                continue;
            }
            uint64_t expected = 0;
            for (int64_t place = last - count + 1; place <= last; ++place)
                expected = expected << 1 | (n.digits.text[static_cast<size_t>(place)] == '1');
            ASSERT_EQ(got, expected) << bit << ", " << count;
            ASSERT_EQ(writeBits(record, 0, bit, count, value), 0);
            for (int k = 0; k < count; ++k)
                n.digits.text[static_cast<size_t>(last - k)] = value >> k & 1 ? '1' : '0';
            const std::vector<uint64_t> written = n.storage;
            n.store(invert);
            for (size_t p = 0; p < n.parts.size(); ++p)
                ASSERT_EQ((written[p] ^ n.storage[p]) & bitMask(n.parts[p].second), 0u);
        }
    }
}

TEST_F(BitsTest, ElementsCountFromTheRightBoundAndOutsideIsRefused) {
    static uint16_t falling[4] = {10, 11, 12, 13}, rising[4] = {20, 21, 22, 23};
    QkGRNet down = net(0, 1, "down", falling, 8, 0, 1 | QK_array);
    down.array_left = 5;
    down.array_right = 2;
    QkGRNet up = net(0, 2, "up", rising, 8, 0, 1 | QK_array);
    up.array_left = -1;
    up.array_right = 2;
    static uint8_t scalar = 3;
    registerNets("top", {down, up, net(0, 3, "s", &scalar, 7, 0)});
    struct {
        const char* name;
        int64_t index;
        int result;
        uint64_t value;
    } const cases[] = {{"top.down", 2, 0, 10}, {"top.down", 5, 0, 13}, {"top.down", 1, 1, 0},
                       {"top.down", 6, 1, 0},  {"top.up", 2, 0, 20},   {"top.up", -1, 0, 23},
                       {"top.up", 3, 1, 0},    {"top.up", -2, 1, 0},   {"top.s", 0, 0, 3},
                       {"top.s", 1, 1, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.index));
        uint64_t got = 99;
        const int width = c.name[4] == 's' ? 8 : 9;
        EXPECT_EQ(readBits(name(c.name), c.index, 0, width, &got), c.result);
        EXPECT_EQ(got, c.value);
        EXPECT_EQ(writeBits(name(c.name), c.index, 0, width, c.value), c.result);
    }
    uint64_t nothing = 99;
    EXPECT_EQ(readBits(name("top.s"), 0, 3, 0, &nothing), 0);
    EXPECT_EQ(nothing, 0u);
    EXPECT_EQ(readBits(name("top.s"), 0, 0, 9, &nothing), 1);
    EXPECT_EQ(readBits(name("top.s"), 0, 0, -1, &nothing), 1);
}

}  // namespace
