// Registration, completion and look-up beside plain containers.
#include <sys/mman.h>

#include <cstring>
#include <deque>
#include <unordered_map>

#include "bench/compare.h"
#include "bench/peers/stimulus.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

constexpr size_t kNetsPerScope = 1000;

/// Tables of a design whose nets lie in scopes of a thousand.
struct Tables {
    explicit Tables(size_t count) : storage(count * 8) {
        for (size_t i = 0; i < kNetsPerScope; ++i) names.push_back("net_" + std::to_string(i));
        const size_t scopeCount = (count + kNetsPerScope - 1) / kNetsPerScope;
        for (size_t s = 0; s < scopeCount; ++s) paths.push_back("u" + std::to_string(s));
        for (size_t s = 0; s < scopeCount; ++s)
            scopes.push_back({0, static_cast<int>(s) + 1, paths[s].c_str(), 0});
        for (size_t i = 0; i < count; ++i)
            nets.push_back({static_cast<int>(i / kNetsPerScope) + 1, static_cast<int>(i) + 1,
                            names[i % kNetsPerScope].c_str(), &storage[i * 8], 31, 0, 1, 0, 0, 0, 0,
                            nullptr, nullptr});
    }
    void registerAll(kelvo_module& module) const {
        QkRegistration::start(&module, static_cast<int>(scopes.size()) + 1,
                              static_cast<int>(nets.size()), false);
        QkRegistration::addScopes(&module, static_cast<int>(scopes.size()), scopes.data());
        QkRegistration::addNets(&module, static_cast<int>(nets.size()), nets.data());
        QkRegistration::end(&module);
        completeRegistration(true);
    }
    std::string fullName(size_t i) const {
        return "top." + paths[i / kNetsPerScope] + "." + names[i % kNetsPerScope];
    }

    std::vector<std::string> names, paths;
    std::vector<unsigned char> storage;
    std::vector<QkGRScope> scopes;
    std::vector<QkGRNet> nets;
};

/// Registered and complete, beside the kernel's first touch of as much memory as that takes.
void BM_Register(benchmark::State& state) {
    constexpr size_t bytesPerNet = 256;
    const auto count = static_cast<size_t>(state.range(0));
    const Tables tables(count);
    double ours = 0, limit = 0;
    for (auto _ : state) {
        uint64_t from = nowNs();
        void* const block = mmap(nullptr, count * bytesPerNet, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        for (size_t at = 0; at < count * bytesPerNet; at += 4096)
            static_cast<volatile char*>(block)[at] = 1;
        limit += static_cast<double>(nowNs() - from);
        munmap(block, count * bytesPerNet);

        kelvo_module module("bench", "top");
        from = nowNs();
        tables.registerAll(module);
        const auto time = static_cast<double>(nowNs() - from);
        ours += time;
        state.SetIterationTime(time / 1e9);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["of_limit"] = limit / ours;
}
BENCHMARK(BM_Register)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Modules with one net each, below one that has a net too: made, traced and destroyed, after the
/// first round with the names of those before; compared with one insertion for each module into a
/// hash table of the standard library.
void BM_Modules(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    std::vector<std::string> names;
    for (size_t i = 0; i < count; ++i) names.push_back("i" + std::to_string(i));
    unsigned char top = 0;
    std::vector<unsigned char> storage(count);
    kelvo_module parent("bench", "top");
    const auto registerNet = [](kelvo_module& module, void* address) {
        const QkGRNet row{0, 1, "n", address, 7, 0, 1, 0, 0, 0, 0, nullptr, nullptr};
        QkRegistration::start(&module, 1, 1, false);
        QkRegistration::addNets(&module, 1, &row);
        QkRegistration::end(&module);
    };
    registerNet(parent, &top);
    compareWithLimit(
        state,
        [&] {
            std::deque<kelvo_module> modules;
            for (size_t i = 0; i < count; ++i) {
                kelvo_module& module = modules.emplace_back("bench");
                module.qk_setup(names[i].c_str(), &parent);
                registerNet(module, &storage[i]);
            }
            qk_cli("trace *");
        },
        [&] {
            std::unordered_map<std::string, void*> table;
            for (size_t i = 0; i < count; ++i) table.emplace(names[i], &storage[i]);
            benchmark::DoNotOptimize(table);
        });
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Modules)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);

/// A net looked up by its full name, beside a hash table of the standard library.
void BM_LookUp(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Tables tables(count);
    kelvo_module module("bench", "top");
    tables.registerAll(module);
    std::unordered_map<std::string, size_t> table;
    for (size_t i = 0; i < count; ++i) table.emplace(tables.fullName(i), i);
    Random random;
    std::vector<std::string> wanted;
    for (int i = 0; i < 20000; ++i) wanted.push_back(tables.fullName(random() % count));
    compareWithLimit(
        state,
        [&] {
            for (const std::string& name : wanted)
                benchmark::DoNotOptimize(qkLiveModel->findOne(name.c_str()));
        },
        [&] {
            for (const std::string& name : wanted) benchmark::DoNotOptimize(table.find(name));
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(wanted.size()));
}
BENCHMARK(BM_LookUp)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();

/// A pattern walk over all names, beside one pass over the texts of all full names.
void BM_PatternWalk(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Tables tables(count);
    kelvo_module module("bench", "top");
    tables.registerAll(module);
    std::vector<std::string> all;
    for (size_t i = 0; i < count; ++i) all.push_back(tables.fullName(i));
    compareWithLimit(
        state, [&] { benchmark::DoNotOptimize(qkLiveModel->matching("*.net_77*")); },
        [&] {
            size_t found = 0;
            for (const std::string& name : all) found += name.find(".net_77") != std::string::npos;
            benchmark::DoNotOptimize(found);
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}
BENCHMARK(BM_PatternWalk)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();

/// A wave that copies 10,000 nets from their owners, beside one copy of the same bytes.
/// @param state  range 0: bytes from one net to the next; 4: they are adjacent
void BM_CopyOwners(benchmark::State& state) {
    constexpr size_t count = 10000;
    const auto stride = static_cast<size_t>(state.range(0));
    std::vector<unsigned char> owners(count * stride), shadows(count * stride);
    std::vector<std::string> names;
    for (size_t i = 0; i < count; ++i) names.push_back("n" + std::to_string(i));
    std::vector<QkGRNet> owned, copied;
    for (size_t i = 0; i < count; ++i) {
        const int id = static_cast<int>(i) + 1;
        owned.push_back(
            {0, id, names[i].c_str(), &owners[i * stride], 31, 0, 1, 0, 0, 0, 0, nullptr, nullptr});
        copied.push_back({0, id, names[i].c_str(), &shadows[i * stride], 31, 0, 1, 0, 0, 0,
                          QK_flag_shadow, &owners[i * stride], nullptr});
    }
    kelvo_module top("bench", "top"), child("bench", "child");
    for (const auto& [module, rows] : {std::pair{&top, &owned}, {&child, &copied}}) {
        QkRegistration::start(module, 1, static_cast<int>(rows->size()), false);
        QkRegistration::addNets(module, static_cast<int>(rows->size()), rows->data());
        QkRegistration::end(module);
    }
    child.qk_finalize_wave();
    std::vector<unsigned char> from(count * 4), to(count * 4);
    compareWithLimit(
        state,
        [&] {
            child.qk_finalize_wave();
            benchmark::ClobberMemory();
        },
        [&] {
            std::memcpy(to.data(), from.data(), from.size());
            benchmark::ClobberMemory();
        });
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(count) * 4);
}
BENCHMARK(BM_CopyOwners)->Arg(4)->Arg(16)->UseManualTime();

/// Waves with eight noted writes to a traced array, beside the same writes to a plain one and an
/// entry of 16 bytes for each. The cost should be the same for arrays of all sizes.
void BM_TracedArray(benchmark::State& state) {
    constexpr uint32_t writes = 8;
    constexpr int waves = 1000;
    const auto elements = static_cast<uint32_t>(state.range(0));
    std::vector<uint32_t> memory(elements), plain(elements);
    uint64_t cell = 0;
    const QkGRNet row{
        0, 1, "memory", memory.data(), 31, 0, 1 | QK_array, 0, static_cast<int>(elements) - 1,
        0, 0, nullptr,  &cell};
    kelvo_module module("bench", "top");
    QkRegistration::start(&module, 1, 1, false);
    QkRegistration::addNets(&module, 1, &row);
    QkRegistration::end(&module);
    qk_cli("trace *");
    qk_traceto("/dev/null");
    auto* const record = reinterpret_cast<MasterArrayAssign*>(cell);
    std::vector<uint64_t> entries(writes * waves * 2);
    Random random;
    std::vector<uint32_t> places;
    for (uint32_t i = 0; i < writes * waves; ++i)
        places.push_back(static_cast<uint32_t>(random()) % elements);
    uint32_t value = 0;
    compareWithLimit(
        state,
        [&] {
            for (size_t wave = 0; wave < waves; ++wave) {
                ++qk_cycle;
                for (size_t i = 0; i < writes; ++i) {
                    memory[places[wave * writes + i]] = ++value;
                    record->note(places[wave * writes + i]);
                }
                module.qk_finalize_wave();
            }
        },
        [&] {
            for (size_t i = 0; i < places.size(); ++i) {
                plain[places[i]] = ++value;
                entries[2 * i] = places[i];
                entries[2 * i + 1] = value;
            }
            benchmark::ClobberMemory();
        });
    qk_traceclose();
    state.SetItemsProcessed(state.iterations() * waves * writes);
}
BENCHMARK(BM_TracedArray)->Arg(1000)->Arg(100000)->Arg(10000000)->UseManualTime();

}  // namespace
