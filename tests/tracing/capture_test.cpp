// Captures of random designs against a plain walk over the nets.
#include <algorithm>
#include <cstring>
#include <random>
#include <set>

#include "tests/support/model_test.h"
#include "tests/tracing/vector_units.h"
#include "tracing/hot_loops.h"

namespace {

/// A net as the walk sees it: parts from the top down.
struct PlainNet {
    struct Part {
        unsigned char* address;
        int width;
        uint64_t seen;
    };
    std::string name;
    std::vector<Part> parts;
    bool invert = false;
    bool clock = false;
    std::string code;

    int width() const {
        int sum = 0;
        for (const Part& part : parts) sum += part.width;
        return sum;
    }
    /// Looks at storage. @return whether it changed
    bool look() {
        bool changed = false;
        for (Part& part : parts) {
            const uint64_t raw = loadStorage(part.address, storageBytes(part.width));
            changed |= raw != part.seen;
            part.seen = raw;
        }
        return changed;
    }
    std::string line() const {
        std::string digits;
        for (const Part& part : parts)
            for (int bit = part.width; bit-- > 0;)
                digits += ((part.seen >> bit & 1) != 0) != invert ? '1' : '0';
        const size_t one = digits.find('1');
        digits = one == std::string::npos ? "0" : digits.substr(one);
        return (width() == 1 ? digits : "b" + digits + " ") + code + "\n";
    }
};

class CaptureTest : public ModelTest, public testing::WithParamInterface<VectorUnit> {
protected:
    void SetUp() override {
        if (!hotLoopsOf(GetParam())) GTEST_SKIP() << "not on this machine";
        ModelTest::SetUp();
        useVectorUnit(GetParam());
    }

    /// Lays out nets at all alignments.
    /// @param apart  false: some at one address, some across others
    void makeDesign(int count, bool apart) {
        arena.assign(static_cast<size_t>(count) * (apart ? 64 : 24) + 64, 0);
        for (unsigned char& byte : arena) byte = static_cast<unsigned char>(random());
        std::vector<QkGRNet> rows;
        names.reserve(static_cast<size_t>(count));
        size_t at = 0;
        std::set<unsigned char*> taken;
        const auto takeAny = [&](int width) {
            const auto bytes = static_cast<size_t>(storageBytes(width));
            if (random() % 8 == 0) at += static_cast<size_t>(random() % (apart ? 20 : 200));
            if (random() % 8 == 0 && at > 5 && !apart)
                at -= static_cast<size_t>(random() % 6);  // across its neighbours
            if (random() % 2) at = (at + bytes - 1) / bytes * bytes;
            if (at + bytes > arena.size()) at = 0;
            unsigned char* const address = arena.data() + at;
            at += bytes;
            return address;
        };
        // Parts of wide nets have addresses of their own.
        const auto take = [&](int width, bool isPart) {
            unsigned char* address = takeAny(width);
            while (isPart && taken.count(address)) address = takeAny(width);
            taken.insert(address);
            return address;
        };
        for (int i = 0; i < count; ++i) {
            const int widths[] = {1, 1, 3, 8, 9, 16, 17, 32, 33, 64, 65, 100, 130, 300};
            const int width = widths[random() % 14];
            PlainNet n;
            n.name = "n" + std::to_string(random() % 100000) + "_" + std::to_string(i);
            names.push_back(n.name);
            n.clock = random() % 50 == 0;
            const unsigned flags = n.clock ? QK_flag_clock : 0;
            for (int low = 0; low < width;) {
                const int bits = width <= 64
                                     ? width
                                     : std::min(width - low, static_cast<int>(1 + random() % 64));
                unsigned char* const address = take(bits, width > 64);
                rows.push_back(net(1, static_cast<int>(rows.size()) + 1, names.back().c_str(),
                                   address, low + bits - 1, low, width <= 64 ? 1 : 0x201, flags));
                n.parts.push_back({address, bits, 0});
                low += bits;
            }
            std::reverse(n.parts.begin(), n.parts.end());
            nets.push_back(n);
        }
        registerNets("top", rows, {QkGRScope{0, 1, "u", 0}});
        completeRegistration(true);
        // Nets at one address and of one kind share a trace and so an identifier code.
        std::vector<PlainNet> distinct;
        for (PlainNet& n : nets) {
            QkName* const record = name(("top.u." + n.name).c_str());
            if (record->trace->names != record) continue;
            if (!record->trace->bits) {
                n.invert = record->trace->invert = random() % 4 == 0;
                n.parts[0].width = record->trace->range.width;
                n.clock = (record->trace->flags & QK_flag_clock) != 0;
            }
            distinct.push_back(n);
        }
        nets = distinct;
    }

    /// Traces all nets in a random order. The walk's order is that of the active ring then.
    void traceAll() {
        std::shuffle(nets.begin(), nets.end(), random);
        for (PlainNet& n : nets) {
            qkLiveModel->writer.startTracing(name(("top.u." + n.name).c_str()));
            n.look();
        }
        std::reverse(nets.begin(), nets.end());
        std::stable_partition(nets.begin(), nets.end(), [](const PlainNet& n) { return !n.clock; });
        std::reverse(
            std::find_if(nets.begin(), nets.end(), [](const PlainNet& n) { return n.clock; }),
            nets.end());
    }

    void readCodes(const std::string& vcd) {
        for (PlainNet& n : nets) {
            const size_t at = vcd.find(" " + n.name + " ");
            ASSERT_NE(at, std::string::npos) << n.name;
            const size_t line = vcd.rfind("$var wire ", at);
            n.code = vcd.substr(line + 14, vcd.find(' ', line + 14) - line - 14);
        }
    }

    /// Traces all, and compares the waveform of many steps with what is expected of it.
    void compareWithPlainWalk();

    void mutate(double share) {
        for (unsigned char& byte : arena)
            if (static_cast<double>(random() % 100000) < share * 100000)
                byte = static_cast<unsigned char>(random());
    }

    std::mt19937_64 random{99};
    std::vector<unsigned char> arena;
    std::vector<std::string> names;
    std::vector<PlainNet> nets;
};

void CaptureTest::compareWithPlainWalk() {
    traceAll();
    std::vector<std::pair<uint64_t, std::vector<std::pair<size_t, PlainNet>>>> steps;
    ASSERT_EQ(qk_traceto("x.vcd"), 1);
    const double shares[] = {0, 0.0005, 0.01, 0.3, 1};
    for (int step = 0; step < 300; ++step) {
        mutate(shares[random() % 5]);
        advance(1 + random() % 3);
        std::vector<std::pair<size_t, PlainNet>> changed;
        for (size_t i = 0; i < nets.size(); ++i)
            if (nets[i].look()) changed.emplace_back(i, nets[i]);
        steps.emplace_back(qk_cycle, std::move(changed));
    }
    ASSERT_EQ(qk_traceclose(), 1);
    const std::string vcd = readVcd("x.vcd");
    readCodes(vcd);
    std::string expected;
    for (auto& [time, changed] : steps) {
        if (!changed.empty()) expected += "#" + std::to_string(time) + "\n";
        for (auto& [i, net] : changed) {
            net.code = nets[i].code;
            expected += net.line();
        }
    }
    if (steps.back().second.empty()) expected += "#" + std::to_string(qk_cycle) + "\n";
    const size_t body = vcd.find("$end\n", vcd.find("$dumpvars")) + 5;
    EXPECT_EQ(vcd.substr(body), expected);
    EXPECT_GT(expected.size(), nets.size() * 2000);
}

TEST_P(CaptureTest, RecordsWhatAPlainWalkRecords) {
    makeDesign(700, false);
    compareWithPlainWalk();
}

// The changes of up to 512 nets that do not overlap are brought into order in another way.
TEST_P(CaptureTest, RecordsWhatAPlainWalkRecordsOfASmallDesign) {
    makeDesign(400, true);
    ASSERT_EQ(nets.size(), 400u);
    compareWithPlainWalk();
}

TEST_P(CaptureTest, ChangesOfTheTracedSetLoseNothing) {
    makeDesign(60, false);
    traceAll();
    qkLiveModel->writer.captureEntry();
    // Names come and go between captures; what changes meanwhile is found by the next one.
    for (int step = 0; step < 200; ++step) {
        PlainNet& moved = nets[static_cast<size_t>(random() % nets.size())];
        QkName* const record = name(("top.u." + moved.name).c_str());
        const std::vector<PlainNet> before = nets;
        mutate(0.05);
        if (record->traced) {
            qkLiveModel->writer.stopTracing(record);
        } else {
            qkLiveModel->writer.startTracing(record);
            moved.look();
        }
        mutate(0.05);
        advance();
    }
    ASSERT_EQ(qk_save("x.vcd"), 1);
    // Played back, the file ends in the values that the nets traced now have.
    const std::string vcd = readVcd("x.vcd");
    for (PlainNet& n : nets) {
        const QkName* const record = name(("top.u." + n.name).c_str());
        if (!record->traced) continue;
        n.look();
        const size_t at = vcd.find(" " + n.name + " ");
        ASSERT_NE(at, std::string::npos);
        const size_t line = vcd.rfind("$var wire ", at);
        n.code = vcd.substr(line + 14, vcd.find(' ', line + 14) - line - 14);
        const std::string ending = (n.width() == 1 ? "" : " ") + n.code + "\n";
        size_t end = vcd.size();
        std::string last;
        while (last.empty()) {
            end = vcd.rfind(ending, end - 1);
            ASSERT_NE(end, std::string::npos) << n.name;
            const size_t start = vcd.rfind('\n', end) + 1;
            const std::string candidate = vcd.substr(start, end - start + ending.size());
            const std::string digits =
                candidate.substr(candidate[0] == 'b', end - start - (candidate[0] == 'b'));
            if (digits.find_first_not_of("01") == std::string::npos && !digits.empty())
                last = candidate;
        }
        EXPECT_EQ(last, n.line()) << n.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Units, CaptureTest, testing::Values(kPlainUnit, kAvx2Unit, kAvx512Unit),
                         [](const auto& unit) { return vectorUnitName(unit.param); });

}  // namespace
