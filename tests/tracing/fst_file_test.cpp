// FST files beside VCD files of the same runs of random designs.
#include <sys/wait.h>
#include <unistd.h>

#include <deque>
#include <random>

#include "tests/support/model_test.h"
#include "tests/support/waveforms.h"

namespace {

/// A design and a run, both by a seed.
class RandomRun {
public:
    explicit RandomRun(uint64_t seed) : random(seed) {}

    /// Makes the design, runs it, and leaves the waveform in a file.
    void write(const char* file) {
        makeDesign();
        const bool isContinuous = random() % 2 == 0;
        qk_strict = random() % 2;
        const bool isCircular = random() % 2;
        if (isCircular) qk_circular(1);
        trace((isCircular && qk_strict) || random() % 3 ? "*" : "*n1*");
        if (isContinuous) qk_traceto(file);
        const uint64_t steps = random() % (names.size() > 100 ? 50 : 300);
        for (uint64_t step = 0; step < steps; ++step) {
            if (step == steps / 2) trace("*");
            run();
        }
        if (isContinuous) {
            qk_traceclose();
        } else {
            qk_save(file);
        }
    }

private:
    void makeDesign() {
        module = new kelvo_module("design", "top");
        const QkGRScope scopes[] = {
            {0, 1, "u", 0}, {1, 2, "\\esc+aped[3]", 0}, {0, 3, "arrays", 0}};
        const auto count = static_cast<size_t>(1 + random() % (random() % 20 ? 40 : 2000));
        storage.resize(count * 48 + 2 * kMargin);
        std::vector<QkGRNet> rows;
        for (size_t i = 0; i < count; ++i) addNet(rows);
        QkRegistration::start(module, 4, static_cast<int>(rows.size()), false);
        QkRegistration::addScopes(module, 3, scopes);
        QkRegistration::addNets(module, static_cast<int>(rows.size()), rows.data());
        const auto net = [&] { return static_cast<int>(random() % rows.size()); };
        std::vector<QkGRExtract> extracts;
        for (int i = 0; i < 8; ++i) addExtract(extracts, rows[static_cast<size_t>(net())]);
        QkRegistration::addExtracts(module, static_cast<int>(extracts.size()), extracts.data());
        QkRegistration::end(module);
        addVirtuals();
    }

    void addNet(std::vector<QkGRNet>& rows) {
        static const int widths[] = {1, 1, 1, 2, 7, 8, 9, 15, 16, 17, 32, 33, 63, 64, 65, 129, 300};
        const int width = widths[random() % std::size(widths)];
        const bool isArray = random() % 12 == 0 && width <= 64;
        const bool isWide = width > 64, rises = random() % 4 == 0 && !isWide;
        const int low = random() % 3 ? 0 : static_cast<int>(random() % 50);
        names.push_back((random() % 8 ? "n" : "\\n+.[") + std::to_string(rows.size()));
        const int scope = isArray ? 3 : static_cast<int>(random() % 3);
        const unsigned flags = random() % 20 ? 0 : QK_flag_clock;
        for (int at = 0; at < width; at += 64) {
            const int top = std::min(at + 64, width) - 1;
            unsigned mode = isWide ? 0x201 : 1;
            if (isArray) mode |= QK_array;
            if (!isWide && !isArray && random() % 8 == 0) mode |= QK_invert;
            void* address = storage.data() + used;
            // Now and then another name of storage that has one.
            if (!isWide && !isArray && random() % 8 == 0 && lastNarrow) {
                address = lastNarrow;
            } else {
                used += isArray ? 4 * 8 : 8;
            }
            if (!isWide && !isArray) lastNarrow = width == lastWidth ? address : nullptr;
            lastWidth = width;
            QkGRNet row =
                net(scope, static_cast<int>(rows.size()) + 1, names.back().c_str(), address,
                    low + (rises ? at : top), low + (rises ? top : at), mode, flags);
            if (isArray) row.array_left = 3;
            rows.push_back(row);
        }
    }

    void addExtract(std::vector<QkGRExtract>& extracts, const QkGRNet& of) {
        if (of.mode & QK_array) return;
        const int width = 1 + static_cast<int>(random() % 9);
        names.push_back("e" + std::to_string(extracts.size()));
        const bool rises = random() % 2;
        extracts.push_back({0, names.back().c_str(), 0, rises ? 0 : width - 1,
                            rises ? width - 1 : 0, of.net, 0, 0});
    }

    void addVirtuals() {
        completeRegistration(true);
        qk_cli("setvv v1 = 5(3)");
        for (const QkName* source : qkLiveModel->matching("*")) {
            if (source->trace->isArray() || source->isSlice() || random() % 8) continue;
            const FullName name(source);
            const BitRange& range = source->range();
            std::string bits;
            if (range.isRange) bits = "[" + std::to_string(range.left()) + "]";
            qk_cli(("setvv v1 += " + (name.c_str() + bits)).c_str());
            qk_cli(("setvv v2 = " + (name.c_str() + bits)).c_str());
        }
    }

    static void trace(const char* pattern) { qk_cli((std::string("trace ") + pattern).c_str()); }

    void run() {
        const uint64_t left = (uint64_t{1} << 63) - 1 - qk_cycle;
        qk_cycle +=
            std::min(left, random() % 4 ? 1 + random() % 9 : random() >> (2 + random() % 62));
        const uint64_t share = 1 + random() % 20;
        for (size_t at = kMargin; at < used; at += static_cast<size_t>(1 + random() % share))
            storage[at] = random() % 4 ? static_cast<unsigned char>(random()) : 0;
        qk_takenote();
    }

    std::mt19937_64 random;
    kelvo_module* module = nullptr;
    /// Captures read whole blocks of memory, of what lies beside the nets, too.
    static constexpr size_t kMargin = 64;
    std::vector<unsigned char> storage;
    size_t used = kMargin;
    std::deque<std::string> names;
    void* lastNarrow = nullptr;
    int lastWidth = 0;
};

class FstFileTest : public ModelTest {};

TEST_F(FstFileTest, HasTheChangesOfTheVcdFile) {
    size_t compared = 0;
    for (uint64_t seed = 0; seed < 200 / kShorter; ++seed) {
        for (const char* const file : {"x.vcd", "x.fst"}) {
            const pid_t child = fork();
            if (child == 0) {
                alarm(60);
                RandomRun(seed).write(file);
                std::exit(0);
            }
            int status = -1;
            waitpid(child, &status, 0);
            ASSERT_EQ(status, 0) << "seed " << seed << " into " << file;
        }
        const std::string vcd = readFile("x.vcd"), fst = readFst("x.fst");
        compared += vcd.size();
        ASSERT_EQ(changesOf(fst), changesOf(vcd)) << "seed " << seed;
        const auto lastTime = [](const std::string& text) {
            const size_t at = text.rfind("\n#");
            return text.substr(at, text.find('\n', at + 1) - at);
        };
        ASSERT_EQ(lastTime(fst), lastTime(vcd)) << "seed " << seed;
    }
    EXPECT_GT(compared, 10000000u / kShorter);
}

}  // namespace
