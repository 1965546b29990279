#include "base/stringbuf.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <climits>
#include <cstring>
#include <memory>

#include "failed_assertions.h"

namespace {

using Failed = std::vector<std::string>;

constexpr char kOverlap[] = "!theStr || (s < theStr) || (s > (theStr + len()))";

std::string repeated(int count) { return std::string(static_cast<size_t>(count), 'y'); }

TEST(StringBufTest, KeepsAChunkMoreWhenTheTextFillsOne) {
    for (const auto& [length, atLeast, below] : {std::tuple{0, 128u, 256u},
                                                 {126, 128u, 256u},
                                                 {127, 256u, 384u},
                                                 {254, 256u, 384u},
                                                 {255, 384u, 512u}}) {
        SCOPED_TRACE(length);
        StringBuf assigned(repeated(length).c_str()), appended;
        appended.append(repeated(length).c_str());
        for (const StringBuf* text : {&assigned, &appended}) {
            const size_t block = malloc_usable_size(const_cast<char*>(text->str()));
            EXPECT_GE(block, atLeast);
            EXPECT_LT(block, below);
            EXPECT_EQ(text->str(), repeated(length));
        }
    }
}

TEST(StringBufTest, ReplacesAndExtends) {
    StringBuf text("first");
    text.append(" second");
    const StringBuf copy(text);
    text.assign("abcdef", 3);
    EXPECT_STREQ(text.str(), "abc");
    EXPECT_STREQ(copy.str(), "first second");
    EXPECT_EQ(copy.len(), 12);
    text.format("%d", 1);
    text.format("%s-%s", copy.str(), "x");
    EXPECT_STREQ(text.str(), "first second-x");
    text = copy;
    EXPECT_STREQ(text.str(), "first second");
}

TEST(StringBufTest, RefusesNullAndItsOwnTextAndKeepsTheContents) {
    FailedAssertions failures;
    StringBuf text("abc");
    const struct {
        const char* what;
        void (*act)(StringBuf&);
        Failed failed;
    } cases[] = {
        {"null", [](StringBuf& t) { t.assign(nullptr); }, {"s"}},
        {"appended null", [](StringBuf& t) { t.append(nullptr); }, {"s"}},
        {"itself", [](StringBuf& t) { t.assign(t.str()); }, {kOverlap}},
        {"its tail", [](StringBuf& t) { t.assign(t.str() + 1); }, {kOverlap}},
        {"its terminator", [](StringBuf& t) { t.append(t.str() + 3); }, {kOverlap}},
        {"its head", [](StringBuf& t) { t.assign(t.str(), 2); }, {kOverlap}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.act(text);
        EXPECT_EQ(failures.take(), c.failed);
        EXPECT_STREQ(text.str(), "abc");
    }
}

TEST(StringBufTest, FormatsNoMoreThanTheWorkBuffer) {
    FailedAssertions failures;
    StringBuf text;
    text.format("%*d", WORKBUFLEN - 1, 1);
    EXPECT_EQ(text.len(), WORKBUFLEN - 1);
    EXPECT_EQ(failures.take(), Failed{});
    text.format("%*d", WORKBUFLEN, 1);
    EXPECT_EQ(failures.take(), Failed{"printed_length < WORKBUFLEN"});
}

TEST(StringBufTest, ReadsLinesWithoutLeadingWhiteSpace) {
    const std::string input = " \t a b \n  \n" + repeated(WORKBUFLEN) + "\nlast";
    const std::unique_ptr<FILE, int (*)(FILE*)> file(
        fmemopen(const_cast<char*>(input.data()), input.size(), "r"), std::fclose);
    StringBuf text;
    for (const std::string& line : {std::string("a b \n"), std::string(), repeated(WORKBUFLEN - 1),
                                    std::string("y\n"), std::string("last"), std::string()}) {
        text.readLine(file.get());
        EXPECT_EQ(text.str(), line);
    }
}

TEST(StringBufTest, Compares) {
    const struct {
        const char *a, *b;
        int order, caseBlind;
    } cases[] = {
        {"abc", "abc", 0, 0},
        {"abc", "ABC", 1, 0},
        {"ab", "abc", -1, -'C'},
        {"abz", "ab", 1, 'Z'},
        {"", "", 0, 0},
        {"az", "Ab", 1, 'Z' - 'B'},
        {"_", "a", -1, '_' - 'A'},
        {"\xff", "a", 1, -1 - 'A'},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.a) + " " + c.b);
        EXPECT_EQ(StringBuf(c.a).compare(c.b), c.order);
        EXPECT_EQ(StringBuf(c.a).compare(StringBuf(c.b)), c.order);
        EXPECT_EQ(StringBuf(c.a).compareNoCase(c.b), c.caseBlind);
    }
}

#ifndef __SANITIZE_ADDRESS__  // that allocator ends the run in its own way
TEST(StringBufTest, EndsTheRunWhenMemoryIsOut) {
    const auto assignTooMuch = [] {
        const rlimit limit{rlim_t{1} << 30, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &limit);
        StringBuf().assign("", INT_MAX);
    };
    EXPECT_EXIT(assignTooMuch(), testing::ExitedWithCode(1), "^realloc failed for StringBuf\n$");
}
#endif

}  // namespace
