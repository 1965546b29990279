// FST files as fst2vcd, which has nothing of this library, reads them.
#include "tracing/fst_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bitset>
#include <filesystem>
#include <fstream>
#include <random>

#include "tests/support/waveforms.h"

namespace {

class FstWriterTest : public testing::Test {
protected:
    struct Variable {
        uint32_t width;
        std::vector<std::string> names;
        std::string changes;
        std::string last;
    };

    void SetUp() override {
        char directory[] = "/tmp/zeft-test-XXXXXX";
        ASSERT_TRUE(mkdtemp(directory));
        std::filesystem::current_path(directory);
    }
    void TearDown() override { std::filesystem::remove_all(std::filesystem::current_path()); }

    /// Declares variables for slots 2, 4, 6 and so on.
    void declare(FstWriter& writer, const std::vector<uint32_t>& widths) {
        ASSERT_TRUE(writer.open("x.fst"));
        writer.setHead("version", "date", -12);
        writer.beginScope("top");
        for (const uint32_t width : widths) add(writer, width, "top.");
        writer.beginScope("\\deep.er+1");
        for (size_t i = 0; i < variables.size(); i += 3) name(writer, i, "top.\\deep.er+1.");
        writer.endScope();
        writer.endScope();
        writer.endDefinitions();
    }
    void add(FstWriter& writer, uint32_t width, const std::string& scope) {
        variables.push_back({width, {}, "", ""});
        name(writer, variables.size() - 1, scope);
    }
    void name(FstWriter& writer, size_t variable, const std::string& scope) {
        Variable& of = variables[variable];
        const std::string name = "n" + std::to_string(variable) + "_" + std::to_string(++names);
        const std::string range = of.width == 1 ? "" : "[" + std::to_string(of.width - 1) + ":0]";
        of.names.push_back(scope + name + range);
        writer.declare(slotOf(variable), (name + " " + range).c_str(), of.width);
    }
    static uint32_t slotOf(size_t variable) { return static_cast<uint32_t>(2 * variable + 2); }

    void time(uint64_t to) {
        now = to;
        history.push_back({kTimeMarker, 0, to});
    }
    void change(size_t variable, const std::string& digits) {
        Variable& of = variables[variable];
        of.last = digits;
        const size_t one = std::min(digits.find('1'), digits.size() - 1);
        of.changes += std::to_string(now) + ":" + digits.substr(one) + " ";
        const uint32_t slot = slotOf(variable);
        if (of.width <= 64 && random() % 2) {
            history.push_back({slot, 0, std::stoull(digits, nullptr, 2)});
            return;
        }
        for (size_t at = 0; at < digits.size();) {
            const size_t bits = random() % 2 ? 64 : static_cast<size_t>(random() % 64) + 1;
            const std::string part = digits.substr(at, bits);
            const bool isLast = at + part.size() == digits.size();
            history.push_back({slot, partShape(static_cast<int>(part.size()), at == 0, isLast),
                               std::stoull(part, nullptr, 2)});
            at += part.size();
        }
    }
    std::string randomDigits(uint32_t width) {
        std::string digits(width, '0');
        if (random() % 4)
            for (char& digit : digits) digit = random() % 2 ? '1' : '0';
        return digits;
    }
    /// Hands the history over in pieces of any size.
    void hand(FstWriter& writer) {
        for (size_t at = 0; at < history.size();) {
            const size_t end =
                std::min(history.size(), at + static_cast<size_t>(random() % 1000) + 1);
            writer.write(history.data() + at, history.data() + end);
            at = end;
        }
        history.clear();
    }
    void expectFile() const {
        const std::string text = readFst("x.fst");
        std::map<std::string, std::string> expected;
        for (const Variable& variable : variables)
            for (const std::string& name : variable.names) expected[name] = variable.changes;
        EXPECT_EQ(changesOf(text), expected);
        EXPECT_THAT(text, testing::HasSubstr("#" + std::to_string(now) + "\n"));
        EXPECT_THAT(text, testing::HasSubstr("$timescale\n\t1ps\n$end\n"));
    }

    std::mt19937_64 random{testing::UnitTest::GetInstance()->random_seed() + uint64_t{1}};
    std::vector<Variable> variables;
    std::vector<OutputChange> history;
    uint64_t now = 0;
    int names = 0;
};

TEST_F(FstWriterTest, EveryChangeOfEveryVariableIsRead) {
    const std::vector<uint32_t> all = {1,  2,  3,  7,  8,  9,   15,  16,  17,  31,  32, 33,
                                       63, 64, 65, 71, 72, 127, 128, 129, 300, 999, 1,  1};
    const struct {
        size_t blockEntries, copies;
    } cases[] = {{1, 1}, {300, 1}, {FstWriter::kBlockEntries, 1}, {30000, 50}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.blockEntries);
        variables.clear();
        FstWriter writer(c.blockEntries);
        std::vector<uint32_t> widths;
        for (size_t i = 0; i < c.copies; ++i) widths.insert(widths.end(), all.begin(), all.end());
        ASSERT_NO_FATAL_FAILURE(declare(writer, widths));
        time(random() % 3);
        for (size_t i = 0; i < variables.size(); ++i)  // one has no value to begin with
            if (i != 5) change(i, randomDigits(widths[i]));
        for (int step = 0; step < 400; ++step) {
            time(now + (random() % 2 ? 1 : random() >> (8 + random() % 55)));
            const uint64_t rare = random() % 8 + 1;
            for (size_t i = 0; i < variables.size(); ++i)
                if (random() % rare == 0) change(i, randomDigits(widths[i]));
            history.push_back({3, 17, 1});    // not declared: between the others,
            history.push_back({9999, 0, 1});  // and beyond them
            if (random() % 50 == 0) {
                hand(writer);
                EXPECT_TRUE(writer.flush());
            }
        }
        hand(writer);
        writer.writeTime(now += 5);
        EXPECT_TRUE(writer.close());
        expectFile();
    }
}

TEST_F(FstWriterTest, ChainsOfAllKindsArePackedAndShared) {
    FstWriter writer;
    ASSERT_NO_FATAL_FAILURE(declare(writer, std::vector<uint32_t>(12, 32)));
    const auto digits = [](uint64_t value) { return std::bitset<32>(value).to_string(); };
    for (uint64_t step = 0; step < 40000; ++step) {
        time(step * step);
        change(0, digits(step));                            // counts
        change(1, digits(step % 2));                        // alternates: a match without an end
        change(2, digits(random()));                        // cannot be packed
        change(3, digits(step / 3000 % 2 ? random() : 5));  // long literals between long matches
        for (size_t i = 4; i < 8; ++i) change(i, digits(step));  // the same as the first
        if (step % 20000 == 0) change(8, digits(step));          // matches would lie too far back
        if (step % 1000 == 0) change(9, digits(step));
        change(10, digits(step % 7000 < 20 ? step % 7000 : random()));
        if (step == 39990) change(11, digits(1));  // many times later
    }
    hand(writer);
    EXPECT_TRUE(writer.close());
    expectFile();
    // 40,000 times five bytes, for three variables; little for the others.
    EXPECT_LT(std::filesystem::file_size("x.fst"), 800000u);
}

TEST_F(FstWriterTest, WhatEndsBeforeItIsClosedHasItsFinishedBlocks) {
    {
        FstWriter writer;
        ASSERT_NO_FATAL_FAILURE(declare(writer, {1, 8, 70}));
        time(7);
        for (size_t i = 0; i < 3; ++i) change(i, randomDigits(variables[i].width));
        hand(writer);
        EXPECT_TRUE(writer.flush());
        expectFile();
        const std::vector<Variable> before = variables;
        const uint64_t then = now;
        time(8);
        change(1, "00000001");
        hand(writer);  // is not written any more
        variables = before;
        now = then;
    }
    expectFile();
    // In the midst of a block: its type says that it is not complete.
    std::ofstream("x.fst", std::ios::binary | std::ios::app).write("\377\0\0\0\0\0\0\0\0abc", 12);
    expectFile();
}

TEST_F(FstWriterTest, TheFirstFailureIsKept) {
    FstWriter missing;
    EXPECT_FALSE(missing.open("none/x.fst"));
    EXPECT_EQ(errno, ENOENT);
    FstWriter full;
    ASSERT_TRUE(full.open("/dev/full"));
    full.beginScope("top");
    full.declare(1, "n", 1);
    full.endScope();
    full.endDefinitions();
    for (uint64_t step = 0; step < 10; ++step) full.writeTime(step);
    EXPECT_FALSE(full.flush());
    EXPECT_FALSE(full.close());
    EXPECT_EQ(full.error(), ENOSPC);
}

}  // namespace
