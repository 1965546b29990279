// Bench of the example: clock, resets, a receiver on the serial line. The command line is
// zeft_main()'s, with two additions.
//
// The stimulus and the receiver are those of rtl/tb.v, so that a run of this model can be compared
// with one of a Verilog simulator change for change.
#include <ctype.h>
#include <errno.h>
#include <qkzeft.h>
#include <stdint.h>
#include <stdlib.h>
#include <zeft_main.h>

#include "soc.h"

namespace {

const uint64_t kHalfPeriod = 5;  // ns, the tick of this model
const uint64_t kNever = UINT64_MAX;

uint64_t cyclesToRun = 120000;
const char* image = nullptr;

/// Turns the level of the serial line, sampled once per clock cycle, into lines of text.
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
            if (bits & 0x100) take(bits & 0xff);
        }
        ++count;
    }

    /// Prints the text received since the last end of a line.
    void flush() {
        if (characters != 0) printLine();
    }

    /// $fopen of the log
    void open() { log = qkzeft_fopen(0, "tb", nullptr, 1, 0, "serial.log"); }

    // The part of a character and of a line received so far, for the state of the simulation.
    void save(FILE* file) const {
        fprintf(file, "%d %d %u %d", receiving, count, bits, characters);
        for (int i = 0; i < characters; ++i) fprintf(file, " %u", unsigned{text[i]});
        fprintf(file, "\n");
    }
    bool load(FILE* file) {
        int isReceiving = 0;
        if (fscanf(file, "%d %d %u %d", &isReceiving, &count, &bits, &characters) != 4)
            return false;
        receiving = isReceiving != 0;
        if (characters < 0 || characters > 128) characters = 0;
        for (int i = 0; i < characters; ++i) {
            unsigned character = 0;
            if (fscanf(file, "%u", &character) != 1) return false;
            text[i] = static_cast<uint8_t>(character);
        }
        return true;
    }
    int32_t cycles = 0;
    uint16_t leds = 0;

private:
    // The tasks of rtl/tb.v, as the generator calls them.
    void take(unsigned c) {
        if (c == '\n') {
            const int32_t sCount = 32 + 0x40000000;  // an integer, which is signed
            qkzeft_fdisplay(0, "tb", nullptr, 6, 32, log, 0,
                            "%d cycles, %0d characters, leds %h %b", sCount, cycles, sCount,
                            characters, 16, unsigned{leds}, 16, unsigned{leds});
            printLine();
        } else if (characters < 128) {
            text[characters++] = static_cast<uint8_t>(c);
        }
    }
    void printLine() {
        qkzeft_write(0, "tb", nullptr, 1, 0, "uart: ");
        for (int i = 0; i < characters; ++i)
            qkzeft_write(0, "tb", nullptr, 2, 0, "%c", 8, unsigned{text[i]});
        qkzeft_write(0, "tb", nullptr, 1, 0, "\n");
        characters = 0;
    }

    bool receiving = false;
    int count = 0;      // cycles since the start bit was seen
    unsigned bits = 0;  // stop bit and data bits
    int32_t log = 0;    // channel
    uint8_t text[128];  // of the current line
    int32_t characters = 0;
};

struct Bench {
    uint8_t clk = 0;
    uint8_t rst_n = 0;
    uint8_t txd = 1;
    uint16_t leds = 0;
    soc dut{&clk, &rst_n, &txd, &leds};
    Receiver receiver;

    void run(uint64_t end);

private:
    void record();

    uint64_t evaluatedWrites = 0;
};

Bench* theBench = nullptr;

void evaluate() { theBench->dut.step(); }

// A power-on reset, and a second one while the program runs.
struct ResetChange {
    uint64_t time;
    uint8_t level;
};
const ResetChange kResetChanges[] = {{42, 1}, {20003, 0}, {20263, 1}, {kNever, 1}};

// The console may open when values are recorded. Values written there are evaluated at this time.
void Bench::record() {
    qk_takenote();
    if (qk_write_count() == evaluatedWrites) return;
    evaluatedWrites = qk_write_count();
    dut.step();
    qk_takenote();
}

// The next change follows from the time, which a loaded state may have moved.
void Bench::run(uint64_t end) {
    const ResetChange* reset = kResetChanges;
    while (true) {
        record();
        const uint64_t now = qk_get_time();
        const uint64_t edge = (now / kHalfPeriod + 1) * kHalfPeriod;
        while (reset->time <= now) ++reset;
        const uint64_t time = edge < reset->time ? edge : reset->time;
        if (time > end) return;
        qk_set_time(time);
        if (time == reset->time) rst_n = reset->level;
        if (time == edge) {
            clk ^= 1;
            if (clk) {
                receiver.cycles = dut.cycles;
                receiver.leds = leds;
                receiver.sample(txd);
            }
        }
        dut.step();
    }
}

// The receiver is not in a net: savesim and loadsim use a separate file for it.
FILE* openReceiverFile(const char* prefix, const char* mode) {
    char name[512];
    const int length = snprintf(name, sizeof name, "%s.receiver", prefix);
    return length < static_cast<int>(sizeof name) ? fopen(name, mode) : nullptr;
}

int saveReceiver(const char* prefix) {
    FILE* const file = openReceiverFile(prefix, "w");
    if (file) theBench->receiver.save(file);
    if (!file || fclose(file) != 0) qk_printf("receiver: not saved\n");
    return 1;
}

int loadReceiver(const char* prefix) {
    FILE* const file = openReceiverFile(prefix, "r");
    if (!file || !theBench->receiver.load(file)) qk_printf("receiver: not loaded\n");
    if (file) fclose(file);
    return 1;
}

/// $readmemh(image, dut.u_rom.words, 0, 255); an error in it ends the run.
void loadImage(const char* path, uint32_t* words) {
    const uint64_t width = 32, count = soc::kRomWords, left = soc::kRomWords - 1, right = 0;
    qkzeft_readmemh(0, "tb", nullptr, 4, 0, path, 0, static_cast<const char*>(nullptr), 0, width,
                    count, left, right, words, 32, 0u, 32, 255u);
}

// ---- What zeft_main() needs

bool build() {
    theBench = new Bench;  // until the process ends
    qk_set_timescale("soc", -9, -9);
    theBench->dut.qk_setup("soc", nullptr);
    theBench->dut.qk_netlist();
    loadImage(image ? image : SOC_IMAGE, theBench->dut.u_rom_words);
    theBench->dut.initials();
    qk_register_cmd("extend_savesim", "#", 1, saveReceiver);
    qk_register_cmd("extend_loadsim", "#", 1, loadReceiver);
    return true;
}

int run(uint64_t stop) {
    const uint64_t end = cyclesToRun * 2 * kHalfPeriod;
    theBench->receiver.open();
    theBench->run(end < stop ? end : stop);
    theBench->receiver.flush();
    qkzeft_finish(0, "tb", nullptr, 1, 32, 0u);
    return 0;
}

bool takeCycles(const char* text) {
    char* end = nullptr;
    errno = 0;
    cyclesToRun = strtoull(text, &end, 10);
    return isdigit(static_cast<unsigned char>(text[0])) && *end == '\0' && errno == 0 &&
           cyclesToRun <= kNever / (4 * kHalfPeriod);
}

bool takeImage(const char* path) {
    const bool first = !image;
    image = path;
    return first;
}

const zeft_option kOptions[] = {
    {'n', "cycles", "CYCLES", "clock cycles to run, default 120000", takeCycles},
};

}  // namespace

int main(int argc, char** argv) {
    zeft_model model;
    model.name = "soc";
    model.build = build;
    model.step = evaluate;
    model.run = run;
    model.options = kOptions;
    model.option_count = 1;
    model.operand = "IMAGE";
    model.operand_help = "program, default " SOC_IMAGE;
    model.take_operand = takeImage;
    return zeft_main(model, argc, argv);
}
