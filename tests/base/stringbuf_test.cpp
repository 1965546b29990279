#include "base/stringbuf.h"

#include <gmock/gmock.h>
#include <malloc.h>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;

std::string repeated(int count) { return std::string(static_cast<size_t>(count), 'y'); }

TEST(StringBufTest, KeepsAChunkMoreWhenTheTextFillsOne) {
    for (const auto& [length, chunks] :
         {std::pair{0, 1u}, {126, 1u}, {127, 2u}, {254, 2u}, {255, 3u}}) {
        StringBuf assigned(repeated(length).c_str()), appended;
        appended.append(repeated(length).c_str());
        for (const StringBuf* text : {&assigned, &appended}) {
            EXPECT_EQ(malloc_usable_size(const_cast<char*>(text->str())) / 128, chunks) << length;
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
    EXPECT_EQ(copy.len(), 12);
    text.format("%s-%s", copy.str(), "x");
    EXPECT_STREQ(text.str(), "first second-x");
    text = copy;
    EXPECT_STREQ(text.str(), "first second");
}

TEST(StringBufTest, RefusesNullAndItsOwnTextAndKeepsTheContents) {
    FailedAssertions failures;
    StringBuf text("abc");
    text.assign(nullptr);
    text.append(nullptr);
    text.assign(text.str());
    text.assign(text.str() + 1, 2);
    text.append(text.str() + 3);
    EXPECT_STREQ(text.str(), "abc");
    const char* const overlap = "!theStr || (s < theStr) || (s > (theStr + len()))";
    EXPECT_THAT(failures.take(), ElementsAre("s", "s", overlap, overlap, overlap));
}

TEST(StringBufTest, FormatsNoMoreThanTheWorkBuffer) {
    FailedAssertions failures;
    StringBuf text;
    text.format("%*d", WORKBUFLEN - 1, 1);
    EXPECT_EQ(text.len(), WORKBUFLEN - 1);
    EXPECT_THAT(failures.take(), testing::IsEmpty());
    text.format("%*d", WORKBUFLEN, 1);
    EXPECT_THAT(failures.take(), ElementsAre("printed_length < WORKBUFLEN"));
}

TEST(StringBufTest, ReadsLinesWithoutLeadingWhiteSpace) {
    std::string input = " \t a b \n  \n" + repeated(WORKBUFLEN) + "\nlast";
    FILE* const file = fmemopen(input.data(), input.size(), "r");
    StringBuf text;
    for (const std::string& line : {std::string("a b \n"), std::string(), repeated(WORKBUFLEN - 1),
                                    std::string("y\n"), std::string("last"), std::string()}) {
        text.readLine(file);
        EXPECT_EQ(text.str(), line);
    }
    std::fclose(file);
}

TEST(StringBufTest, Compares) {
    const struct {
        const char *a, *b;
        int order, caseBlind;
    } cases[] = {{"abc", "ABC", 1, 0},
                 {"az", "Ab", 1, 'Z' - 'B'},
                 {"ab", "abc", -1, -'C'},
                 {"abz", "ab", 1, 'Z'},
                 {"", "", 0, 0},
                 {"_", "a", -1, '_' - 'A'},
                 {"\xff", "a", 1, -1 - 'A'}};
    for (const auto& c : cases) {
        EXPECT_EQ(StringBuf(c.a).compare(c.b), c.order) << c.a;
        EXPECT_EQ(StringBuf(c.a).compare(StringBuf(c.b)), c.order) << c.a;
        EXPECT_EQ(StringBuf(c.a).compareNoCase(c.b), c.caseBlind) << c.a;
    }
}

}  // namespace
