// A test bench for the model of examples/soc, written by a user of the library: it finds nets by
// name, loads the program, watches and forces values, stops at and checks them, and returns an exit
// status.
//
// usage: soc_bench [OPTION]... [IMAGE]
#include <qkzeft.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <zeft_main.h>

#include <string>
#include <vector>

#include "soc.h"

namespace {

// ---- The device under test

struct Device {
    uint8_t clk = 0, rst_n = 0, txd = 1;
    uint16_t leds = 0;
    soc dut{&clk, &rst_n, &txd, &leds};

    void runUntil(uint64_t end) {
        qk_takenote();
        while (qk_get_time() + 5 <= end) {
            qk_set_time(qk_get_time() + 5);
            if (qk_get_time() == 40) rst_n = 1;
            clk ^= 1;
            dut.step();
            qk_takenote();
        }
    }
};

// ---- Checks

int failures = 0;

void check(bool good, const char* what) {
    printf("%s: %s\n", good ? "ok" : "FAILED", what);
    failures += good ? 0 : 1;
}

/// A net that must exist.
QkVariable* net(const char* name) {
    QkVariable* const found = QkVariable::GetByName(name);
    if (!found) {
        fprintf(stderr, "no such net: %s\n", name);
        exit(2);
    }
    return found;
}

/// Loads the program through the handle of the memory that holds it.
bool load(const char* path) {
    FILE* const file = fopen(path, "r");
    if (!file) {
        perror(path);
        return false;
    }
    QkVariable* const rom = net("soc.u_rom.words");
    unsigned word = 0;
    int count = 0;
    while (count < rom->GetBound(0) && fscanf(file, "%x", &word) == 1)
        rom->SetArrayValue(word, count++);
    fclose(file);
    QkVariable::Destroy(rom);
    return count > 0;
}

// ---- State of the callbacks

QkVariable* txData = nullptr;
QkVariable* ram = nullptr;
QkVariable* lamps = nullptr;

std::string text;  // what the device has sent
bool wasSorted = false;
uint32_t expectedCrc = 0;
int timesFull = 0, timesFullAndEmpty = 0;

uint32_t crc32(const std::vector<uint32_t>& words) {
    uint32_t crc = ~0u;
    for (uint32_t word : words) {
        crc ^= word;
        for (int bit = 0; bit < 32; ++bit) crc = (crc & 1) ? crc >> 1 ^ 0xedb88320u : crc >> 1;
    }
    return ~crc;
}

/// Called for each change of the request line, which toggles for each character.
void takeCharacter(QkVariable*) { text += static_cast<char>(txData->GetValue()); }

/// The report of a round begins, so the words in memory are sorted now.
void checkMemory(QkVariable* sent) {
    std::vector<uint32_t> words;
    for (int i = 0; i < 9 + static_cast<int>(lamps->GetValue() % 8); ++i)
        words.push_back(static_cast<uint32_t>(ram->GetArrayValue(i)));
    wasSorted = true;
    for (size_t i = 1; i < words.size(); ++i) wasSorted = wasSorted && words[i - 1] <= words[i];
    expectedCrc = crc32(words);
    ram->SetArrayValue(0, 0);  // the program is about to report the lowest word
    sent->UnregisterBreak();   // one round is enough
}

void countFull(QkVariable*) { ++timesFull; }
void countImpossible(QkVariable*) { ++timesFullAndEmpty; }

// ---- What zeft_main() needs

const char* image = nullptr;
Device* device = nullptr;

bool takeImage(const char* path) {
    const bool first = !image;
    image = path;
    return first;
}

void evaluate() { device->dut.step(); }

bool build() {
    device = new Device;  // until the process ends
    qk_set_timescale("bench", -9, -9);
    device->dut.qk_setup("soc", nullptr);
    device->dut.qk_netlist();
    device->dut.initials();
    return load(image ? image : SOC_IMAGE);
}

/// @return 1 when a check fails
int run(uint64_t stop) {
    txData = net("soc.tx_data");
    ram = net("soc.u_ram.words");
    lamps = net("soc.led_reg");

    QkVariable::RegisterChangeNotifier(takeCharacter);
    net("soc.tx_req")->SetChangeNotify(true);
    txData->RegisterBreak(checkMemory, QkVariable::BreakOnEqual, 1, uint64_t{'s'});

    // Both flags of the FIFO in one variable, so that one breakpoint can test both.
    int code = 0;
    QkVariable* const flags = QkVariable::CreateByName("flags", "soc.fifo_full", &code);
    if (code == 0) code = QkVariable::AddByName(flags, "soc.fifo_empty");
    check(code == 0 && flags->GetWidth() == 2, "the flags make a variable of two bits");
    if (code == 0) {
        flags->RegisterBreak(countFull, QkVariable::BreakOnEqual, 1, uint64_t{2});
        flags->RegisterBreak(countImpossible, QkVariable::BreakOnEqual, 1, uint64_t{3});
    }

    // Drops what the breakpoints print when they fire.
    void (*const prints)(const char*) = qk_prints;
    qk_prints = nullptr;
    device->runUntil(stop < 110000 ? stop : 110000);
    qk_prints = prints;

    printf("said: %s\n", text.c_str());
    char crc[16];
    snprintf(crc, sizeof crc, "crc=%08x", expectedCrc);
    check(wasSorted && text.find(crc) != std::string::npos,
          "memory was sorted and its CRC is told");
    check(text.find(": 00000000..") != std::string::npos, "the value forced into memory is told");
    check(timesFull > 0, "the FIFO was full at times");
    check(timesFullAndEmpty == 0, "and never full and empty at once");
    check(QkVariable::DeleteByName("flags") == 0 && !QkVariable::GetByName("soc.flags"),
          "the variable is gone");
    if (failures == 0)
        printf("all checks passed\n");
    else
        printf("%d checks FAILED\n", failures);
    return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    zeft_model model;
    model.name = "soc_bench";
    model.build = build;
    model.step = evaluate;
    model.run = run;
    model.operand = "IMAGE";
    model.take_operand = takeImage;
    return zeft_main(model, argc, argv);
}
