#include "base/value_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

namespace {

class ValueBufferTest : public testing::TestWithParam<int> {
protected:
    static constexpr int kElements = 3000;
    int bytes = GetParam() <= 8 ? 1 : GetParam() <= 16 ? 2 : GetParam() <= 32 ? 4 : 8;
    std::vector<char> live = std::vector<char>(static_cast<size_t>(kElements * bytes));

    /// Flips the highest byte of an element.
    void change(int element) { live[static_cast<size_t>((element + 1) * bytes - 1)] ^= 0x55; }
};

TEST_P(ValueBufferTest, FindsAndCopiesWhatChanged) {
    for (const bool listed : {false, true}) {
        const auto buffer =
            ValueBuffer::make(nullptr, live.data(), nullptr, GetParam(), kElements, listed);
        ASSERT_EQ(buffer->elementCount(), kElements);
        buffer->copyAll();
        EXPECT_EQ(buffer->firstDifference(0), kElements);
        for (const int element : {0, 7, 2047, kElements - 1}) change(element);
        std::vector<int> found;
        for (int at = 0; (at = buffer->firstDifference(at)) < kElements; ++at) found.push_back(at);
        EXPECT_EQ(found, (std::vector<int>{0, 7, 2047, kElements - 1}));
        EXPECT_TRUE(buffer->differs(2047));
        EXPECT_FALSE(buffer->differs(2046));
        if (listed) {
            const uint32_t list[] = {7, kElements, ~0u, 2047};
            buffer->copyListed(4, list);
            EXPECT_FALSE(buffer->differs(7));
            EXPECT_FALSE(buffer->differs(2047));
            EXPECT_EQ(buffer->firstDifference(1), kElements - 1);
        }
        buffer->copyAll();
        EXPECT_EQ(std::memcmp(buffer->shadow(), live.data(), live.size()), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, ValueBufferTest, testing::Values(1, 8, 9, 16, 17, 32, 33, 64));

TEST(ValueBufferDeathTest, AsksForNoElementBeyondTheEnd) {
    char live[800] = {};
    const auto plain = ValueBuffer::make(nullptr, live, nullptr, 40, 100, false);
    const auto typed = ValueBuffer::make(nullptr, live, nullptr, 40, 100, true);
    plain->copyAll();
    typed->copyAll();
    EXPECT_FALSE(plain->differs(99));
    EXPECT_DEATH(plain->differs(100), "a < bytes");
    EXPECT_DEATH(typed->differs(100), "sizeof\\(Type\\)");
    EXPECT_DEATH(typed->differs(-1), "a >= 0");
}

}  // namespace
