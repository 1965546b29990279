// VCD text by Verilator's writer, called as its generated code calls it.
//
// usage: verilator_vcd NETS STEPS PERCENT random|small FILE
#include <sys/stat.h>
#include <verilated_vcd_c.h>

#include "bench/peers/stimulus.h"

namespace {

struct Design {
    Stimulus* stimulus;
    std::vector<uint32_t> codes;
    uint32_t base;
};

void declare(void* user, VerilatedVcd* vcd, uint32_t base) {
    Design& design = *static_cast<Design*>(user);
    design.base = base;
    vcd->pushNamePrefix(std::string("top "));
    uint32_t next = 0;
    for (const StimulusNet& net : design.stimulus->nets) {
        const std::string name = "n" + std::to_string(design.codes.size());
        const uint32_t code = base + next;
        const int top = static_cast<int>(net.width) - 1;
        design.codes.push_back(next);
        next += (net.width + 31) / 32;
        if (net.width == 1)
            vcd->declBit(code, name.c_str(), false, -1);
        else if (net.width <= 32)
            vcd->declBus(code, name.c_str(), false, -1, top, 0);
        else if (net.width <= 64)
            vcd->declQuad(code, name.c_str(), false, -1, top, 0);
        else
            vcd->declArray(code, name.c_str(), false, -1, top, 0);
    }
    vcd->popNamePrefix();
}

void dumpAll(void* user, VerilatedVcd::Buffer* buffer) {
    const Design& design = *static_cast<Design*>(user);
    uint32_t* const old = buffer->oldp(design.base);
    for (size_t i = 0; i < design.codes.size(); ++i) {
        const unsigned char* const at = design.stimulus->at(i);
        uint32_t* const code = old + design.codes[i];
        switch (design.stimulus->nets[i].width) {
            case 1: buffer->fullBit(code, *at); break;
            case 8: buffer->fullCData(code, *at, 8); break;
            case 32: buffer->fullIData(code, *reinterpret_cast<const IData*>(at), 32); break;
            case 64: buffer->fullQData(code, *reinterpret_cast<const QData*>(at), 64); break;
            default: buffer->fullWData(code, reinterpret_cast<const EData*>(at), 128);
        }
    }
}

void dumpChanges(void* user, VerilatedVcd::Buffer* buffer) {
    const Design& design = *static_cast<Design*>(user);
    uint32_t* const old = buffer->oldp(design.base);
    const unsigned char* const memory = design.stimulus->at(0);
    const StimulusNet* net = design.stimulus->nets.data();
    for (const uint32_t offset : design.codes) {
        const unsigned char* const at = memory + net->offset;
        uint32_t* const code = old + offset;
        switch ((net++)->width) {
            case 1: buffer->chgBit(code, *at); break;
            case 8: buffer->chgCData(code, *at, 8); break;
            case 32: buffer->chgIData(code, *reinterpret_cast<const IData*>(at), 32); break;
            case 64: buffer->chgQData(code, *reinterpret_cast<const QData*>(at), 64); break;
            default: buffer->chgWData(code, reinterpret_cast<const EData*>(at), 128);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s NETS STEPS PERCENT random|small FILE\n", argv[0]);
        return 2;
    }
    const uint64_t steps = std::strtoull(argv[2], nullptr, 10);
    Stimulus stimulus(std::strtoull(argv[1], nullptr, 10), std::atof(argv[3]),
                      std::strcmp(argv[4], "small") == 0);
    Design design{&stimulus, {}, 0};
    VerilatedVcdC vcd;
    vcd.spTrace()->addInitCb(declare, &design);
    vcd.spTrace()->addFullCb(dumpAll, &design);
    vcd.spTrace()->addChgCb(dumpChanges, &design);
    vcd.open(argv[5]);
    vcd.dump(uint64_t{0});
    vcd.flush();
    uint64_t spent = 0;
    for (uint64_t step = 1; step <= steps; ++step) {
        stimulus.step();
        const uint64_t from = nowNs();
        vcd.dump(step);
        spent += nowNs() - from;
    }
    const uint64_t from = nowNs();
    vcd.close();
    const auto ns = static_cast<double>(spent + nowNs() - from);
    result("ns_per_net_step",
           ns / (static_cast<double>(stimulus.nets.size()) * static_cast<double>(steps)));
    if (stimulus.changes) result("ns_per_change", ns / static_cast<double>(stimulus.changes));
}
