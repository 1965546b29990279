// Reference traces: any file, through the whole of a comparison. The first two bytes of an input
// select options, the rest is the file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "netdb/live_model.h"
#include "qkzeft.h"
#include "qkzeft_validate.h"
#include "tests/fuzz/target.h"

const char* const kFuzzSeeds[] = {
    "\x01"
    "1$timescale 1 ns $end\n$scope module top $end\n$var wire 1 ! clk $end\n"
    "$var wire 8 # bus [7:0] $end\n$var reg 68 % wide [67:0] $end\n$var reg 1 & back $end\n"
    "$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n0!\nb0 #\nbx %\n1&\n$end\n",
    "\x06"
    "1$scope module other $end\n$var wire 1 ! clk $end\n$var reg 4 $ wide [67:64] $end\n"
    "$var reg 64 % wide [63:0] $end\n$var integer 8 ( mem [7:0] $end\n$upscope $end\n"
    "$enddefinitions $end\n$dumpvars\n0!\nbx $\nbz %\n$end\n",
    "#1\n1!\nb1011 #\n",
    "#2\n0!\n0&\nb11111111111111111111111111111111111111111111111111111111111111111111 %\n",
    "#3\n1!\n",
    "#4\nx!\nbxz01XZ #\nb1 %\n",
    "#5\n1!\n1!\n0!\nz#\n",
    "$dumpon\n0!\n1&\n$end\n",
    "$dumpoff\nx!\n$end\n",
    "$var real 64 r r $end\n",
    "$var parameter 32 p P $end\n",
    "$var wire 1 ~~~~~ \\a b\\ $end\n",
    "$upscope $end\n",
    "$comment c $end\n",
    "$dumparray 1 $enddumparray $end\n",
    "r1.5 r\n",
    "b101 p\n",
    "#18446744073709551615\n",
    "$scope module a.b $end\n",
    "\x20"
    "0$scope module top $end\n$var wire 1 ! \\clk $end\n$var wire 8 # bus[7:0] $end\n"
    "$var reg 68 % wide [68:1] $end\n$var reg 1 & back $end\n$upscope$end\n$enddefinitions$end\n"
    "#0\n0!\nb0 #\nbx %\n1&\n",
    "$dumpoff\nx!\n$end\n#9\n$dumpon\n1!\n0&\n$end\n",
    "$comment 1! b1 #\n#99 $end\n",
    "$vcdclose #9 $end\n",
    "$date a b\n$version c$end",
    "$var wire 1 ( m[3] $end\n$var wire 1 ) m[2] $end\n",
    "$var port [7:0] <1 d $end\n",
    "$var string 0 s s $end\n",
    "pDU0 66 00 <1\n",
    "bUWLH-x #\n",
    "1 !\n",
    "b1#\n",
    "#  6\n",
    "rNaN r\nsab cd s\n",
    "1~~~~~\n"};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

namespace {

struct Model {
    uint8_t guardBefore = 0x5a;
    uint8_t clk = 0, bus = 0, back = 0;
    uint64_t low = 0;
    uint8_t high = 0;
    uint16_t memory[5] = {};
    uint8_t guardAfter = 0x5a;
    uint8_t* clkPort = &clk;
    uint8_t* busPort = &bus;
    kelvo_module module{"fuzz", "top"};

    Model() {
        const unsigned inverted = 1 | QK_invert;
        const QkGRNet rows[] = {
            {0, 1, "clk", &clkPort, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
            {0, 2, "bus", &busPort, 7, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
            {0, 3, "wide", &low, 63, 0, 0x201, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 4, "wide", &high, 67, 64, 0x201, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 5, "back", &back, 0, 0, inverted, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 6, "mem", memory, 8, 0, 1 | QK_array, 5, 1, 0, 0, nullptr, nullptr},
        };
        QkRegistration::start(&module, 1, std::size(rows), true);
        QkRegistration::addNets(&module, std::size(rows), rows);
        QkRegistration::end(&module);
        qk_cli("trace top.*");
    }
    void step() {
        back ^= clk;
        low = low * 3 + bus;
        high = static_cast<uint8_t>(low >> 60);
        qk_takenote();
    }
};

Model* model;

void require(bool condition) {
    if (!condition) std::abort();
}

void setOptions(unsigned bits) {
    static const int kVerbosity[] = {0, 1, 3, 4};
    qk_mtc_step_on_clock(bits & 1);
    qk_mtc_clock_first(bits % 3 == 0);
    qk_mtc_map("top", bits & 2 ? "other" : nullptr);
    qk_mtc_synctime(bits >> 2 & 1, nullptr);
    qk_mtc_stimulus("top.wide", bits & 8 ? "top.wide" : nullptr);
    qkLiveModel->reader.verbosestep = (bits & 16) != 0;
    qkLiveModel->reader.threshold = bits & 32 ? -1 : 1;
    qkLiveModel->reader.verbose = kVerbosity[bits >> 6 & 3];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_prints = [](const char*) {};
    if (!model) {
        static Model made;
        model = &made;
        qk_step_fn = [] { model->step(); };
    }
    static const int file = memfd_create("trace", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    const size_t options = size < 2 ? size : 2;
    require(ftruncate(file, 0) == 0);
    require(pwrite(file, data + options, size - options, 0) ==
            static_cast<ssize_t>(size - options));
    setOptions(options > 0 ? data[0] : 0);
    qk_strict = options > 1 && (data[1] & 1);
    qk_mtc(path.c_str());
    require(!qkLiveModel->reader.fileIsOpen() && !qkLiveModel->reader.vcdModel);
    require(waitingToSync == nullptr && nOutOfSync == 0);
    require(model->guardBefore == 0x5a && model->guardAfter == 0x5a && model->clk < 2);
    for (const uint16_t element : model->memory) require(element < 0x200);
    qk_cycle = 0;
    return 0;
}
