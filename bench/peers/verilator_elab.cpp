// Verilator's tables of public nets, filled as its generated code fills them, and look-up of each
// by its full name.
//
// usage: verilator_elab NETS
#include <verilated.h>
#include <verilated_syms.h>

#include "bench/peers/stimulus.h"

namespace {

constexpr size_t kNetsPerScope = 1000;

VerilatedVarType typeOf(uint32_t width) {
    return width <= 8    ? VLVT_UINT8
           : width <= 32 ? VLVT_UINT32
           : width <= 64 ? VLVT_UINT64
                         : VLVT_WDATA;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s NETS\n", argv[0]);
        return 2;
    }
    const size_t count = std::strtoull(argv[1], nullptr, 10);
    Stimulus stimulus(count, 0, false);
    std::vector<std::string> names, paths;
    for (size_t i = 0; i < kNetsPerScope; ++i) names.push_back("n" + std::to_string(i));
    for (size_t i = 0; i * kNetsPerScope < count; ++i) paths.push_back("t.u" + std::to_string(i));

    const double bytesBefore = peakBytes();
    uint64_t from = nowNs();
    VerilatedContext context;
    Verilated::threadContextp(&context);
    VerilatedSyms symbols{&context};
    std::vector<VerilatedScope> scopes(paths.size());
    for (size_t s = 0; s < scopes.size(); ++s)
        scopes[s].configure(&symbols, "TOP", paths[s].c_str(), paths[s].c_str() + 2, -12,
                            VerilatedScope::SCOPE_MODULE);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t width = stimulus.nets[i].width;
        scopes[i / kNetsPerScope].varInsert(1, names[i % kNetsPerScope].c_str(), stimulus.at(i),
                                            false, typeOf(width), VLVD_NODIR | VLVF_PUB_RW,
                                            width == 1 ? 0 : 1, static_cast<int>(width) - 1, 0);
    }
    const auto ns = static_cast<double>(nowNs() - from);
    result("register_ms", ns / 1e6);
    result("bytes_per_net", (peakBytes() - bytesBefore) / static_cast<double>(count));

    Random random;
    size_t found = 0;
    const size_t looks = count < 200000 ? count : 200000;
    std::vector<std::pair<std::string, const char*>> wanted;
    for (size_t q = 0; q < looks; ++q) {
        const size_t i = random() % count;
        wanted.emplace_back("TOP." + paths[i / kNetsPerScope], names[i % kNetsPerScope].c_str());
    }
    from = nowNs();
    for (const auto& [path, name] : wanted)
        if (const VerilatedScope* const scope = Verilated::scopeFind(path.c_str()))
            found += scope->varFind(name) != nullptr;
    result("lookup_ns", static_cast<double>(nowNs() - from) / static_cast<double>(looks));
    result("found_percent", static_cast<double>(found) * 100 / static_cast<double>(looks));
}
