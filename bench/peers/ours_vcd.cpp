// Waveforms of changing nets, beside other simulators' writers: plain VCD text, or gzip or FST by
// the name of the file.
//
// usage: ours_vcd NETS STEPS PERCENT random|small FILE
//            [plain|avx2|avx512|best [sorted|scattered [WORK]]]
//
// Names sort as their nets lie in memory, so that the order of the waveform is that of memory, as
// it is for the other writers; "scattered" gives names that sort otherwise. WORK is how many
// nanoseconds the model computes for each change, which are not timed.
//
// Prints "NAME VALUE" lines. Only captures and the end of the file are timed, not the stimulus, the
// registration and the first dump.
#include <sys/stat.h>

#include "bench/peers/stimulus_rows.h"
#include "model/live_model.h"
#include "qkzeft.h"
#include "tracing/hot_loops.h"

namespace {

std::vector<std::string> names;
unsigned char headNet = 0;

std::string nameOf(size_t net, bool scattered) {
    const std::string number = std::to_string(net);
    return scattered ? "n" + number : "n" + std::string(8 - number.size(), '0') + number;
}

void registerNets(Stimulus& stimulus, bool scattered) {
    static kelvo_module top("top", "top");
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < stimulus.nets.size(); ++i) names.push_back(nameOf(i, scattered));
    for (size_t i = 0; i < stimulus.nets.size(); ++i)
        appendRows(rows, stimulus, i, 0, names[i].c_str());
    rows.push_back({0, static_cast<int>(rows.size()) + 1, "head", &headNet, 7, 0, 1, 0, 0, 0, 0,
                    nullptr, nullptr});
    QkRegistration::start(&top, 1, static_cast<int>(rows.size()), false);
    QkRegistration::addNets(&top, static_cast<int>(rows.size()), rows.data());
    QkRegistration::end(&top);
}

/// Changes a separate net until the history overflows, which writes the header of the file and the
/// initial values.
void writeHead() {
    while (!qkLiveModel->writer.scopesWritten) {
        ++headNet;
        ++qk_cycle;
        qk_takenote();
    }
}

void chooseUnit(const std::string& name) {
    for (int unit = kPlainUnit; unit < kVectorUnitCount; ++unit)
        if (const HotLoops* const loops = hotLoopsOf(static_cast<VectorUnit>(unit)))
            if (loops->name == name) useVectorUnit(static_cast<VectorUnit>(unit));
}

void computeFor(uint64_t ns) {
    for (const uint64_t from = nowNs(); nowNs() - from < ns;) continue;
}

double fileBytes(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 ? static_cast<double>(status.st_size) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6) {
        std::fprintf(stderr,
                     "usage: %s NETS STEPS PERCENT random|small FILE "
                     "[UNIT [sorted|scattered [WORK]]]\n",
                     argv[0]);
        return 2;
    }
    const auto steps = static_cast<uint64_t>(std::strtoull(argv[2], nullptr, 10));
    Stimulus stimulus(std::strtoull(argv[1], nullptr, 10), std::atof(argv[3]),
                      std::strcmp(argv[4], "small") == 0);
    if (argc > 6) chooseUnit(argv[6]);
    qk_prints = [](const char*) {};

    const uint64_t before = nowNs();
    registerNets(stimulus, argc > 7 && std::strcmp(argv[7], "scattered") == 0);
    qk_cli("trace *");
    qk_traceto(argv[5]);
    writeHead();
    const auto setup = static_cast<double>(nowNs() - before);
    const double headBytes = fileBytes(argv[5]);
    uint64_t spent = 0;
    const uint64_t work = argc > 8 ? std::strtoull(argv[8], nullptr, 10) : 0;
    const double stimulusNs = processorNsOf(stimulus, steps);
    const double processorBefore = processorNs();
    for (uint64_t step = 1; step <= steps; ++step) {
        const uint64_t changesBefore = stimulus.changes;
        stimulus.step();
        if (work != 0) computeFor(work * (stimulus.changes - changesBefore));
        ++qk_cycle;
        const uint64_t from = nowNs();
        qk_takenote();
        spent += nowNs() - from;
    }
    const auto loopNs = static_cast<double>(spent);
    const uint64_t from = nowNs();
    qk_traceclose();
    const auto ns = static_cast<double>(spent + nowNs() - from);

    const auto changes = static_cast<double>(stimulus.changes);
    result("setup_ms", setup / 1e6);
    result("ns_per_net_step",
           ns / (static_cast<double>(stimulus.nets.size()) * static_cast<double>(steps)));
    if (stimulus.changes == 0) return 0;
    result("Mchanges", changes / 1e6);
    result("Mchanges_per_s", changes * 1e3 / ns);
    result("ns_per_change", ns / changes);
    result("loop_ns_per_change", loopNs / changes);
    result("processor_ns_per_change", (processorNs() - processorBefore - stimulusNs) / changes);
    result("MB_per_s", (fileBytes(argv[5]) - headBytes) * 1e3 / ns);
    result("bytes_per_change", (fileBytes(argv[5]) - headBytes) / changes);
}
