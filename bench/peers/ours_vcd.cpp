// VCD text from changing nets, beside other simulators' writers.
//
// usage: ours_vcd NETS STEPS PERCENT random|small FILE [plain|avx2|avx512]
//
// Prints "NAME VALUE" lines. Only captures and the end of the file are timed, not the stimulus, the
// registration and the first dump.
#include <sys/stat.h>

#include "bench/peers/stimulus.h"
#include "netdb/live_model.h"
#include "qkzeft.h"
#include "tracing/hot_loops.h"

namespace {

std::vector<std::string> names;

void registerNets(Stimulus& stimulus) {
    static kelvo_module top("top", "top");
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < stimulus.nets.size(); ++i) names.push_back("n" + std::to_string(i));
    const auto add = [&](size_t i, unsigned char* at, int left, int right, unsigned mode) {
        rows.push_back({0, static_cast<int>(rows.size()) + 1, names[i].c_str(), at, left, right,
                        mode, 0, 0, 0, 0, nullptr, nullptr});
    };
    for (size_t i = 0; i < stimulus.nets.size(); ++i) {
        const int width = static_cast<int>(stimulus.nets[i].width);
        if (width <= 64) {
            add(i, stimulus.at(i), width - 1, 0, 1);
        } else {
            add(i, stimulus.at(i), 63, 0, 0x201);
            add(i, stimulus.at(i) + 8, width - 1, 64, 0x201);
        }
    }
    QkRegistration::start(&top, 1, static_cast<int>(rows.size()), false);
    QkRegistration::addNets(&top, static_cast<int>(rows.size()), rows.data());
    QkRegistration::end(&top);
}

void chooseUnit(const std::string& name) {
    for (int unit = kPlainUnit; unit < kVectorUnitCount; ++unit)
        if (const HotLoops* const loops = hotLoopsOf(static_cast<VectorUnit>(unit)))
            if (loops->name == name) useVectorUnit(static_cast<VectorUnit>(unit));
}

double fileBytes(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 ? static_cast<double>(status.st_size) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6) {
        std::fprintf(stderr, "usage: %s NETS STEPS PERCENT random|small FILE [UNIT]\n", argv[0]);
        return 2;
    }
    const auto steps = static_cast<uint64_t>(std::strtoull(argv[2], nullptr, 10));
    Stimulus stimulus(std::strtoull(argv[1], nullptr, 10), std::atof(argv[3]),
                      std::strcmp(argv[4], "small") == 0);
    if (argc > 6) chooseUnit(argv[6]);
    qk_prints = [](const char*) {};

    const uint64_t before = nowNs();
    registerNets(stimulus);
    qk_cli("trace *");
    qk_traceto(argv[5]);
    qk_takenote();
    const auto setup = static_cast<double>(nowNs() - before);
    uint64_t spent = 0;
    for (uint64_t step = 1; step <= steps; ++step) {
        stimulus.step();
        qk_cycle = step;
        const uint64_t from = nowNs();
        qk_takenote();
        spent += nowNs() - from;
    }
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
    result("MB_per_s", fileBytes(argv[5]) * 1e3 / ns);
    result("bytes_per_change", fileBytes(argv[5]) / changes);
}
