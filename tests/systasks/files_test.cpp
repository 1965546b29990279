// Files of a design.
#include <unistd.h>

#include "tests/support/model_test.h"

namespace {

#define HEAD 0, "u", nullptr  // what a call begins with

constexpr unsigned kFirst = 0x80000003u;  // the first descriptor that a design opens

class FilesTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        qk_exit = [](int status) { said += "exit " + std::to_string(status) + "\n"; };
    }
    static unsigned open(const char* name, const char* mode) {
        return static_cast<unsigned>(qkzeft_fopen(HEAD, 2, 0, name, 0, mode));
    }
    static unsigned openChannel(const char* name) {
        return static_cast<unsigned>(qkzeft_fopen(HEAD, 1, 0, name));
    }
    static void close(unsigned fd) { qkzeft_fclose(HEAD, 1, 32, fd); }
};

TEST_F(FilesTest, WhatIsWrittenIsReadBack) {
    const unsigned fd = open("a.txt", "w+");
    ASSERT_EQ(fd, kFirst);
    qkzeft_fdisplay(HEAD, 3, 32, fd, 0, "line %0d", 8, 1u);
    qkzeft_fwriteh(HEAD, 3, 32, fd, 8, 0xabu, 4, 12u);
    EXPECT_EQ(qkzeft_ftell(HEAD, 1, 32, fd), 10);
    qkzeft_fflush(HEAD, 1, 32, fd);
    EXPECT_EQ(readFile("a.txt"), "line 1\nabc");
    EXPECT_EQ(qkzeft_rewind(HEAD, 1, 32, fd), 0);
    EXPECT_EQ(qkzeft_fgetc(HEAD, 1, 32, fd), 'l');
    EXPECT_EQ(qkzeft_fungetc(HEAD, 2, 8, unsigned{'L'}, 32, fd), 'L');

    // A register of 100 bits takes what fits its 12 bytes, at the low end.
    uint64_t low = 0;
    uint64_t high = ~uint64_t{0};
    EXPECT_EQ(qkzeft_fgets(HEAD, 2, -100, &low, &high, 32, fd), 7);
    EXPECT_EQ(low, 0x4c696e6520310au);
    EXPECT_EQ(high & 0xfffffffff, 0u);
    EXPECT_EQ(qkzeft_fseek(HEAD, 3, 32, fd, 32, static_cast<unsigned>(-2), 32, 2u), 0);
    uint16_t two = 0;
    EXPECT_EQ(qkzeft_fgets(HEAD, 2, -16, &two, 32, fd), 2);
    EXPECT_EQ(two, 'b' << 8 | 'c');
    EXPECT_EQ(qkzeft_fgets(HEAD, 2, -16, &two, 32, fd), 0);
    EXPECT_EQ(two, 'b' << 8 | 'c');
    EXPECT_EQ(qkzeft_fgetc(HEAD, 1, 32, fd), -1);
    EXPECT_EQ(qkzeft_fungetc(HEAD, 2, 32, ~0u, 32, fd), -1);
    EXPECT_EQ(qkzeft_fgetc(HEAD, 1, 32, fd), -1);
    close(fd);
    EXPECT_EQ(qkzeft_fgetc(HEAD, 1, 32, fd), -1);
    EXPECT_EQ(said, "");
}

TEST_F(FilesTest, DescriptorsAndChannelsAreCounted) {
    std::vector<unsigned> fds, channels;
    for (int i = 0; i < 7; ++i) fds.push_back(open(("f" + std::to_string(i)).c_str(), "w"));
    EXPECT_EQ(
        fds, (std::vector<unsigned>{kFirst, kFirst + 1, kFirst + 2, kFirst + 3, kFirst + 4, 0, 0}));
    close(kFirst + 2);
    EXPECT_EQ(open("again", "w"), kFirst + 2);
    EXPECT_EQ(open("again", "w"), 0u);
    for (int i = 0; i < 31; ++i) channels.push_back(openChannel(("c" + std::to_string(i)).c_str()));
    EXPECT_EQ(channels.front(), 2u);
    EXPECT_EQ(channels[29], 1u << 30);
    EXPECT_EQ(channels[30], 0u);
    qkzeft_fwrite(HEAD, 2, 32, 2u | 8u, 0, "both");
    qkzeft_fflush(HEAD, 0);
    EXPECT_EQ(readFile("c0") + readFile("c1") + readFile("c2"), "bothboth");
    close(2u | 8u);
    EXPECT_EQ(openChannel("c31"), 2u);
    close(1);  // the standard output goes on
    EXPECT_EQ(openChannel("c32"), 1u);
    EXPECT_EQ(open("no/such/file", "w"), 0u);
    close(kFirst);
    EXPECT_EQ(open("again", "r,ccs=UTF-8"), 0u);  // bytes could not be read from it
}

TEST_F(FilesTest, NamesInRegistersLoseTheirPaddingUnlessStrict) {
    const auto openPadded = [] {  // "a.txt" in 76 bits, "w" in 16
        return static_cast<unsigned>(
            qkzeft_fopen(HEAD, 2, 76, uint64_t{0x612e747874}, 0xf00u, 16, unsigned{'w'}));
    };
    EXPECT_EQ(openPadded(), 0u);  // no mode begins with a blank
    qk_strict = false;
    EXPECT_EQ(openPadded(), kFirst);
    EXPECT_EQ(qkzeft_fopen(HEAD, 1, 16, 0u), 0);  // no name at all
    qk_strict = true;
    EXPECT_EQ(qkzeft_fopen(HEAD, 1, 72, uint64_t{0x612e747874}, 0u), 2);
    EXPECT_EQ(access("a.txt", F_OK) + access("    a.txt", F_OK), 0);
}

TEST_F(FilesTest, RegistersTakeTexts) {
    uint64_t chunks[2] = {~uint64_t{0}, ~uint64_t{0}};
    uint8_t byte = 0;
    qkzeft_swrite(HEAD, 4, -128, &chunks[0], &chunks[1], 0, "%0d-%h", 8, 12u, 8, 0xabu);
    EXPECT_EQ(chunks[0], 0x31322d6162u);  // 12-ab
    EXPECT_EQ(chunks[1], 0u);
    qkzeft_swriteb(HEAD, 2, -8, &byte, 2, 2u);
    EXPECT_EQ(byte, '0');
    EXPECT_EQ(said, "");
}

TEST_F(FilesTest, FaultyCallsEndTheRun) {
    const unsigned fd = open("a.txt", "w+");
    const uint64_t zero = 0;
    qkzeft_fclose(HEAD, 1, 8, 3u);
    close(0);
    qkzeft_fdisplay(HEAD, 2, 32, ~0u, 0, "text");
    qkzeft_fgetc(HEAD, 1, 32, 0x80000008u);
    qkzeft_fdisplay(HEAD, 1, 0, "text");
    qkzeft_fgetc(HEAD, 1, 64, zero);
    qkzeft_rewind(HEAD, 1, 32, 0u);
    qkzeft_fgets(HEAD, 2, 8, 1u, 32, fd);
    qkzeft_fungetc(HEAD, 2, 0, static_cast<const char*>(nullptr), 0, uint64_t{16}, uint64_t{1},
                   zero, zero, &zero, 32, fd);
    qkzeft_ftell(HEAD, 1, 32, 4u);
    qkzeft_fseek(HEAD, 3, 32, fd, 32, 0u, 32, 3u);
    qkzeft_swriteh(HEAD, 2, 8, 1u, 8, 2u);
    EXPECT_EQ(said, readFile(ZEFT_GOLDEN_DIR "/faults/files.txt"));
}

}  // namespace
