// A memory image read by Verilator's $readmemh.
//
// usage: verilator_readmem BITS WORDS FILE
#include <verilated.h>

#include "bench/peers/stimulus.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s BITS WORDS FILE\n", argv[0]);
        return 2;
    }
    const int bits = std::atoi(argv[1]);
    const uint64_t words = std::strtoull(argv[2], nullptr, 10);
    std::vector<uint32_t> memory(words * static_cast<uint64_t>((bits + 31) / 32));
    const uint64_t from = nowNs();
    VL_READMEM_N(true, bits, words, 0, argv[3], memory.data(), 0, words - 1);
    const auto ns = static_cast<double>(nowNs() - from);
    result("Mwords_per_s", static_cast<double>(words) * 1e3 / ns);
    return memory[0] == 1 ? 3 : 0;  // the memory is used
}
