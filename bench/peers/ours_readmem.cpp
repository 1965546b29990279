// Loading a memory image into a registered array, beside other simulators' code.
//
// usage: ours_readmem BITS WORDS FILE
#include "bench/peers/stimulus.h"
#include "qkzeft.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s BITS WORDS FILE\n", argv[0]);
        return 2;
    }
    const int bits = std::atoi(argv[1]);
    const auto words = static_cast<int>(std::strtoul(argv[2], nullptr, 10));
    std::vector<std::vector<uint64_t>> parts;
    std::vector<QkGRNet> rows;
    for (int at = 0; at < bits; at += 64) {
        const int top = bits - at > 64 ? at + 63 : bits - 1;
        parts.emplace_back(static_cast<size_t>(words));
        rows.push_back({0, static_cast<int>(rows.size()) + 1, "mem", parts.back().data(), top, at,
                        (bits > 64 ? 0x201u : 1u) | QK_array, words - 1, 0, 0, 0, nullptr,
                        nullptr});
    }
    kelvo_module module("top", "top");
    QkRegistration::start(&module, 1, static_cast<int>(rows.size()), false);
    QkRegistration::addNets(&module, static_cast<int>(rows.size()), rows.data());
    QkRegistration::end(&module);
    qk_prints = [](const char*) {};

    const uint64_t from = nowNs();
    if (!qk_readmemh("top.mem", argv[3])) return 1;
    const auto ns = static_cast<double>(nowNs() - from);
    std::FILE* const file = std::fopen(argv[3], "r");
    if (!file || std::fseek(file, 0, SEEK_END) != 0) return 1;
    result("Mwords_per_s", words * 1e3 / ns);
    result("MB_per_s", static_cast<double>(std::ftell(file)) * 1e3 / ns);
    std::fclose(file);
}
