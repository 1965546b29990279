#include <memory>

#include "tests/support/model_test.h"

namespace {

class ModuleTest : public ModelTest {
protected:
    static std::vector<std::string> allNames() {
        completeRegistration(true);
        std::vector<std::string> names;
        for (const QkName* name : qkLiveModel->matching("*"))
            names.push_back(FullName(name).c_str());
        return names;
    }
};

TEST_F(ModuleTest, InstancesOfOneNameGetScopesOfTheirOwn) {
    kelvo_module first("m", "u"), second("m"), third("m", "u.");
    second.qk_setup("u", nullptr);
    EXPECT_STREQ(first.qk_get_full_instance_name(), "u");
    EXPECT_STREQ(second.qk_get_full_instance_name(), "u.qk_unique0");
    EXPECT_STREQ(third.qk_get_full_instance_name(), "u.qk_unique1");
    EXPECT_STREQ(first.qk_get_instance_name(), "u.");
    EXPECT_STREQ(second.qk_get_instance_name(), "u.qk_unique0.");
    EXPECT_STREQ(third.qk_get_instance_name(), "u.qk_unique1.");
}

TEST_F(ModuleTest, SetupNamesOnceAndNamelessModulesAreAtTheTop) {
    kelvo_module top("m", "top"), child("m"), named("m", "mine"), nameless("m");
    child.qk_setup("a..b.", &top);
    child.qk_setup("again", nullptr);
    named.qk_setup("yours", &top);
    nameless.qk_setup("", &top);
    EXPECT_STREQ(child.qk_get_full_instance_name(), "top.a.b");
    EXPECT_STREQ(named.qk_get_full_instance_name(), "mine");
    EXPECT_STREQ(nameless.qk_get_full_instance_name(), "toplevel");
    EXPECT_EQ(child.qk_get_scope(false), child.qk_get_scope(true));
    EXPECT_STREQ(top.qk_get_module_name(), "m");
    EXPECT_EQ(kelvo_module().qk_get_module_name(), nullptr);
}

TEST_F(ModuleTest, PathsIgnoreSurplusDotsAndCaseWhereTheScopeSaysSo) {
    kelvo_module top("m", "Top");
    QkScope* const scope = top.qk_get_scope(false);
    QkScope* const vhdl = qkLiveModel->addScope(scope, "Vhdl", true);
    const auto find = [](const char* path, bool stopAtLast, bool ignoreCase) {
        QkScope* at = nullptr;
        const char* const rest =
            qkLiveModel->findScopePath(at, path, stopAtLast, ignoreCase, false);
        return std::make_pair(at, std::string(rest ? rest : "(none)"));
    };
    using Found = std::pair<QkScope*, std::string>;
    EXPECT_EQ(find("Top.Vhdl", false, false), Found(vhdl, ""));
    EXPECT_EQ(find("..Top...vHDL", false, false), Found(vhdl, ""));
    EXPECT_EQ(find("Top.Vhdl.net", true, false), Found(vhdl, "net"));
    EXPECT_EQ(find("Top.Vhdl.", true, false), Found(vhdl, ""));
    EXPECT_EQ(find("top.Vhdl", false, false), Found(nullptr, "(none)"));
    EXPECT_EQ(find("tOP.Vhdl", false, true), Found(vhdl, ""));
    EXPECT_EQ(find("net", true, false), Found(nullptr, "(none)"));
    EXPECT_EQ(find("Top.Vhdl.x.y", false, false), Found(vhdl, "(none)"));
    EXPECT_EQ(find("Top.Vhd", false, false), Found(scope, "(none)"));
}

TEST_F(ModuleTest, AModuleTakesItsNetsWithIt) {
    static uint8_t outside = 1, shared = 2;
    uint8_t inside[3] = {};
    uint8_t* port = &shared;
    registerNets("other", {net(0, 1, "s", &shared, 7, 0), net(0, 2, "o", &outside, 7, 0)});
    auto module = std::make_unique<kelvo_module>("m", "gone");
    const QkGRScope scopes[] = {{0, 1, "u", 0}};
    QkGRNet twin = net(1, 3, "twin", nullptr, 0, 0, 1, QK_flag_replaced);
    twin.replacement = -2;
    const QkGRNet rows[] = {net(0, 1, "port", &port, 7, 0, QK_type_output),
                            net(1, 2, "n", &inside[0], 0, 0, 1 | QK_invert), twin,
                            net(1, 4, "wide", &inside[1], 7, 0, 0x201),
                            net(1, 5, "wide", &inside[2], 15, 8, 0x201)};
    QkRegistration::start(module.get(), 2, 5, false);
    QkRegistration::addScopes(module.get(), 1, scopes);
    QkRegistration::addNets(module.get(), 5, rows);
    QkRegistration::addTerms(module.get(), 0, nullptr);
    QkRegistration::end(module.get());
    trace("*");
    EXPECT_EQ(qk_traceto("x.vcd"), 1);
    ++outside, ++inside[0], ++inside[2], ++shared;
    advance();

    module.reset();
    EXPECT_EQ(said, "VCD written to file: x.vcd\n");
    EXPECT_THAT(allNames(), testing::ElementsAre("other.o", "other.s"));
    for (const void* address : {inside, inside + 1, inside + 2})
        EXPECT_EQ(qkLiveModel->tracesAt(address), nullptr);
    EXPECT_NE(qkLiveModel->tracesAt(&shared), nullptr);
    ++shared;
    advance();
    EXPECT_EQ(qk_save("y.vcd"), 1);
    EXPECT_THAT(readVcd("y.vcd"), testing::HasSubstr("b100 "));
    // Room and places are used again.
    kelvo_module next("m", "gone");
    EXPECT_STREQ(next.qk_get_full_instance_name(), "gone");
}

TEST_F(ModuleTest, HistoryOfANetThatIsGoneIsLeftOut) {
    static uint8_t stays = 0;
    registerNets("a", {net(0, 1, "stays", &stays, 7, 0)});
    auto module = std::make_unique<kelvo_module>("m", "b");
    uint8_t goes = 0;
    const QkGRNet row = net(0, 1, "goes", &goes, 7, 0);
    QkRegistration::start(module.get(), 1, 1, false);
    QkRegistration::addNets(module.get(), 1, &row);
    QkRegistration::end(module.get());
    trace("*");
    stays = goes = 3;
    advance();
    module.reset();
    stays = 4;
    advance();
    ASSERT_EQ(qk_save("x.vcd"), 1);
    EXPECT_THAT(readVcd("x.vcd"),
                testing::EndsWith("#0\n$dumpvars\nb0 !\n$end\n#1\nb11 !\n#2\nb100 !\n"));
}

TEST_F(ModuleTest, AParentMayGoBeforeItsChild) {
    auto parent = std::make_unique<kelvo_module>("m", "p");
    kelvo_module child("m");
    child.qk_setup("c", parent.get());
    EXPECT_STREQ(child.qk_get_full_instance_name(), "p.c");
    parent.reset();
    EXPECT_THAT(allNames(), testing::IsEmpty());
}

TEST_F(ModuleTest, AScopeBelowNamesStays) {
    static uint8_t byte;
    kelvo_module* const parent = registerNets("p", {net(0, 1, "n", &byte, 0, 0)});
    {
        kelvo_module child("m");
        child.qk_setup("c", parent);
        child.qk_get_scope(false);
    }
    QkScope* scope = nullptr;
    EXPECT_TRUE(qkLiveModel->findScopePath(scope, "p.c", false, false, false));
}

/// A module below one with nets, whose storage goes with it.
struct Child {
    explicit Child(kelvo_module* parent, uint8_t** port, int partBits = 64, int msb = 7)
        : module(std::make_unique<kelvo_module>("m")) {
        const QkGRScope scopes[] = {{0, 1, "u", 0}};
        QkGRNet not_a = net(0, 6, "not_a", nullptr, msb, 0, 1, QK_flag_replaced);
        not_a.replacement = -2;
        QkGRNet mem = net(1, 8, "mem", s->mem, 7, 0, QK_array);
        mem.array_right = 3;
        mem.array_data = &s->cell;
        const QkGRNet rows[] = {net(0, 1, "port", port, 7, 0, QK_type_input),
                                net(0, 2, "a", &s->a, msb, 0, 1 | QK_invert),
                                net(0, 3, "alias", &s->a, msb, 0),
                                net(0, 4, "wide", &s->low, partBits - 1, 0, QK_parts),
                                net(0, 5, "wide", &s->high, 65, partBits, QK_parts),
                                not_a,
                                net(1, 7, "b", &s->b, 7, 0),
                                mem};
        const QkGRExtract slice{0, "slice", 0, 3, 0, 2, 2, 0};
        const QkGRTerm term{0, "part", 0, 3, 0, 4};
        module->qk_setup("c", parent);
        QkRegistration::start(module.get(), 2, 8, false);
        QkRegistration::addScopes(module.get(), 1, scopes);
        QkRegistration::addNets(module.get(), 8, rows);
        QkRegistration::addExtracts(module.get(), 1, &slice);
        QkRegistration::addTerms(module.get(), 1, &term);
        QkRegistration::end(module.get());
    }

    struct Storage {
        uint8_t a = 0, b = 0, mem[4] = {};
        uint64_t low = 0, high = 0, cell = 0;
    };
    std::unique_ptr<Storage> s = std::make_unique<Storage>();
    std::unique_ptr<kelvo_module> module;  // goes before the storage
};

TEST_F(ModuleTest, AModuleMadeAgainKeepsWhatUsersAskedForItsNets) {
    static uint8_t clk = 1, copy, other = 1;
    static uint8_t *port = &clk, *otherPort = &other;
    kelvo_module* const parent = registerNets("p", {net(0, 1, "clk", &clk, 7, 0)});
    auto child = std::make_unique<Child>(parent, &port);
    QkGRNet shadow = net(0, 1, "copy", &copy, 7, 0, 1, QK_flag_shadow);
    shadow.trace_word = &child->s->b;
    kelvo_module* const reader = registerNets("r", {shadow, net(0, 2, "other", &other, 7, 0)});
    qk_cli("setvv v = p.c.a, p.c.u.b");
    trace("*");
    QkVariable* const a = QkVariable::GetByName("p.c.a");
    QkVariable* const wide = QkVariable::GetByName("p.c.wide");
    QkVariable* const b = QkVariable::GetByName("p.c.u.b");
    static std::string changed;
    const auto note = [](QkVariable* variable) {
        changed += std::string(variable->GetFullname()) + " ";
    };
    for (QkVariable* variable :
         {a, wide, b, QkVariable::GetByName("p.c.slice"), QkVariable::GetByName("p.c.port")})
        ASSERT_EQ(variable->RegisterBreak(note, QkVariable::BreakOnChange, nullptr), 0);
    child->s->a = 5;
    child->s->b = 9;
    child->s->high = 2;
    reader->qk_finalize_wave();
    advance();
    EXPECT_EQ(changed, "p.c.u.b p.c.wide p.c.a p.c.slice ");
    EXPECT_EQ(copy, 9);

    // Nothing reads what has gone, and nothing has changed by that.
    changed.clear();
    copy = 1;
    const void* const owner = &child->s->b;
    child.reset();
    const auto takesItsPlace = std::make_unique<Child::Storage>();  // most often
    clk = 2;
    reader->qk_finalize_wave();
    advance();
    EXPECT_EQ(changed, "");
    EXPECT_EQ(copy, 1);
    EXPECT_EQ(a->GetValue(), 5u);
    EXPECT_EQ(wide->GetWideValue(1), 2u);
    EXPECT_EQ(readChunk(name("p.c.not_a"), 0, 0), 0xfau);
    EXPECT_EQ(readChunk(name("p.v"), 0, 0), 0x509u);
    EXPECT_EQ(readChunk(name("p.c.u.mem"), 0, 2), 0u);
    EXPECT_EQ(a->GetAddress(), nullptr);

    said.clear();
    child = std::make_unique<Child>(parent, &port);
    EXPECT_EQ(said, "");
    EXPECT_THAT(allNames(), testing::SizeIs(13));
    child->s->a = 0x14;
    child->s->mem[2] = 7;
    advance();
    EXPECT_EQ(changed, "p.c.u.b p.c.wide p.c.a p.c.slice ");
    EXPECT_EQ(a->GetAddress(), &child->s->a);
    EXPECT_EQ(a->SetValue(0x15), 0);
    EXPECT_EQ(child->s->a, 0x15);
    EXPECT_EQ(wide->SetWideValue(1, 1), 0);
    EXPECT_EQ(child->s->high, 1u);
    EXPECT_EQ(readChunk(name("p.v"), 0, 0), 0x1500u);
    EXPECT_EQ(readChunk(name("p.c.u.mem"), 0, 1), 7u);
    EXPECT_EQ(name("p.c.port")->trace, name("p.clk")->trace);
    child->s->b = 3;
    reader->qk_finalize_wave();
    EXPECT_EQ(copy, &child->s->b == owner ? 3 : 1) << "its owner comes back at its place alone";
    advance();
    ASSERT_EQ(qk_save("x.vcd"), 1);
    const std::string vcd = readVcd("x.vcd");
    const auto codeOf = [&](const std::string& local) {
        const size_t line = vcd.rfind("$var wire ", vcd.find(" " + local + " "));
        return vcd.substr(line + 14, 1);
    };
    EXPECT_EQ(codeOf("a"), codeOf("alias"));
    for (const char* value : {"b0 ", "b101 ", "b10100 ", "b10101 "})
        EXPECT_THAT(vcd, testing::HasSubstr(value + codeOf("a") + "\n"));

    // In another layout, on another net, and in other bounds.
    child.reset();
    child = std::make_unique<Child>(parent, &otherPort, 32, 3);
    EXPECT_THAT(allNames(), testing::SizeIs(13));
    changed.clear();
    child->s->low = 1;
    other = 0;
    advance();
    EXPECT_EQ(changed, "p.c.wide p.c.port p.c.u.b ");
    ASSERT_EQ(qk_save("y.vcd"), 1);
    EXPECT_THAT(readVcd("y.vcd"), testing::HasSubstr("66  " + codeOf("wide") + "   wide "));
    EXPECT_EQ(name("p.c.port")->trace, name("r.other")->trace);
    EXPECT_EQ(a->GetWidth(), 0);
    EXPECT_EQ(QkVariable::GetByName("p.c.a")->GetWidth(), 4);
    EXPECT_EQ(b->GetAddress(), &child->s->b);
}

TEST_F(ModuleTest, ACopyIsCopiedToAgainWhenItsOwnerIsBackInItsPlace) {
    static uint8_t top, owner = 4, copy;
    kelvo_module* const parent = registerNets("p", {net(0, 1, "n", &top, 7, 0)});
    QkGRNet shadow = net(0, 1, "copy", &copy, 7, 0, 1, QK_flag_shadow);
    shadow.trace_word = &owner;
    const QkGRNet row = net(0, 1, "owner", &owner, 7, 0);
    for (const int expected : {4, 6}) {
        kelvo_module child("m");
        child.qk_setup("c", parent);
        QkRegistration::start(&child, 1, 1, false);
        QkRegistration::addNets(&child, 1, &row);
        QkRegistration::end(&child);
        static kelvo_module* const reader = registerNets("r", {shadow});
        reader->qk_finalize_wave();
        EXPECT_EQ(copy, expected);
        owner = 6;
    }
}

TEST_F(ModuleTest, CanBeAssigned) {
    kelvo_module a("m", "a"), b("n", nullptr);
    b = a;
    EXPECT_STREQ(b.qk_get_module_name(), "m");
    EXPECT_STREQ(b.qk_get_instance_name(), "a");
    b.~kelvo_module();
    new (&b) kelvo_module("m", "b");  // one of the two may be destroyed
    new (&a) kelvo_module("m", "c");
}

TEST_F(ModuleTest, PowerOnValuesFollowTheSeed) {
    EXPECT_EQ(qk_get_initial_value(64, 5), 0u);
    qk_set_initial_value(1);
    EXPECT_EQ(qk_get_initial_value(0, 5), 0u);
    EXPECT_EQ(qk_get_initial_value(7, 5), 0x7fu);
    EXPECT_EQ(qk_get_initial_value(64, 5), ~uint64_t{0});
    qk_set_initial_value(3);
    // (3 * 5 * 0x27BB2EE687B0B0FD + 0xB504F32D) mod 2^64, by Python.
    EXPECT_EQ(qk_get_initial_value(64, 5), 0x53F7BF82A85F5200u);
    EXPECT_EQ(qk_get_initial_value(16, 5), qk_get_initial_value(64, 5) >> 48);
    EXPECT_EQ(qk_get_initial_value(0, 5), 0u);
    EXPECT_EQ(qk_get_initial_value(-3, 5), 0u);
}

}  // namespace
