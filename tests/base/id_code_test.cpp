#include "base/id_code.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string codeOf(uint32_t number) {
    char text[kIdCodeMaxLength + 1];
    const int length = idCodeText(number, text);
    EXPECT_EQ(text[length], '\0');
    return text;
}

TEST(IdCodeTest, CarriesFromEachLengthToTheNext) {
    struct {
        uint32_t number;
        const char* code;
    } const cases[] = {
        {1, "!"},      {2, "\""},      {94, "~"},       {95, "!!"},
        {96, "\"!"},   {188, "~!"},    {189, "!\""},    {94 + 94 * 94, "~~"},
        {8931, "!!!"}, {8932, "\"!!"}, {839514, "~~~"}, {839515, "!!!!"},
    };
    for (const auto& c : cases) EXPECT_EQ(codeOf(c.number), c.code) << c.number;
    EXPECT_EQ(codeOf(UINT32_MAX).size(), size_t{kIdCodeMaxLength});
}

void stepInPlace(std::string& code) {
    for (char& c : code) {
        if (++c != 127) return;
        c = '!';
    }
    code += '!';
}

TEST(IdCodeTest, FollowsTheCountInPlaceWithCarries) {
    std::string code;
    for (uint32_t number = 1; number < 850000; ++number) {
        stepInPlace(code);
        ASSERT_EQ(codeOf(number), code) << number;
    }
}

}  // namespace
