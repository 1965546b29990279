// Command lines on a small model. Commands that write or read files of any name, or leave the
// process, are passed over.
#include <sstream>

#include "console/console.h"
#include "model/live_model.h"
#include "qkzeft.h"
#include "tests/fuzz/target.h"
#include "tests/support/session_design.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static SessionDesign model;
    qk_prints = [](const char*) {};
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(lines, line); model.step()) {
        if (isHarmless(line)) qk_cli(line.c_str());
        stopTime = kNoStop;
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
