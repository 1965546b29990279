// Tagged memory, and reading nets by address or name.
#include <cstring>

#include "tests/support/model_test.h"

namespace {

using MemoryTest = ModelTest;

TEST_F(MemoryTest, BlocksAreGivenOrTheProcessEnds) {
    GTEST_FLAG_SET(death_test_style, "fast");
    char* const block = static_cast<char*>(qk_malloc(4, "test"));
    std::strcpy(block, "abc");
    void* const grown = qk_realloc(block, 100'000, "test");
    EXPECT_STREQ(static_cast<char*>(grown), "abc");
    EXPECT_EQ(qk_realloc(grown, 0, "test"), nullptr);
    qk_free(nullptr);
    volatile size_t tooMuch = SIZE_MAX / 2 + 4096;
    EXPECT_EXIT(qk_malloc(tooMuch, "a net"), testing::ExitedWithCode(1),
                "\\bmalloc failed for a net\n$");
    EXPECT_EXIT(qk_realloc(nullptr, tooMuch, "it"), testing::ExitedWithCode(1),
                "\\brealloc failed for it\n$");
}

TEST_F(MemoryTest, ValuesAreReadByWidth) {
    const unsigned char bytes[] = {0, 0x88, 0x87, 0x86, 0x85, 0x84, 0x83, 0x82, 0x81};
    const std::pair<int, uint64_t> cases[] = {
        {1, 0x88},
        {8, 0x88},
        {9, 0x8788},
        {16, 0x8788},
        {17, 0x85868788},
        {32, 0x85868788},
        {256 + 9, 0x8788},
        {33, 0x8182838485868788},
        {64, 0x8182838485868788},
    };
    for (const auto& [width, value] : cases) EXPECT_EQ(qk_getval(bytes + 1, width), value) << width;
    EXPECT_EQ(said, "");
    for (const int width : {0, 65, -1}) EXPECT_EQ(qk_getval(bytes, width), 0u);
    EXPECT_EQ(qk_getval(nullptr, 0), 0u);
    EXPECT_EQ(said,
              "qk_getval: invalid width 0 (valid range is 1 to 64)\n"
              "qk_getval: invalid width 65 (valid range is 1 to 64)\n"
              "qk_getval: invalid width 255 (valid range is 1 to 64)\n"
              "qk_getval: invalid pointer\n");
}

TEST_F(MemoryTest, StorageIsFoundByName) {
    static uint64_t a, low, high, opposite;
    const QkGRExtract slice{0, "slice", 0, 1, 0, 1, 2, 0};
    const QkGRTerm term{0, "term", 0, 8, 1, 1};
    kelvo_module module("design", "top");
    const QkGRNet rows[] = {net(0, 1, "a", &a, 7, 0), net(0, 2, "opposite", &opposite, 7, 0),
                            net(0, 3, "wide", &low, 63, 0, 1 | QK_parts),
                            net(0, 4, "wide", &high, 99, 64, 1 | QK_parts)};
    QkRegistration::start(&module, 1, 4, false);
    QkRegistration::addNets(&module, 4, rows);
    QkRegistration::addExtracts(&module, 1, &slice);
    QkRegistration::addTerms(&module, 1, &term);
    QkRegistration::end(&module);
    name("top.opposite")->trace->invert = true;
    const std::pair<const char*, void*> cases[] = {
        {"top.a", &a},          {"top.term", &a},      {"*pposite", &opposite}, {"top.*", nullptr},
        {"top.slice", nullptr}, {"top.wide", nullptr}, {"top.none", nullptr},   {nullptr, nullptr}};
    for (const auto& [wanted, address] : cases) {
        SCOPED_TRACE(wanted ? wanted : "null");
        bool inverted = address != &opposite;
        void* const place = qk_graphics_ptr(wanted);
        EXPECT_EQ(place ? *static_cast<void**>(place) : nullptr, address);
        EXPECT_EQ(qk_ptr(wanted, &inverted), address);
        EXPECT_EQ(inverted, address == &opposite);
        EXPECT_EQ(qk_ptr(wanted, nullptr), address);
    }
}

}  // namespace
