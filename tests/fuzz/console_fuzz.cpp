// Command lines on a small model. Commands that write or read files of any name, or leave the
// process, are passed over.
#include <iterator>
#include <string>

#include "console/console.h"
#include "netdb/live_model.h"
#include "qkzeft.h"
#include "tests/fuzz/harmless.h"
#include "tests/fuzz/target.h"
#include "tests/support/session_design.h"

const char* const kFuzzSeeds[] = {"ls ",       "ls -d ",      "ls -rt",    "print ",
                                  "wired ",    "trace ",      "untrace ",  "show ",
                                  "unshow ",   "step ",       "continue ", "circular ",
                                  "help ",     "clearsim ",   "top.*",     "top.wide",
                                  "top.u.mem", "[3]",         "[1:2]",     "[",
                                  "]",         "-i ",         "-m ",       "*",
                                  "\n",        "\n",          "\n",        "1",
                                  "10ns",      "trace *\n",   "show *\n",  "ls top.u.mem[]\n",
                                  "break ",    "setvv ",      "set ",      "setvv v = top.bit",
                                  " += ",      ", 4(9)",      " = ",       "set top.u.mem[1] = ",
                                  " == ",      " delete",     " disable",  "break top.wide",
                                  "top.v",     "[0:9]",       "top.wide",  "8'hff",
                                  "16#1f#",    "setvv v += ", "break 1",   "untrace "};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static SessionDesign model;
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
