// A small design with a console to type at.
//
// The nets below have what a listing must get right: odd widths, ascending ranges, low bounds that
// are not 0, values in several parts, aliases, an inverted form, arrays both ways, names that
// differ only in case, a scope that ignores case, and one net that nobody may see.
#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "tests/support/model_test.h"

/// The model's storage. The registration binds it to the names that stand beside each line.
struct DesignStorage {
    uint8_t clk = 1, rst = 0, done = 1;  // top.clk, top.rst, top.done
    uint8_t* clkPort = &clk;
    uint8_t* rstPort = &rst;
    uint8_t* donePort = &done;
    uint16_t pc = 0x012f;                                       // [15:0], also pc_copy
    uint8_t upperPc = 0x9;                                      // Pc [3:0]
    uint8_t acc = 0x2a;                                         // [6:0]
    uint8_t up = 0xc3;                                          // [0:7]
    uint8_t low = 0x2a;                                         // [8:3]
    uint8_t bit3 = 1;                                           // [3:3]
    uint8_t busy = 1;                                           // and its inverse nbusy
    uint64_t wideLow = 0xfedcba9876543210;                      // wide [63:0]
    uint64_t wideHigh = 0x123456789;                            // wide [99:64]
    uint64_t ascendingLow = 0x0123456789abcdef;                 // aw [6:69]
    uint8_t ascendingHigh = 0x2b;                               // aw [0:5]
    uint64_t twinLow = 0xff, twinHigh = uint64_t{1} << 63 | 1;  // twin [63:0], [127:64]
    uint64_t crossLow = 0xabcdef0123;                           // cross [39:0]
    uint64_t crossHigh = 0x123456789abcdef;                     // cross [99:40]
    uint8_t lane[2] = {0xf, 0xe};     // lane[1], elements [0:1] of 4 bits, 1 first
    uint64_t n33 = 0x180000001;       // [32:0]
    uint32_t total = 0xffffffff;      // an integer
    uint8_t secret = 7;               // hidden
    uint8_t state = 5;                // top.vhdl.State [2:0]
    uint8_t mem[10];                  // [0:9], 8 bits, element i is 0x10 + i
    uint16_t ram[6];                  // [7:2], 12 bits, element i is 0x0a0 + i
    uint8_t bits[40];                 // [40:1], 1 bit, element i is i mod 2
    uint64_t pairLow[4];              // pair [-2:1], 70 bits: element i is 3 + i
    uint8_t pairHigh[4];              //   above bit 64, and 0xf0 + i below
    uint64_t vastLow[2] = {4, 4};     // vast [1:0], 160 bits
    uint64_t vastMiddle[2] = {5, 5};  //   from bit 64
    uint32_t vastHigh[2] = {6, 7};    //   from bit 128

    DesignStorage();
};

inline constexpr const char* kBanner = "\nZEFT RunTime command processor\n";

class ConsoleTest : public ModelTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Runs one command line. @return what it said
    std::string run(const char* line);
    /// Types lines at a console that opens now, and ends the input behind them.
    /// @return what was said until the console let go
    std::string type(std::initializer_list<const char*> lines);
    /// The same with any bytes.
    std::string typeBytes(const std::string& bytes);
    /// Moves time on and tells the library, as a model does. @return what was said
    std::string note(uint64_t ticks);

    static void writeFile(const char* path, const std::string& contents);

    static inline DesignStorage model;  // static, so that its padding is 0, too

private:
    FILE* input = nullptr;
};

/// The line that stands before each prompt, and the prompt.
std::string ready(const char* time, int traced);
