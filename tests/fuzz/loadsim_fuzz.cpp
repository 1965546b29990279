// Saved state: any file, into nets of several shapes, and what was saved then read back.
#include "tests/fuzz/target.h"

namespace {

struct Storage {
    uint64_t guardBefore = 0x5a5a;
    uint64_t low = 0;
    uint16_t word = 0, up = 0;
    uint8_t high = 0, bit = 0;
    uint64_t guardAfter = 0x5a5a;
};

struct Model : Storage {
    kelvo_module module{"fuzz", "top"};

    Model() {
        const QkGRNet rows[] = {
            {0, 1, "bit", &bit, 0, 0, 1, 0, 0, 0, 0, nullptr, nullptr},
            {0, 2, "word", &word, 13, 2, 1, 0, 0, 0, 0x20, nullptr, nullptr},
            {0, 3, "wide", &low, 63, 0, 0x201, 0, 0, 0, 0, nullptr, nullptr},
            {0, 4, "wide", &high, 69, 64, 0x201, 0, 0, 0, 0, nullptr, nullptr},
            {0, 5, "up", &up, 0, 8, 1, 0, 0, 0, 0, nullptr, nullptr},
        };
        registerRows(module, rows);
    }
};

/// @return a prefix whose state is kept in memory
std::string makePrefix(const MemoryFile& file) {
    std::string directory = "/tmp/loadsim_fuzz.XXXXXX";
    require(mkdtemp(directory.data()) != nullptr);
    require(symlink(file.path.c_str(), (directory + "/s.vcd").c_str()) == 0);
    static std::string made;
    made = directory;
    std::atexit([] {
        unlink((made + "/s.vcd").c_str());
        rmdir(made.c_str());
    });
    return directory + "/s";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Model model;
    static const MemoryFile file;
    static const std::string prefix = makePrefix(file);
    qk_prints = [](const char*) {};
    file.set(data, size);
    qk_cycle = 0;
    qk_loadsim(prefix.c_str());
    require(model.guardBefore == 0x5a5a && model.guardAfter == 0x5a5a);
    require(model.bit < 2 && model.word < 0x1000 && model.up < 0x200 && model.high < 0x40);

    const Storage before = model;
    const uint64_t time = qk_cycle % 1000;  // one beyond 63 bits is not written as a number
    qk_cycle = time;
    require(qk_savesim(prefix.c_str()) == 1);
    qk_cycle = 0;
    model.low = model.word = model.up = model.high = model.bit = 0;
    require(qk_loadsim(prefix.c_str()) == 1);
    require(model.low == before.low && model.word == before.word && model.up == before.up &&
            model.high == before.high && model.bit == before.bit && qk_cycle == time);
    return 0;
}
