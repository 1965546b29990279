// Registration of many nets, and look-up of each by its full name, beside other simulators' code.
//
// usage: ours_elab NETS
#include "bench/peers/stimulus_rows.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

constexpr size_t kNetsPerScope = 1000;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s NETS\n", argv[0]);
        return 2;
    }
    const size_t count = std::strtoull(argv[1], nullptr, 10);
    const size_t scopes = (count + kNetsPerScope - 1) / kNetsPerScope;
    Stimulus stimulus(count, 0, false);
    std::vector<std::string> names, paths;
    for (size_t i = 0; i < kNetsPerScope; ++i) names.push_back("n" + std::to_string(i));
    for (size_t s = 0; s < scopes; ++s) paths.push_back("u" + std::to_string(s));
    // The tables are constants of a generated model.
    std::vector<QkGRScope> scopeRows;
    for (size_t s = 0; s < scopes; ++s)
        scopeRows.push_back({0, static_cast<int>(s) + 1, paths[s].c_str(), 0});
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < count; ++i)
        appendRows(rows, stimulus, i, static_cast<int>(i / kNetsPerScope) + 1,
                   names[i % kNetsPerScope].c_str());

    kelvo_module top("top", "top");
    const double bytesBefore = peakBytes();
    uint64_t from = nowNs();
    QkRegistration::start(&top, static_cast<int>(scopes) + 1, static_cast<int>(rows.size()), false);
    QkRegistration::addScopes(&top, static_cast<int>(scopes), scopeRows.data());
    QkRegistration::addNets(&top, static_cast<int>(rows.size()), rows.data());
    QkRegistration::end(&top);
    completeRegistration(true);
    const auto ns = static_cast<double>(nowNs() - from);
    result("register_ms", ns / 1e6);
    result("register_ns_per_net", ns / static_cast<double>(count));
    result("bytes_per_net", (peakBytes() - bytesBefore) / static_cast<double>(count));

    Random random;
    size_t found = 0;
    const size_t looks = count < 200000 ? count : 200000;
    std::vector<std::string> wanted;
    for (size_t q = 0; q < looks; ++q) {
        const size_t i = random() % count;
        wanted.push_back("top." + paths[i / kNetsPerScope] + "." + names[i % kNetsPerScope]);
    }
    from = nowNs();
    for (const std::string& name : wanted) found += qkLiveModel->findOne(name.c_str()) != nullptr;
    result("lookup_ns", static_cast<double>(nowNs() - from) / static_cast<double>(looks));
    result("found_percent", static_cast<double>(found) * 100 / static_cast<double>(looks));
}
