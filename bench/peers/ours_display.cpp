// $display through the calls of generated code, beside other simulators.
//
// usage: ours_display KIND LINES OUTFILE
//
// KIND is 1 for a line of narrow values, 2 for one of 128-bit values, 3 for plain text. The lines
// go to OUTFILE through the default delivery, then once more to a delivery that only counts bytes.
#include "bench/peers/display_lines.h"
#include "bench/peers/stimulus.h"
#include "qkzeft_run.h"

namespace {

size_t bytesKept = 0;

double nsPerLine(int kind, size_t lines) {
    DisplayLines design;
    const uint64_t from = nowNs();
    for (size_t i = 0; i < lines; ++i) design.step(kind);
    return static_cast<double>(nowNs() - from) / static_cast<double>(lines);
}

}  // namespace

int main(int argc, char** argv) {
    FILE* const out = argc == 4 ? std::fopen(argv[3], "w") : nullptr;
    if (!out) {
        std::fprintf(stderr, "usage: %s KIND LINES OUTFILE\n", argv[0]);
        return 2;
    }
    const int kind = std::atoi(argv[1]);
    const size_t lines = std::strtoull(argv[2], nullptr, 10);
    qk_stdout = out;
    const double delivered = nsPerLine(kind, lines);
    qk_stdout = stdout;
    std::fclose(out);
    qk_prints = [](const char* text) { bytesKept += std::strlen(text); };
    const double kept = nsPerLine(kind, lines);
    result("Mlines_per_s", 1e3 / delivered);
    result("ns_per_line", delivered);
    result("kept_Mlines_per_s", 1e3 / kept);
    result("kept_ns_per_line", kept);
    return bytesKept >= lines ? 0 : 3;
}
