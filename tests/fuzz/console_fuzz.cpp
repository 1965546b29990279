// Command lines on a small model. Commands that write or read files of any name, or leave the
// process, are passed over.
#include <cstring>
#include <iterator>
#include <string>

#include "console/console.h"
#include "netdb/live_model.h"
#include "qkzeft.h"
#include "tests/fuzz/target.h"

const char* const kFuzzSeeds[] = {"ls ",     "ls -d ",      "ls -rt",    "print ",
                                  "wired ",  "trace ",      "untrace ",  "show ",
                                  "unshow ", "step ",       "continue ", "circular ",
                                  "help ",   "clearsim ",   "top.*",     "top.wide",
                                  "top.mem", "[3]",         "[1:2]",     "[",
                                  "]",       "-i ",         "-m ",       "*",
                                  "\n",      "\n",          "\n",        "1",
                                  "10ns",    "trace *\n",   "show *\n",  "ls top.mem[]\n",
                                  "break ",  "setvv ",      "set ",      "setvv v = top.bit",
                                  " += ",    ", 4(9)",      " = ",       "set top.mem[1] = ",
                                  " == ",    " delete",     " disable",  "break top.wide",
                                  "top.v",   "[0:9]",       "top.wide",  "8'hff",
                                  "16#1f#",  "setvv v += ", "break 1",   "untrace "};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

namespace {

struct Model {
    uint8_t bit = 0;
    uint64_t low = 1;
    uint8_t high = 2;
    uint16_t memory[5] = {1, 2, 3, 4, 5};
    kelvo_module module{"fuzz", "top"};

    Model() {
        QkGRNet array{0, 4, "mem", memory, 8, 0, 1 | QK_array, 5, 1, 0, 0, nullptr, nullptr};
        const QkGRNet rows[] = {
            {0, 1, "bit", &bit, 0, 0, 1, 0, 0, 0, 0x20, nullptr, nullptr},
            {0, 2, "wide", &low, 0, 63, 0x201, 0, 0, 0, 0, nullptr, nullptr},
            {0, 3, "wide", &high, 64, 67, 0x201, 0, 0, 0, 0, nullptr, nullptr},
            array,
        };
        QkRegistration::start(&module, 1, 4, true);
        QkRegistration::addNets(&module, 4, rows);
        QkRegistration::end(&module);
    }
    void step() {
        ++qk_cycle;
        bit ^= 1;
        low = low * 3 + qk_cycle;
        high = static_cast<uint8_t>(low >> 60);
        qk_takenote();
    }
};

bool isHarmless(const std::string& line) {
    const size_t start = line.find_first_not_of(" \t\v\f\r");
    if (start == std::string::npos) return true;
    for (const char* const word : {"save", "lo", "lstofile", "traceto", "exit", "q", "cli"})
        if (line.compare(start, std::strlen(word), word) == 0) return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Model model;
    qk_prints = [](const char*) {};
    const std::string input(reinterpret_cast<const char*>(data), size);
    for (size_t at = 0; at < input.size();) {
        const size_t end = std::min(input.find('\n', at), input.size());
        const std::string line = input.substr(at, end - at);
        if (isHarmless(line)) qk_cli(line.c_str());
        stopTime = kNoStop;
        model.step();
        at = end + 1;
    }
    qk_cli("untrace *");
    auto& breaks = qkLiveModel->handles.brks;
    while (!breaks.empty()) qkLiveModel->handles.deleteBreak(breaks.back()->number);
    QkVariable* cookie;
    for (QkVariable* v = QkVariable::GetFirstByName("*", cookie); v;) {
        QkVariable* made = v;
        v = QkVariable::GetNextByName("*", cookie);
        QkVariable::DeleteByPointer(made);  // nets of the design stay
    }
    qk_save("/dev/null");
    return 0;
}
