#include <gtest/gtest.h>

#include "qkzeft_module.h"

TEST(VersionCheckDeathTest, RefusesWhatTheLibraryCannotRun) {
    qk_vercheck(8, 0x020300, 0);
    qk_vercheck(-1, 0x7fffffff, ~1);
    const char* const contact = "Please send this text to your support contact for ZEFT.\n$";
    const struct {
        int library, model, flags;
        const char* says;
    } cases[] = {
        {9, 0x020300, 1,
         "^Error: Runtime Library version 8 is incompatible with\n"
         "       your generated model, version 020300. \\(Your model\n"
         "       requires Runtime Library version 9 or higher\\).\n"},
        {8, 0x0202ff, 1,
         "^Error: Runtime Library version 8 is incompatible with\n"
         "       your generated model, version 0202ff. \\(Your model\n"
         "       must be re-generated using ZEFT 020300 or higher\\).\n"},
        {8, 0x020300, 3,
         "^Error: Your generated model requires the 32-bit version of\n"
         "       the ZEFT Runtime Library \\(-lzeft_32\\)\n"},
    };
    for (const auto& c : cases) {
        if (sizeof(void*) == 4 && c.flags == 3) {
            qk_vercheck(c.library, c.model, c.flags);
            continue;
        }
        EXPECT_EXIT(qk_vercheck(c.library, c.model, c.flags), testing::ExitedWithCode(1),
                    std::string(c.says) + contact);
    }
}
