// Breakpoints and change notices as user code sees them.
#include "base/literals.h"
#include "console/console.h"
#include "tests/handles/small_design.h"

namespace {

std::string called;
void noteCall(QkVariable* v) { called += std::string(v->GetFullname()) + " "; }

class BreakTest : public SmallDesignTest {
protected:
    void SetUp() override {
        SmallDesignTest::SetUp();
        called.clear();
        QkVariable::RegisterChangeNotifier(nullptr);
    }
    /// Calls since the last step, which this takes.
    static std::string calls() {
        called.clear();
        step();
        return called;
    }
    static int breakOn(const char* name, QkVariable::BreakEvent event, uint64_t value = 0) {
        return get(name)->RegisterBreak(noteCall, event, 1, value);
    }
    static void fillFile() {
        ASSERT_EQ(qk_traceto("out.vcd"), 1);
        for (int i = 0; i < 10001 && !qkLiveModel->writer.scopesWritten; ++i) {
            traced ^= 1;
            step();
        }
        ASSERT_TRUE(qkLiveModel->writer.scopesWritten);
    }
    static inline uint8_t traced = 0;
};

TEST_F(BreakTest, FiresOnChangesToOrFromAValueOnly) {
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnEqual, 0x5a), 0);
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnNotEqual, 0x11), 0);
    ASSERT_EQ(breakOn("top.b", QkVariable::BreakOnChange), 0);
    const struct {
        uint8_t a, b;
        const char* said;
    } steps[] = {
        {0x5a, 0x77, ""},  // what is there already does not count
        {0x11, 0x77, ""},
        {0x5a, 0x77, "Stopped at breakpoint 1\nStopped at breakpoint 2\n"},
        {0x5a, 0x77, ""},
        {0x12, 0x76, "Stopped at breakpoint 3\nStopped at breakpoint 2\n"},
        {0x12, 0x75, "Stopped at breakpoint 3\n"},
    };
    takeSaid();
    for (const auto& s : steps) {
        a = s.a;
        b = s.b;
        step();
        EXPECT_EQ(takeSaid(), s.said) << int{s.a};
    }
    EXPECT_EQ(called, "top.a top.a top.b top.a top.b ");
}

TEST_F(BreakTest, AChangeBeforeTheBreakIsNoChangeForIt) {
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnChange), 0);
    a = 1;
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnEqual, 1), 0);
    EXPECT_EQ(takeSaid(), "Stopped at breakpoint 1\n") << "found when the second was set";
    EXPECT_EQ(calls(), "");
}

TEST_F(BreakTest, ComparesWideAndNarrowedValuesAndElements) {
    const uint64_t low = 5, high = 0xabc;
    ASSERT_EQ(get("top.wide")->RegisterBreak(noteCall, QkVariable::BreakOnEqual, 2, low, high), 0);
    ASSERT_EQ(breakOn("top.slice", QkVariable::BreakOnEqual, 0x2a), 0);
    ASSERT_EQ(breakOn("top.nflag", QkVariable::BreakOnEqual, 1), 0);
    ASSERT_EQ(breakOn("top.term", QkVariable::BreakOnEqual, 0xfffff), 0);
    ASSERT_EQ(breakOn("top.mem", QkVariable::BreakOnEqual, 0x123), 0);
    wide[0] = 5;
    EXPECT_EQ(calls(), "");
    wide[1] = 0xabc;
    EXPECT_EQ(calls(), "top.wide ");
    wide[0] = uint64_t{0xa} << 60;
    wide[1] = 2;
    EXPECT_EQ(calls(), "top.slice ");
    wide[1] |= 4;
    EXPECT_EQ(calls(), "") << "not a bit of the slice";
    flag = 0;
    up = 0xfffff;
    EXPECT_EQ(calls(), "top.term top.nflag ");
    called.clear();
    mem[3] = 0x122;
    mem[4] = 0x123;
    qkLiveModel->findOne("top.mem")->scope->module->qk_finalize_wave();
    EXPECT_EQ(called, "top.mem ");
}

TEST_F(BreakTest, RefusesWithACode) {
    QkMaxuList loop{0, nullptr, nullptr};
    loop.next = &loop;
    QkMaxuList zeros[2] = {{1, nullptr, &zeros[1]}, {0, &zeros[0], nullptr}};
    const auto change = QkVariable::BreakOnChange, equal = QkVariable::BreakOnEqual;
    EXPECT_EQ(breakOn("top.a", equal, 0x100), 5);
    EXPECT_EQ(breakOn("top.a", change, 0x100), 5);
    EXPECT_EQ(get("top.a")->RegisterBreak(nullptr, equal, &loop), 5);
    EXPECT_EQ(get("top.a")->RegisterBreak(nullptr, equal, zeros), 5) << "a chunk counts whole";
    EXPECT_EQ(get("top.wide")->RegisterBreak(nullptr, equal, zeros), 0);
    EXPECT_EQ(get("top.a")->RegisterBreak(nullptr, equal, 1000000), 5);
    EXPECT_EQ(get("top.a")->RegisterBreak(nullptr, equal, -1), 0) << "no values are a 0";
    EXPECT_EQ(get("top.a")->RegisterBreak(nullptr, static_cast<QkVariable::BreakEvent>(0), 0), 15);
    EXPECT_EQ(get("top.b")->UnregisterBreak(), 27);
    EXPECT_EQ(get("top.b")->EnableBreak(), 27);

    registerNets("more", {net(0, 1, "clk", &traced, 0, 0)});
    trace("more.clk");
    fillFile();
    EXPECT_EQ(breakOn("top.b", change), 30);
    EXPECT_EQ(get("top.b")->UnregisterBreak(), 30);
    EXPECT_EQ(get("top.b")->EnableBreak(), 27);
    EXPECT_EQ(get("top.b")->SetChangeNotify(true), 0) << "the file need not know";
    EXPECT_EQ(get("top.b")->SetChangeNotify(false), 0);
    EXPECT_EQ(breakOn("more.clk", change), 0);
    EXPECT_EQ(get("more.clk")->SetChangeNotify(true), 30);
    EXPECT_EQ(get("more.clk")->UnregisterBreak(), 0);
    qk_traceclose();
}

TEST_F(BreakTest, TheListIsCopiedAndBreaksCanBeSwitchedOff) {
    {
        QkMaxuList value{1, nullptr, nullptr};
        ASSERT_EQ(get("top.a")->RegisterBreak(noteCall, QkVariable::BreakOnEqual, &value), 0);
        value.value = 99;
    }
    a = 1;
    EXPECT_EQ(calls(), "top.a ");
    EXPECT_EQ(get("top.a")->DisableBreak(), 0);
    a = 2, step(), a = 1;
    EXPECT_EQ(calls(), "");
    EXPECT_EQ(get("top.a")->EnableBreak(), 0);
    a = 2, step(), a = 1;
    EXPECT_EQ(calls(), "top.a ");
    EXPECT_EQ(get("top.a")->UnregisterBreak(), 0);
    a = 2, step(), a = 1;
    EXPECT_EQ(calls(), "");
    const QkTrace* const t = name("top.a")->trace;
    EXPECT_EQ(t->nbreak, 0);
    EXPECT_EQ(t->ntrace, 1) << "the net stays traced";
}

TEST_F(BreakTest, ABreakOutlivesUntraceAndItsNetMayGo) {
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnChange), 0);
    qk_cli("untrace *");
    a = 1;
    EXPECT_EQ(calls(), "top.a ");
    get("top.a")->UnregisterBreak();
    EXPECT_EQ(name("top.a")->trace->a_next, nullptr) << "nothing compares it any more";

    static uint8_t x;
    kelvo_module* const later = registerNets("later", {net(0, 1, "x", &x, 7, 0)});
    ASSERT_EQ(breakOn("later.x", QkVariable::BreakOnChange), 0);
    delete later;
    x = 1;
    EXPECT_EQ(calls(), "");
    EXPECT_EQ(qkLiveModel->handles.deleteBreak(2), 0);
    EXPECT_EQ(qkLiveModel->handles.deleteBreak(2), 28);
}

// ---- Change notices

TEST_F(BreakTest, TheNotifierHearsOfEachChange) {
    QkVariable::RegisterChangeNotifier(noteCall);
    for (const char* n : {"top.a", "top.wide", "top.slice", "top.nflag"}) {
        EXPECT_EQ(get(n)->SetChangeNotify(true), 0) << n;
        EXPECT_EQ(get(n)->SetChangeNotify(true), 0) << n;
        EXPECT_TRUE(get(n)->GetChangeNotify()) << n;
    }
    EXPECT_EQ(get("top.mem")->SetChangeNotify(true), 12);
    a = 1;
    wide[0] = 0;
    EXPECT_EQ(calls(), "top.wide top.a top.slice ");
    flag = 0;
    EXPECT_EQ(calls(), "top.nflag ");
    qk_cli("trace *");
    qk_cli("show top.a");
    qk_cli("untrace *");
    wide[1] = 0;
    a = 2;
    EXPECT_EQ(calls(), "top.wide top.a top.slice ") << "traced or not";
    for (const char* n : {"top.a", "top.slice", "top.nflag", "top.wide"})
        EXPECT_EQ(get(n)->SetChangeNotify(false), 0) << n;
    EXPECT_EQ(qkLiveModel->writer.active_traces, nullptr);
    EXPECT_EQ(name("top.a")->trace->nshow, 0);
    a = 3;
    EXPECT_EQ(calls(), "");
    qk_save("x.vcd");
    EXPECT_EQ(readVcd("x.vcd").find("$var wire 8"), std::string::npos) << "never traced by that";
}

// ---- Callbacks that come back

QkVariable* other = nullptr;
kelvo_module* module = nullptr;

TEST_F(BreakTest, CallbacksMayChangeWhatIsBeingTold) {
    static uint8_t x[3];
    module = registerNets("later", {net(0, 1, "x", &x[0], 7, 0), net(0, 2, "x2", &x[0], 7, 0),
                                    net(0, 3, "y", &x[1], 7, 0), net(0, 4, "z", &x[2], 7, 0)});
    const QkVariable::Callback callbacks[] = {
        [](QkVariable* v) {  // deletes its own breaks, and sets a new one
            v->UnregisterBreak();
            v->RegisterBreak(noteCall, QkVariable::BreakOnChange, nullptr);
        },
        [](QkVariable*) { other->UnregisterBreak(); },
        [](QkVariable* v) {  // captures, files and commands
            v->SetValue(v->GetValue() + 1);
            qk_takenote();
            qk_cli("trace *");
            qk_traceto("inner.vcd");
            qk_traceclose();
            qk_cli("untrace *");
        },
        [](QkVariable*) { delete std::exchange(module, nullptr); },
        [](QkVariable*) {
            QkVariable* v = get("top.v");
            QkVariable::DeleteByPointer(v);
        },
    };
    QkVariable::CreateByName("v", "later.x");
    for (const auto callback : callbacks) {
        other = get("later.y");
        for (const char* n : {"later.z", "later.y", "later.x2", "later.x", "top.v"}) {
            if (QkVariable* const v = get(n)) {
                v->RegisterBreak(callback, QkVariable::BreakOnChange, nullptr);
                v->RegisterBreak(noteCall, QkVariable::BreakOnChange, nullptr);
            }
        }
        for (int i = 0; i < 3; ++i) {
            for (uint8_t& byte : x) ++byte;
            step();
        }
        for (const char* n : {"later.z", "later.y", "later.x2", "later.x", "top.v"})
            if (QkVariable* const v = get(n)) v->UnregisterBreak();
    }
    EXPECT_EQ(get("later.x"), nullptr);
    EXPECT_EQ(get("top.v"), nullptr);
    EXPECT_THAT(called, testing::HasSubstr("later.z "));
    EXPECT_EQ(qkLiveModel->writer.active_traces, nullptr);
}

TEST_F(BreakTest, AThrowingCallbackDoesNotEndTheCaptures) {
    ASSERT_EQ(get("top.a")->RegisterBreak([](QkVariable*) { throw 1; }, QkVariable::BreakOnEqual, 1,
                                          uint64_t{1}),
              0);
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnEqual, 2), 0);
    a = 1;
    EXPECT_THROW(step(), int);
    a = 2;
    EXPECT_EQ(calls(), "top.a ");
}

TEST_F(BreakTest, TheEndOfTheRunLooksOnceMore) {
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnChange), 0);
    a = 1;
    kelvo_finish();
    EXPECT_EQ(takeSaid(), "Stopped at breakpoint 1\n");
    // Nor are the others forgotten when there is no breakpoint.
    get("top.a")->UnregisterBreak();
    QkVariable::RegisterChangeNotifier(noteCall);
    ASSERT_EQ(get("top.b")->SetChangeNotify(true), 0);
    qk_cli("show top.a");
    takeSaid();
    a = 2, b = 2;
    kelvo_finish();
    EXPECT_EQ(takeSaid(), "       0ns: top.a = 02\n");
    EXPECT_EQ(called, "top.a top.b ");
    ASSERT_EQ(qk_save("x.vcd"), 1);
    EXPECT_THAT(readVcd("x.vcd"), testing::HasSubstr("\nb1 !\nb10 !\n"));
}

TEST_F(BreakTest, RecordingAgainIsNoChange) {
    ASSERT_EQ(breakOn("top.a", QkVariable::BreakOnChange), 0);
    qk_cli("show top.a");
    qk_cli("untrace top.a");
    qk_cli("trace top.a");
    takeSaid();
    EXPECT_EQ(calls(), "");
    a = 1;
    EXPECT_EQ(calls(), "top.a ");
    // Its change is dropped, so that the value is recorded once more.
    qk_cli("circular 10000");
    qk_cli("trace top.b");
    qk_cli("show top.a");
    takeSaid();
    called.clear();
    for (int i = 0; i < 5010; ++i) b ^= 1, step();
    EXPECT_EQ(called + takeSaid(), "");
    ASSERT_EQ(qk_save("x.vcd"), 1);
    const std::string vcd = readVcd("x.vcd");
    EXPECT_THAT(vcd.substr(vcd.find("#5000")), testing::HasSubstr(" \"\nb1 !\n"));
}

}  // namespace
