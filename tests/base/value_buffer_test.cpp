#include "base/value_buffer.h"

#include <gmock/gmock.h>

#include <cstring>

#include "failed_assertions.h"

namespace {

constexpr int kElements = 3000;

TEST(ValueBufferTest, FindsAndCopiesWhatChanged) {
    for (const int width : {1, 8, 9, 16, 17, 32, 33, 64})
        for (const bool listed : {false, true}) {
            SCOPED_TRACE(testing::Message() << width << (listed ? " listed" : ""));
            const int bytes = width <= 8 ? 1 : width <= 16 ? 2 : width <= 32 ? 4 : 8;
            std::vector<char> live(static_cast<size_t>(kElements * bytes));
            const auto buffer =
                ValueBuffer::make(nullptr, live.data(), nullptr, width, kElements, listed);
            ASSERT_EQ(buffer->elementCount(), kElements);
            buffer->copyAll();
            EXPECT_EQ(buffer->firstDifference(0), kElements);
            for (const int element : {0, 7, 2047, kElements - 1})  // the highest byte of each
                live[static_cast<size_t>((element + 1) * bytes - 1)] ^= 0x55;
            std::vector<int> found;
            for (int at = 0; (at = buffer->firstDifference(at)) < kElements; ++at)
                found.push_back(at);
            EXPECT_THAT(found, testing::ElementsAre(0, 7, 2047, kElements - 1));
            EXPECT_TRUE(buffer->differs(2047) && !buffer->differs(2046));
            if (listed) {
                const uint32_t list[] = {7, kElements, ~0u, 2047};
                buffer->copyListed(4, list);
                EXPECT_FALSE(buffer->differs(7) || buffer->differs(2047));
                EXPECT_EQ(buffer->firstDifference(1), kElements - 1);
            }
            buffer->copyAll();
            EXPECT_EQ(std::memcmp(buffer->shadow(), live.data(), live.size()), 0);
        }
}

TEST(ValueBufferTest, WhatLiesBetweenElementsIsNotTheirs) {
    char live[10 * 12] = {};
    const auto buffer = ValueBuffer::make(nullptr, live + 8, nullptr, 9, 10, true, 12);
    buffer->copyAll();
    live[2 * 12] = live[5 * 12 + 7] = 1;  // of the part before
    EXPECT_EQ(buffer->firstDifference(0), 10);
    live[3 * 12 + 8] = live[9 * 12 + 9] = 1;
    EXPECT_EQ(buffer->firstDifference(0), 3);
    EXPECT_EQ(buffer->firstDifference(4), 9);
    EXPECT_TRUE(buffer->differs(9));
    const uint32_t list[] = {9, 10, 1, 3, 4};
    buffer->copyListed(2, list);
    EXPECT_FALSE(buffer->differs(9) || buffer->isCurrent());
    buffer->copyListed(5, list);  // with what was written beside them
    EXPECT_TRUE(buffer->isCurrent());
}

TEST(ValueBufferTest, AsksForNoElementBeyondTheEnd) {
    char live[800] = {};
    FailedAssertions failed;
    for (const bool listed : {false, true}) {
        const auto buffer = ValueBuffer::make(nullptr, live, nullptr, 40, 100, listed);
        buffer->copyAll();
        EXPECT_FALSE(buffer->differs(99) || buffer->differs(100) || buffer->differs(-1));
    }
    EXPECT_THAT(failed.take(), testing::ElementsAre("a < bytes", "a >= 0",
                                                    "a < (int)(bytes / sizeof(Type))", "a >= 0"));
}

}  // namespace
