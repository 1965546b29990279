// Saving and loading the state of the simulation.
#include <zlib.h>

#include <cstring>
#include <filesystem>
#include <set>

#include "console/console.h"
#include "tests/console/console_fixture.h"

namespace {

/// Storage of a module with nets that have no variable, or more than one.
struct ChildStorage {
    uint8_t flag = 1;  // and its inverse, which another name stands for
    uint16_t instruction = 0xbeef;
    uint16_t pcCopy = 0x0120;  // of top.cpu.pc, late by a wave
    uint8_t constant = 3;      // never written
    uint8_t bits[3] = {1, 0, 1};
};

using Bytes = std::string;

template <class T>
Bytes bytesOf(const T& object) {
    Bytes bytes(sizeof object, '\0');
    std::memcpy(bytes.data(), &object, sizeof object);
    return bytes;
}

class SimstateTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        QkGRNet copy = net(0, 3, "pc", &child.pcCopy, 15, 0, 1, QK_flag_shadow);
        copy.trace_word = &model.pc;
        QkGRNet inverse = net(0, 5, "none", nullptr, 0, 0, 0, QK_flag_replaced);
        inverse.replacement = -1;
        const QkGRNet rows[] = {
            net(0, 1, "flag", &child.flag, 0, 0), net(0, 2, "instr", &child.instruction, 15, 0),
            copy, net(0, 4, "rom", &child.constant, 1, 0, 1, QK_flag_never_write), inverse};
        const QkGRExtract slices[] = {{0, "opcode", 0, 3, 0, 2, 12, 0}};
        const QkGRTerm terms[] = {{0, "a", 0, 15, 0, 2}, {0, "low", 0, 3, 0, 2}};
        auto* const module = new kelvo_module("child", "child");
        QkRegistration::start(module, 1, 5, false);
        QkRegistration::addNets(module, 5, rows);
        QkRegistration::addExtracts(module, 1, slices);
        QkRegistration::addTerms(module, 2, terms);
        QkRegistration::end(module);
        completeRegistration(true);
        qk_cycle = 7;
    }

    /// Inverts all that the model has registered.
    static void scribble() {
        std::set<const void*> done;
        TraceRing::each(qkLiveModel->traces, [&](const QkTrace* trace) {
            if (!trace->address || trace->flags & QK_flag_never_write) return;
            if (!done.insert(trace->address).second) return;
            const int bytes = trace->elementBytes();
            char* at = static_cast<char*>(trace->address);
            for (uint32_t i = 0; i < std::max(trace->nel, 1u); ++i, at += bytes)
                storeStorage(at, bytes, loadStorage(at, bytes) ^ bitMask(trace->width()));
        });
    }
    Bytes state() const { return bytesOf(model) + bytesOf(child); }

    static inline ChildStorage child;
};

TEST_F(SimstateTest, EveryBitOfTheStorageComesBack) {
    const Bytes saved = state();
    trace("top.cpu.*");
    qk_traceto("trace.vcd");
    EXPECT_THAT(run("savesim half"), testing::AllOf(testing::HasSubstr("half.vcd\n"),
                                                    testing::HasSubstr("Array written to file: "
                                                                       "half.top.cpu.lane[1]\n"),
                                                    testing::Not(testing::HasSubstr("failed"))));
    EXPECT_THAT(readVcd("half.vcd"), testing::EndsWith("$end\n#7\n"));
    EXPECT_THAT(readVcd("half.vcd"), testing::HasSubstr(" low    [3:0] $end\n"));
    scribble();
    EXPECT_NE(state(), saved);
    qk_cycle = 5;
    EXPECT_THAT(run("loadsim half"),
                testing::AllOf(testing::HasSubstr("Trace data read from file: half.vcd\n"),
                               testing::HasSubstr("Array read from file: half.top.cpu.vast\n"),
                               testing::Not(testing::HasSubstr("failed"))));
    EXPECT_EQ(state(), saved);
    EXPECT_EQ(qk_cycle, 7u);
    EXPECT_EQ(stopTime, kNoStop);

    // The trace in hand is what it would have been.
    qk_cycle = 8;
    model.acc = 1;
    qk_takenote();
    qk_traceclose();
    EXPECT_THAT(readVcd("trace.vcd"), testing::ContainsRegex("#7\n[^#]*#8\nb1 [^\n]*\n$"));

    // The same from a compressed file, and with the clock beyond its time.
    const std::string text = readFile("half.vcd");
    const gzFile packed = gzopen("half.vcd", "wb");
    gzwrite(packed, text.data(), static_cast<unsigned>(text.size()));
    gzclose(packed);
    scribble();
    EXPECT_THAT(run("loadsim half"), testing::HasSubstr("at time 8ns: #7 ignored\n"));
    EXPECT_EQ(state(), saved);
    EXPECT_EQ(qk_cycle, 8u);
}

TEST_F(SimstateTest, ADumpThatIsCutIsFoundOut) {
    ASSERT_EQ(qk_savesim("s"), 1);
    const std::string whole = readFile("s.vcd");
    const size_t end = whole.rfind("$end");
    for (size_t size = 0; size <= whole.size(); ++size) {
        std::filesystem::remove("s.vcd");  // a file cut to nothing first may wait for the disk
        writeFile("s.vcd", whole.substr(0, size));
        said.clear();
        ASSERT_EQ(qk_loadsim("s"), size >= end + 4) << "cut to " << size;
        ASSERT_THAT(said,
                    testing::HasSubstr(size < end + 4 ? "s.vcd:" : "read from file: s.vcd\n"));
    }
}

TEST_F(SimstateTest, AShortArrayFileLeavesTheRest) {
    ASSERT_EQ(qk_savesim("s"), 1);
    writeFile("s.top.cpu.mem", "@0\n10\n11");
    for (uint8_t& element : model.mem) element = 0xff;
    EXPECT_EQ(qk_loadsim("s"), 1) << said;
    EXPECT_THAT(std::vector<int>(model.mem, model.mem + 3), testing::ElementsAre(0xff, 0xff, 0xff));
    EXPECT_THAT(std::vector<int>(model.mem + 7, std::end(model.mem)),
                testing::ElementsAre(0xff, 0x11, 0x10));
}

TEST_F(SimstateTest, WritesFromOutsideAreCountedAndSettled) {
    ASSERT_EQ(qk_savesim("s"), 1);
    QkVariable* const wide = QkVariable::GetByName("top.cpu.wide");
    writeFile("two", "1 2\n");
    const struct {
        const char* line;
        uint64_t atLeast, atMost;
    } cases[] = {
        {"ls *", 0, 0},
        {"set top.cpu.low = 1", 1, 1},
        {"set top.cpu.low = 1", 1, 1},
        {"set top.cpu.low = 1000", 0, 0},
        {"readmemh top.cpu.mem two", 2, 2},
        {"savesim t", 0, 0},
        {"loadsim s", 60, 200},
        {"clearsim", 0, 0},
    };
    static int settled;
    settled = 0;
    qk_settle_fn = [] { qk_cycle += ++settled; };
    for (const auto& c : cases) {
        const uint64_t before = qk_write_count();
        run(c.line);
        EXPECT_GE(qk_write_count() - before, c.atLeast) << c.line;
        EXPECT_LE(qk_write_count() - before, c.atMost) << c.line;
    }
    EXPECT_EQ(settled, 1);
    EXPECT_EQ(qk_cycle, 7u);
    const uint64_t before = qk_write_count();
    EXPECT_EQ(wide->SetWideValue(5, 1), 0);
    EXPECT_NE(wide->SetWideValue(5, 2), 0);
    EXPECT_EQ(qk_write_count(), before + 1);
    EXPECT_EQ(qk_loadsim("nothing"), 0);
    EXPECT_EQ(settled, 1);
}

TEST_F(SimstateTest, TheModelAddsWhatIsInNoNet) {
    static std::string calls;
    qk_register_cmd("extend_savesim", "#", 1, [](const char* prefix) {
        calls += std::string("save ") + prefix + "\n";
        return 0;
    });
    qk_register_cmd("extend_loadsim", "#", 1, [](const char* prefix) {
        calls += std::string("load ") + prefix + "\n";
        return 0;
    });
    EXPECT_EQ(qk_savesim(nullptr), 1);
    EXPECT_EQ(qk_loadsim(""), 1);
    EXPECT_EQ(calls, "save qk_savesim\nload qk_savesim\n");

    runningFromVCD = true;
    EXPECT_EQ(run("loadsim"), "loadsim cannot be used when ZEFT Validate is active\n");
    EXPECT_EQ(qk_loadsim(nullptr), 0);
    EXPECT_EQ(said, "Cannot load state while checking against trace file\n");
    runningFromVCD = false;
    qk_licence_policy([](const char* gate) { return static_cast<int>(gate[0] != 's'); });
    EXPECT_EQ(run("savesim"), "ZEFT: no licence for savesim\nsavesim: command failed\n");
    EXPECT_EQ(run("loadsim"), "loadsim: command failed\n");
    EXPECT_EQ(calls, "save qk_savesim\nload qk_savesim\n");
}

}  // namespace
