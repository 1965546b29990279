// Stopping and ending a run, and loading memories.
#include <fstream>

#include "tests/support/model_test.h"

namespace {

class RunControlTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        qk_exit = [](int status) { exits.push_back(status); };
    }
    static inline std::vector<int> exits;
};

TEST_F(RunControlTest, FinishTellsWhereByItsLevel) {
    qkzeft_finish(0, "top.u", "block", 0);
    EXPECT_EQ(said, "\nStopped in top.u.block\n");
    for (const unsigned level : {0u, 1u, 2u, 3u}) {
        said.clear();
        qkzeft_finish(0, "top.u", nullptr, 1, 32, level);
        EXPECT_EQ(said, level == 1 || level == 2 ? "\nStopped in top.u\n" : "\n");
    }
    EXPECT_EQ(exits, (std::vector<int>{0, 0, 0, 0, 0}));
    qkzeft_exit(7);
    EXPECT_EQ(exits.back(), 7);
}

TEST_F(RunControlTest, StopAsksWhetherToGoOn) {
    struct {
        const char* input;
        bool ends;
    } const cases[] = {{"q\n", true},    {"q now\n", true}, {"quit\n", false}, {"\n", false},
                       {"\x04\n", true}, {"\x04 x", true},  {"", true},        {"go\n", false}};
    for (const auto& c : cases) {
        std::ofstream("answers") << c.input;
        ASSERT_TRUE(std::freopen("answers", "r", stdin));
        qkzeft_stop(0, "top.u", nullptr, 1, 32, 0u);
        EXPECT_EQ(std::exchange(said, ""), "\n\nZEFT top.u $stop:");
        EXPECT_EQ(std::exchange(exits, {}).size(), c.ends ? 1u : 0u) << c.input;
    }
}

TEST_F(RunControlTest, StopOpensTheConsoleOfAnInteractiveRun) {
    std::ofstream("commands") << "ls nothing\n";
    qk_stdin = std::fopen("commands", "r");
    qkLiveModel->console.interactive = true;
    qkzeft_stop(0, "top.u", nullptr, 0);
    EXPECT_THAT(said, testing::StartsWith("\nStopped in top.u\n"));
    EXPECT_THAT(said, testing::HasSubstr("zeft> "));
}

TEST_F(RunControlTest, MemoriesAreLoaded) {
    static uint16_t memory[4];
    static uint8_t plain[3];
    QkGRNet row = net(0, 1, "memory", memory, 11, 0, 1 | QK_array);
    row.array_left = 7;
    row.array_right = 4;
    registerNets("top", {row});
    std::ofstream("image.mem") << "1 2 3 4\n";
    // An array as an argument: width, elements, bounds, storage.
#define ARRAY(...) 0, static_cast<const char*>(nullptr), 0, __VA_ARGS__
    const uint64_t zero = 0, one = 1, three = 3, four = 4, eight = 8, twelve = 12;
    qkzeft_readmemh(0, "top", nullptr, 2, 0, "image.mem", ARRAY(twelve, four, zero, zero, memory));
    EXPECT_THAT(memory, testing::ElementsAre(1, 2, 3, 4));
    EXPECT_TRUE(exits.empty());
    qkzeft_readmemh(0, "top", nullptr, 4, 0, "image.mem", ARRAY(eight, three, one, three, plain),
                    32, 2u, 32, 3u);
    // [1:3] is stored from element 3 on. The third word is one too many.
    EXPECT_THAT(plain, testing::ElementsAre(2, 1, 0));
    EXPECT_EQ(exits, std::vector<int>{1});

    said.clear();
    qkzeft_readmemb(0, "top", nullptr, 1, 0, "image.mem");
    qkzeft_readmemh(0, "top", nullptr, 2, 0, "image.mem", 32, 0u);
    qkzeft_readmemb(0, "top", nullptr, 2, 0, "none.mem", ARRAY(twelve, four, zero, zero, memory));
    EXPECT_EQ(said, readFile(ZEFT_GOLDEN_DIR "/faults/readmem.txt"));
    EXPECT_EQ(exits, std::vector<int>(4, 1));
}

}  // namespace
