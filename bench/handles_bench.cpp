// Handles and breakpoints compared with what they should cost: nothing, or a load.
#include "bench/compare.h"
#include "bench/peers/stimulus.h"
#include "model/live_model.h"
#include "qkzeft.h"

namespace {

constexpr size_t kNetsPerScope = 1000;

/// A model of nets of 32 bits in scopes of a thousand.
class Model {
public:
    explicit Model(size_t count) : storage(count), module("bench", "top") {
        qk_prints = nullptr;
        std::vector<std::string> names, paths;
        for (size_t i = 0; i < kNetsPerScope; ++i) names.push_back("net_" + std::to_string(i));
        const size_t scopeCount = (count + kNetsPerScope - 1) / kNetsPerScope;
        for (size_t s = 0; s < scopeCount; ++s) paths.push_back("u" + std::to_string(s));
        std::vector<QkGRScope> scopes;
        std::vector<QkGRNet> nets;
        for (size_t s = 0; s < scopeCount; ++s)
            scopes.push_back({0, static_cast<int>(s) + 1, paths[s].c_str(), 0});
        for (size_t i = 0; i < count; ++i)
            nets.push_back({static_cast<int>(i / kNetsPerScope) + 1, static_cast<int>(i) + 1,
                            names[i % kNetsPerScope].c_str(), &storage[i], 31, 0, 1, 0, 0, 0, 0,
                            nullptr, nullptr});
        QkRegistration::start(&module, static_cast<int>(scopeCount) + 1, static_cast<int>(count),
                              false);
        QkRegistration::addScopes(&module, static_cast<int>(scopeCount), scopes.data());
        QkRegistration::addNets(&module, static_cast<int>(count), nets.data());
        QkRegistration::end(&module);
        completeRegistration(true);
    }
    static std::string fullName(size_t i) {
        return "top.u" + std::to_string(i / kNetsPerScope) + ".net_" +
               std::to_string(i % kNetsPerScope);
    }
    static QkVariable* handle(size_t i) { return QkVariable::GetByName(fullName(i).c_str()); }

    std::vector<uint32_t> storage;

private:
    kelvo_module module;
};

/// A handle by its exact name, beside a hash table of the standard library.
void BM_HandleByName(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Model model(count);
    std::unordered_map<std::string, size_t> table;
    for (size_t i = 0; i < count; ++i) table.emplace(Model::fullName(i), i);
    Random random;
    std::vector<std::string> wanted;
    for (int i = 0; i < 20000; ++i) wanted.push_back(Model::fullName(random() % count));
    compareWithLimit(
        state,
        [&] {
            for (const std::string& name : wanted)
                QkVariable::Destroy(QkVariable::GetByName(name.c_str()));
        },
        [&] {
            for (const std::string& name : wanted) benchmark::DoNotOptimize(table.find(name));
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(wanted.size()));
}
BENCHMARK(BM_HandleByName)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();

/// A walk over all handles that match, beside one pass over the texts of all full names.
void BM_HandleWalk(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    const Model model(count);
    std::vector<std::string> all;
    for (size_t i = 0; i < count; ++i) all.push_back(Model::fullName(i));
    compareWithLimit(
        state,
        [&] {
            QkVariable* cookie;
            for (QkVariable* v = QkVariable::GetFirstByName("*.net_77*", cookie); v;)
                v = QkVariable::GetNextByName("*.net_77*", cookie);
        },
        [&] {
            size_t found = 0;
            for (const std::string& name : all) found += name.find(".net_77") != std::string::npos;
            benchmark::DoNotOptimize(found);
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}
BENCHMARK(BM_HandleWalk)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime();

/// Reading and writing nets through as many handles, beside loads and stores through pointers.
void BM_ReadAndWrite(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    Model model(count);
    std::vector<QkVariable*> handles;
    std::vector<volatile uint32_t*> places;
    for (size_t net = 0; net < count; ++net) {
        handles.push_back(Model::handle(net));
        places.push_back(&model.storage[net]);
    }
    compareWithLimit(
        state,
        [&] {
            for (QkVariable* v : handles) v->SetValue(v->GetValue() + 1);
        },
        [&] {
            for (volatile uint32_t* place : places) *place = *place + 1;
        });
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(handles.size()) * 2);
}
BENCHMARK(BM_ReadAndWrite)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime();

/// A wave in which one net in a hundred changes, with breakpoints set on a tenth of the others,
/// beside the same wave without any.
void BM_WaveWithBreaksElsewhere(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    Model model(count);
    qk_cli("trace *");
    const auto wave = [&] {
        for (size_t i = 0; i < count; i += 100) ++model.storage[i];
        ++qk_cycle;
        qk_takenote();
    };
    std::chrono::duration<double> ours{}, limit{};
    constexpr int kWaves = 200;
    const auto timeWaves = [&] {
        wave();  // plans the comparison
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kWaves; ++i) wave();
        return std::chrono::steady_clock::now() - start;
    };
    for (auto _ : state) {
        limit += timeWaves();
        std::vector<QkVariable*> handles;
        for (size_t i = 1; i < count; i += 10) handles.push_back(Model::handle(i));
        for (QkVariable* v : handles) v->RegisterBreak(nullptr, QkVariable::BreakOnChange, nullptr);
        const std::chrono::duration<double> time = timeWaves();
        for (QkVariable* v : handles) v->UnregisterBreak();
        qk_save("/dev/null");  // so that the history does not grow
        ours += time;
        state.SetIterationTime(time.count());
    }
    state.SetItemsProcessed(state.iterations() * kWaves * static_cast<int64_t>(count));
    state.counters["of_limit"] = limit / ours;
}
BENCHMARK(BM_WaveWithBreaksElsewhere)->Arg(10000)->Arg(100000)->UseManualTime();

}  // namespace
