// Bench of the example: clock, resets, a receiver on the serial line, and the command line.
//
// The stimulus and the receiver are those of rtl/tb.v, so that a run of this model can be compared
// with one of a Verilog simulator change for change.
#include <ctype.h>
#include <errno.h>
#include <qkzeft.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "soc.h"

namespace {

const uint64_t kHalfPeriod = 5;  // ns, the tick of this model
const uint64_t kNever = UINT64_MAX;

struct Options {
    const char* script = nullptr;
    bool interactive = false;
    uint64_t cycles = 120000;
    const char* image = SOC_IMAGE;
};

/// Turns the level of the serial line, a sample a clock cycle, into lines of text.
class Receiver {
public:
    void sample(bool level) {
        if (!receiving) {
            receiving = !level;
            count = 0;
            return;
        }
        const int kCyclesPerBit = 16;
        const bool inMiddle = count % kCyclesPerBit == 7 && count != 7;
        if (inMiddle) bits = (level ? 0x100u : 0u) | bits >> 1;
        if (count == 152) {  // one cycle after the middle of the stop bit
            receiving = false;
            if (bits & 0x100) take(static_cast<char>(bits & 0xff));
        }
        ++count;
    }

    /// Prints what has come since the last end of a line.
    void flush() {
        if (inLine) take('\n');
    }

private:
    void take(char c) {
        inLine = c != '\n';
        if (inLine) {
            line += c;
            return;
        }
        qk_printf("uart: %s\n", line.c_str());
        line.clear();
    }

    std::string line;
    bool inLine = false;
    bool receiving = false;
    int count = 0;      // cycles since the start bit was seen
    unsigned bits = 0;  // stop bit and data bits
};

struct Bench {
    uint8_t clk = 0;
    uint8_t rst_n = 0;
    uint8_t txd = 1;
    uint16_t leds = 0;
    soc dut{&clk, &rst_n, &txd, &leds};
    Receiver receiver;

    void run(uint64_t cycles);
};

Bench* theBench = nullptr;

void evaluate() { theBench->dut.step(); }

// A power-on reset, and a second one while the program runs.
struct ResetChange {
    uint64_t time;
    uint8_t level;
};
const ResetChange kResetChanges[] = {{42, 1}, {20003, 0}, {20263, 1}, {kNever, 1}};

void Bench::run(uint64_t cycles) {
    const uint64_t end = cycles * 2 * kHalfPeriod;
    const ResetChange* reset = kResetChanges;
    uint64_t edge = kHalfPeriod;
    qk_takenote();
    while (true) {
        const uint64_t time = edge < reset->time ? edge : reset->time;
        if (time > end) return;
        qk_set_time(time);
        if (time == reset->time) rst_n = (reset++)->level;
        if (time == edge) {
            clk ^= 1;
            if (clk) receiver.sample(txd);
            edge += kHalfPeriod;
        }
        dut.step();
        qk_takenote();
    }
}

/// Reads the program, a word a line in hexadecimal. Says what is wrong with it.
bool loadImage(const char* path, uint32_t* words, int room) {
    FILE* file = fopen(path, "r");
    if (!file) {
        perror(path);
        return false;
    }
    char text[32];
    int count = 0;
    bool good = true;
    while (good && fscanf(file, "%31s", text) == 1) {
        char* end = nullptr;
        const unsigned long word = strtoul(text, &end, 16);
        good = isxdigit(static_cast<unsigned char>(text[0])) && *end == '\0' &&
               word <= UINT32_MAX && count < room;
        if (good) words[count++] = static_cast<uint32_t>(word);
    }
    if (!good) fprintf(stderr, "%s: not a word of the program, or too many: '%s'\n", path, text);
    if (good && count == 0) {
        fprintf(stderr, "%s: no program\n", path);
        good = false;
    }
    fclose(file);
    return good;
}

int usage() {
    fprintf(stderr,
            "usage: soc [-i] [-c SCRIPT] [-n CYCLES] [IMAGE]\n"
            "  -i         open the console before the run\n"
            "  -c SCRIPT  run console commands from a file\n"
            "  -n CYCLES  clock cycles to run, default 120000\n"
            "  IMAGE      program, default %s\n",
            SOC_IMAGE);
    return 2;
}

bool parseCycles(const char* text, uint64_t* cycles) {
    char* end = nullptr;
    errno = 0;
    *cycles = strtoull(text, &end, 10);
    return isdigit(static_cast<unsigned char>(text[0])) && *end == '\0' && errno == 0 &&
           *cycles <= kNever / (4 * kHalfPeriod);
}

bool parseOptions(int argc, char** argv, Options* options) {
    for (int letter; (letter = getopt(argc, argv, "c:in:")) != -1;) {
        switch (letter) {
            case 'c': options->script = optarg; break;
            case 'i': options->interactive = true; break;
            case 'n':
                if (!parseCycles(optarg, &options->cycles)) return false;
                break;
            default: return false;
        }
    }
    if (optind < argc) options->image = argv[optind++];
    return optind == argc;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, &options)) return usage();

    Bench bench;
    theBench = &bench;
    qk_set_timescale("soc", -9, -9);
    bench.dut.qk_setup("soc", nullptr);
    bench.dut.qk_netlist();
    if (!loadImage(options.image, bench.dut.u_rom_words, soc::kRomWords)) return 1;
    bench.dut.initials();
    qk_step_fn = evaluate;

    if (options.script) qk_loadt(options.script);
    if (options.interactive) {
        qk_sigint_install();
        qk_cli("cli");
    }
    bench.run(options.cycles);
    bench.receiver.flush();
    kelvo_finish();
    return 0;
}
