#include "base/id_code.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(IdCodeTest, CountsInPlaceWithCarries) {
    char text[kIdCodeMaxLength + 1];
    std::string code;
    for (uint32_t number = 1; number < 850000; ++number) {
        size_t at = 0;
        while (at < code.size() && ++code[at] == 127) code[at++] = '!';
        if (at == code.size()) code += '!';
        ASSERT_EQ(idCodeText(number, text), static_cast<int>(code.size()));
        ASSERT_EQ(text, code) << number;
    }
    EXPECT_EQ(idCodeText(UINT32_MAX, text), kIdCodeMaxLength);
}

}  // namespace
