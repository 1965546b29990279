// Files and results as the tests of TEXTIO use them.
#pragma once

#include <fstream>
#include <utility>

#include "tests/support/model_test.h"
#include "tests/textio/typed.h"

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
