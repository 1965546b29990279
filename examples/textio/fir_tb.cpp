// Model of fir_tb.vhd: its process uses files, lines and reports by calls of the library.
//
// usage: fir_tb [-i]     -i opens the console before the run
#include <stdio.h>
#include <string.h>

#include <string>

#include "fir.h"

namespace {

// Sizes of what is passed: a number, a place, and the cell of a file or a line.
const int kInteger = 32, kBoolean = 1, kPlace = -1, kCell = -64, kText = 0;
const unsigned kRight = 0, kLeft = 1;                   // justified
const unsigned kReadMode = 0, kWriteMode = 1;           // file_open_kind
const unsigned kWarning = 1, kError = 2, kFailure = 3;  // severity_level
const unsigned kNanoseconds = 2, kMicroseconds = 3;     // units of time

class fir_tb : public kelvo_module {
public:
    fir_tb() : kelvo_module("fir_tb") {
        dut.clk = &clk;
        dut.load = &load;
        dut.sample = &sample;
        dut.sum = &sum;
        dut.result = &result;
        dut.clipped = &clipped;
        qk_setup("fir_tb", nullptr);
        dut.qk_setup("dut", this);
        qk_netlist();
        dut.qk_netlist();
    }
    void step() override { dut.step(); }
    void process();  ///< of the bench, to its last wait

private:
    void qk_netlist();
    void loadTaps();
    bool readSample();
    void writeHeading();
    void writeResult();
    void report(unsigned severity, const std::string& message) {
        qksysvhdl_report(0, "fir_tb", nullptr, 2, 2, severity, kText, message.c_str());
    }
    /// An assertion whose condition is false.
    void fail(unsigned severity, const std::string& message) {
        qksysvhdl_assert(0, "fir_tb", nullptr, 2, 2, severity, kText, message.c_str());
    }
    /// write(l, string'(text), right, field)
    void writeText(const char* text, unsigned field) {
        qksysvhdl_write_string(0, "fir_tb", nullptr, 4, kCell, &l, kText, text, 1, kRight, 8,
                               field);
    }
    void writeInteger(int32_t number, unsigned field) {
        qksysvhdl_write_integer(0, "fir_tb", nullptr, 4, kCell, &l, kInteger, number, 1, kRight, 8,
                                field);
    }
    /// l.all
    std::string textOfLine() {
        std::string text;
        const int length = qksysvhdl_line_length(0, "fir_tb", nullptr, 1, kCell, &l);
        for (int i = 1; i <= length; ++i)
            text += static_cast<char>(
                qksysvhdl_line_char(0, "fir_tb", nullptr, 2, kCell, &l, kInteger, i));
        return text;
    }
    void waitFor(uint64_t ticks) { qk_set_time(qk_get_time() + ticks); }
    void setClock(uint8_t level) {
        clk = level;
        step();
        qk_takenote();
    }

    fir dut;
    uint8_t clk = 0;
    uint8_t load = 1;
    int32_t sample = 0;
    int32_t sum = 0;
    int32_t result = 0;
    uint8_t clipped = 0;

    // Files and lines are cells that hold handles; 0 is a file that is not open, and a null line.
    uint64_t taps = 0, samples = 0, results = 0;
    uint64_t l = 0;
    int64_t at = INT64_MIN;
    int32_t value = INT32_MIN;
    int32_t count = 0;
    int32_t clippings = 0;
};

void fir_tb::qk_netlist() {
    const unsigned integer = QK_type_integer;
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, 0, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "load", &load, 0, 0, 0, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "sample", &sample, 31, 0, integer, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "sum", &sum, 31, 0, integer, 0, 0, 0, 0, nullptr, nullptr},
        {0, 5, "result", &result, 31, 0, integer, 0, 0, 0, 0, nullptr, nullptr},
        {0, 6, "clipped", &clipped, 0, 0, 0, 0, 0, 0, 0, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, sizeof nets / sizeof *nets, true);
    QkRegistration::addNets(this, sizeof nets / sizeof *nets, nets);
    QkRegistration::end(this);
}

void fir_tb::loadTaps() {
    uint8_t status = 0;
    qksysvhdl_file_open(0, "fir_tb", nullptr, 4, kCell, &taps, kText, "taps.txt", 2, kReadMode, -2,
                        &status);
    if (status != 0) fail(kFailure, "no taps");
    while (!qksysvhdl_endfile(0, "fir_tb", nullptr, 1, kCell, &taps)) {
        uint8_t tap = 0;
        qksysvhdl_readline(0, "fir_tb", nullptr, 2, kCell, &taps, kCell, &l);
        qksysvhdl_hread(0, "fir_tb", nullptr, 2, kCell, &l, -8, &tap);
        sample = static_cast<int8_t>(tap);
        setClock(1);
        waitFor(1);
        setClock(0);
        waitFor(1);
    }
    qksysvhdl_file_close(0, "fir_tb", nullptr, 1, kCell, &taps);
    load = 0;
}

/// Reads a line. @return whether it holds a sample for a later time
bool fir_tb::readSample() {
    qksysvhdl_readline(0, "fir_tb", nullptr, 2, kCell, &samples, kCell, &l);
    if (qksysvhdl_line_length(0, "fir_tb", nullptr, 1, kCell, &l) == 0) return false;
    if (qksysvhdl_line_char(0, "fir_tb", nullptr, 2, kCell, &l, kInteger, 1) == '#') return false;
    uint8_t good = 0;
    qksysvhdl_read_time(0, "fir_tb", nullptr, 3, kCell, &l, -64, &at, kPlace, &good);
    if (good)
        qksysvhdl_read_integer(0, "fir_tb", nullptr, 3, kCell, &l, -32, &value, kPlace, &good);
    if (!good) {
        report(kWarning, "no sample at \"" + textOfLine() + "\"");
        return false;
    }
    if (at < static_cast<int64_t>(qk_get_time())) {
        report(kError, "too late for sample " + std::to_string(value));
        return false;
    }
    return true;
}

void fir_tb::writeHeading() {
    writeText("time", 12);
    writeText("sample", 8);
    writeText("result", 8);
    writeText(" sum     clipped", 0);
    qksysvhdl_writeline(0, "fir_tb", nullptr, 2, kCell, &results, kCell, &l);
}

void fir_tb::writeResult() {
    qksysvhdl_write_time(0, "fir_tb", nullptr, 5, kCell, &l, kCell, &at, 1, kRight, 8, 12u, 3,
                         kMicroseconds);
    writeInteger(sample, 8);
    writeInteger(result, 8);
    qksysvhdl_write_character(0, "fir_tb", nullptr, 2, kCell, &l, 8, ' ');
    qksysvhdl_hwrite(0, "fir_tb", nullptr, 4, kCell, &l, 24, sum, 1, kLeft, 8, 8u);
    qksysvhdl_write_boolean(0, "fir_tb", nullptr, 2, kCell, &l, kBoolean, clipped);
    qksysvhdl_writeline(0, "fir_tb", nullptr, 2, kCell, &results, kCell, &l);
}

void fir_tb::process() {
    loadTaps();
    qksysvhdl_file_open(0, "fir_tb", nullptr, 3, kCell, &samples, kText, "samples.txt", 2,
                        kReadMode);
    qksysvhdl_file_open(0, "fir_tb", nullptr, 3, kCell, &results, kText, "results.txt", 2,
                        kWriteMode);
    writeHeading();
    while (!qksysvhdl_endfile(0, "fir_tb", nullptr, 1, kCell, &samples)) {
        if (!readSample()) continue;
        waitFor(static_cast<uint64_t>(at) - qk_get_time());
        sample = value;
        setClock(1);
        waitFor(5);
        setClock(0);
        qksysvhdl_deallocate(0, "fir_tb", nullptr, 1, kCell, &l);
        writeResult();
        ++count;
        if (clipped) ++clippings;
    }
    writeInteger(count, 0);
    writeText(" samples, the last at ", 0);
    qksysvhdl_write_time(0, "fir_tb", nullptr, 5, kCell, &l, kCell, &at, 1, kLeft, 8, 0u, 3,
                         kNanoseconds);
    qksysvhdl_tee(0, "fir_tb", nullptr, 2, kCell, &results, kCell, &l);
    qksysvhdl_file_close(0, "fir_tb", nullptr, 1, kCell, &results);
    if (clippings != 0) fail(kWarning, std::to_string(clippings) + " results are clipped");
    report(0, "done");
}

}  // namespace

int main(int argc, char** argv) {
    const bool interactive = argc == 2 && strcmp(argv[1], "-i") == 0;
    if (argc > 1 && !interactive) {
        fprintf(stderr, "usage: fir_tb [-i]\n");
        return 2;
    }
    qk_set_timescale("fir_tb", -9, -9);
    fir_tb bench;
    if (interactive) {
        qk_sigint_install();
        qk_cli("cli");
    }
    bench.process();
    kelvo_finish();
    return 0;
}
