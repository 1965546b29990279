// Lines, files and results as the tests of TEXTIO use them.
#pragma once

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/model_test.h"

/// Calls a routine: VHDL(readline, 2, FILE_CELL(f), LINE(line))
#define VHDL(routine, ...) qksysvhdl_##routine(0, "top.u", nullptr, __VA_ARGS__)
#define CELL(cell) -64, &(cell)
#define TEXT(text) 0, static_cast<const char*>(text)
/// An array of characters; `reversed` is a string that holds the leftmost one last.
#define CHARACTERS(reversed)                                                           \
    0, static_cast<const char*>(nullptr), 0, uint64_t{8}, uint64_t{(reversed).size()}, \
        uint64_t{0}, uint64_t{0}, (reversed).data()

/// A line as a model sees it; nothing for a null line.
using LineText = std::optional<std::string>;

inline uint64_t makeLine(const LineText& text) {
    uint64_t line = 0;
    if (!text) return line;
    std::string reversed(text->rbegin(), text->rend());
    VHDL(new_line, 2, CELL(line), CHARACTERS(reversed));
    return line;
}

inline LineText textOf(uint64_t& line) {
    if (line == 0) return std::nullopt;
    std::string text;
    const int length = VHDL(line_length, 1, CELL(line));
    for (int i = 1; i <= length; ++i)
        text += static_cast<char>(VHDL(line_char, 2, CELL(line), 32, i));
    return text;
}

inline void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

constexpr int kReadMode = 0, kWriteMode = 1, kAppendMode = 2;

/// @return the handle; 0 when there is no such file
inline uint64_t openFile(const char* name, int kind) {
    uint64_t file = 0;
    uint8_t status = 0;
    VHDL(file_open, 4, CELL(file), TEXT(name), 2, kind, -2, &status);
    return file;
}

class TextioTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        qk_exit = [](int status) { exitStatus = status; };
    }
    /// @return what has been said since the last call
    static std::string taken() { return std::exchange(said, ""); }
    /// @return what a call that ended the run has said; "" if it has not ended
    static std::string fault() {
        const std::string text = taken();
        return std::exchange(exitStatus, -1) == 1 ? text : "";
    }
    static inline int exitStatus = -1;
};
