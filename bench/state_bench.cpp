// Saving and loading the state of a large design, beside what the machine allows for the bytes.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/compare.h"
#include "bench/peers/stimulus_rows.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

constexpr size_t kNetsOfScope = 1000;

/// Designs of scopes with 1000 nets each, whose state is kept in memory: with a disk, only the disk
/// would be measured.
class LargeDesign {
public:
    explicit LargeDesign(size_t count) : stimulus(count, 100, false) {
        qk_prints = [](const char*) {};
        file = memfd_create("state", 0);
        directory = "/tmp/state_bench.XXXXXX";
        const std::string place = "/proc/self/fd/" + std::to_string(file);
        if (!mkdtemp(directory.data()) || symlink(place.c_str(), (prefix() + ".vcd").c_str()) != 0)
            std::abort();
        stimulus.step();
        std::vector<std::string> scopeNames, names;
        for (size_t i = 0; i < kNetsOfScope; ++i) names.push_back("net" + std::to_string(i));
        const size_t scopeCount = (count + kNetsOfScope - 1) / kNetsOfScope;
        for (size_t i = 0; i < scopeCount; ++i) scopeNames.push_back("u" + std::to_string(i));
        std::vector<QkGRScope> scopes;
        for (size_t i = 0; i < scopeCount; ++i)
            scopes.push_back({0, static_cast<int>(i) + 1, scopeNames[i].c_str(), 0});
        std::vector<QkGRNet> rows;
        for (size_t i = 0; i < count; ++i)
            appendRows(rows, stimulus, i, static_cast<int>(i / kNetsOfScope) + 1,
                       names[i % kNetsOfScope].c_str());
        const int scopeRows = static_cast<int>(scopeCount), netRows = static_cast<int>(rows.size());
        module = std::make_unique<kelvo_module>("bench", "top");
        QkRegistration::start(module.get(), 1 + scopeRows, netRows, false);
        QkRegistration::addScopes(module.get(), scopeRows, scopes.data());
        QkRegistration::addNets(module.get(), netRows, rows.data());
        QkRegistration::end(module.get());
        if (!qk_savesim(prefix().c_str())) std::abort();
        readFile();
        NameRing::each(qkLiveModel->names, [&](const QkName* name) {
            const FullName fullName(name);
            fullNames.emplace_back(fullName.c_str());
        });
        size_t i = 0;
        NameRing::each(qkLiveModel->names,
                       [&](const QkName* name) { byName.emplace(fullNames[i++], name); });
    }
    ~LargeDesign() {
        module.reset();
        unlink((prefix() + ".vcd").c_str());
        rmdir(directory.c_str());
        close(file);
    }

    std::string prefix() const { return directory + "/s"; }

    /// The limit of a load: all of the file read, and a look-up for each name.
    void readFile() {
        text.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
        if (pread(file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
            std::abort();
    }
    size_t findNames() const {
        size_t found = 0;
        for (const std::string& name : fullNames) found += byName.count(name);
        return found;
    }
    /// The limit of a save: its bytes written.
    void writeFile() const {
        if (ftruncate(file, 0) != 0) std::abort();
        constexpr size_t block = 256 * 1024;
        for (size_t at = 0; at < text.size(); at += block) {
            const size_t bytes = std::min(block, text.size() - at);
            if (pwrite(file, text.data() + at, bytes, static_cast<off_t>(at)) !=
                static_cast<ssize_t>(bytes))
                std::abort();
        }
    }

    std::string text;  ///< of the file

private:
    Stimulus stimulus;
    std::unique_ptr<kelvo_module> module;
    std::string directory;
    int file;
    std::vector<std::string> fullNames;
    std::unordered_map<std::string_view, const QkName*> byName;
};

void BM_SaveState(benchmark::State& state) {
    LargeDesign design(static_cast<size_t>(state.range(0)));
    compareWithLimit(
        state, [&] { qk_savesim(design.prefix().c_str()); }, [&] { design.writeFile(); });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(design.text.size()));
}
BENCHMARK(BM_SaveState)->Arg(2000)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_LoadState(benchmark::State& state) {
    LargeDesign design(static_cast<size_t>(state.range(0)));
    compareWithLimit(
        state, [&] { qk_loadsim(design.prefix().c_str()); },
        [&] {
            design.readFile();
            benchmark::DoNotOptimize(design.findNames());
        });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(design.text.size()));
}
BENCHMARK(BM_LoadState)->Arg(2000)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
