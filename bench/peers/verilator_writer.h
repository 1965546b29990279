// A waveform by one of Verilator's writers, called as its generated code calls them.
#pragma once

#include <sys/stat.h>

#include "bench/peers/stimulus.h"

template <class Writer, class Declare>
class VerilatorRun {
    using Trace = std::remove_pointer_t<decltype(std::declval<Writer>().spTrace())>;
    using Buffer = typename Trace::Buffer;

public:
    explicit VerilatorRun(Stimulus& source) : stimulus(source) {}

    void write(const char* path, uint64_t steps) {
        Writer writer;
        writer.spTrace()->addInitCb(declare, this);
        writer.spTrace()->addFullCb(dumpAll, this);
        writer.spTrace()->addChgCb(dumpChanges, this);
        writer.open(path);
        writer.dump(uint64_t{0});
        writer.flush();
        struct stat status;
        const auto fileBytes = [&] {
            return stat(path, &status) == 0 ? static_cast<double>(status.st_size) : 0;
        };
        const double headBytes = fileBytes();
        uint64_t spent = 0;
        const double stimulusNs = processorNsOf(stimulus, steps);
        const double processorBefore = processorNs();
        for (uint64_t step = 1; step <= steps; ++step) {
            stimulus.step();
            const uint64_t from = nowNs();
            writer.dump(step);
            spent += nowNs() - from;
        }
        const auto loopNs = static_cast<double>(spent);
        const uint64_t from = nowNs();
        writer.close();
        const auto ns = static_cast<double>(spent + nowNs() - from);
        result("ns_per_net_step",
               ns / (static_cast<double>(stimulus.nets.size()) * static_cast<double>(steps)));
        if (!stimulus.changes) return;
        const auto changes = static_cast<double>(stimulus.changes);
        result("ns_per_change", ns / changes);
        result("loop_ns_per_change", loopNs / changes);
        result("processor_ns_per_change", (processorNs() - processorBefore - stimulusNs) / changes);
        result("bytes_per_change", (fileBytes() - headBytes) / changes);
    }

private:
    static void declare(void* user, Trace* trace, uint32_t base) {
        auto& run = *static_cast<VerilatorRun*>(user);
        run.base = base;
        trace->pushNamePrefix(std::string("top "));
        uint32_t next = 0;
        for (const StimulusNet& net : run.stimulus.nets) {
            const std::string name = "n" + std::to_string(run.codes.size());
            run.codes.push_back(next);
            Declare::declare(trace, base + next, name.c_str(), net.width);
            next += (net.width + 31) / 32;
        }
        trace->popNamePrefix();
    }

    static void dumpAll(void* user, Buffer* buffer) {
        auto& run = *static_cast<VerilatorRun*>(user);
        uint32_t* const old = buffer->oldp(run.base);
        for (size_t i = 0; i < run.codes.size(); ++i) {
            const unsigned char* const at = run.stimulus.at(i);
            uint32_t* const code = old + run.codes[i];
            switch (run.stimulus.nets[i].width) {
                case 1: buffer->fullBit(code, *at); break;
                case 8: buffer->fullCData(code, *at, 8); break;
                case 32: buffer->fullIData(code, *reinterpret_cast<const IData*>(at), 32); break;
                case 64: buffer->fullQData(code, *reinterpret_cast<const QData*>(at), 64); break;
                default: buffer->fullWData(code, reinterpret_cast<const EData*>(at), 128);
            }
        }
    }

    static void dumpChanges(void* user, Buffer* buffer) {
        auto& run = *static_cast<VerilatorRun*>(user);
        uint32_t* const old = buffer->oldp(run.base);
        const unsigned char* const memory = run.stimulus.at(0);
        const StimulusNet* net = run.stimulus.nets.data();
        for (const uint32_t offset : run.codes) {
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

    Stimulus& stimulus;
    std::vector<uint32_t> codes;
    uint32_t base = 0;
};

/// usage: PROGRAM NETS STEPS PERCENT random|small FILE
template <class Writer, class Declare>
int writeWaveform(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s NETS STEPS PERCENT random|small FILE\n", argv[0]);
        return 2;
    }
    Stimulus stimulus(std::strtoull(argv[1], nullptr, 10), std::atof(argv[3]),
                      std::strcmp(argv[4], "small") == 0);
    VerilatorRun<Writer, Declare>(stimulus).write(argv[5], std::strtoull(argv[2], nullptr, 10));
    return 0;
}
