// What the adapter makes of a design: on small trees made by hand, and on dumps that releases of
// Verilator wrote of the same sources.
#include "design.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "write.h"

using namespace qkverilate;

namespace {

using Nodes = std::vector<Node>;

// ---- Trees

Node var(const char* name, const char* type = "bit", const char* direction = "") {
    Node node{"var", {{"name", name}, {"orig", name}, {"type", type}}};
    if (*direction) node.attributes.emplace_back("dir", direction);
    return node;
}
Node in(const char* name, const char* type = "bit") { return var(name, type, "input"); }
Node out(const char* name, const char* type = "bit") { return var(name, type, "output"); }
Node ref(const char* name) { return {"varref", {{"name", name}}}; }
Node select(const char* name) { return {"sel", {}, {ref(name), {"const", {{"name", "32'h0"}}}}}; }
Node blocking(Node target, Node value) {
    return {"assign", {}, {std::move(value), std::move(target)}};
}
Node delayed(Node target, Node value) {
    return {"assigndly", {}, {std::move(value), std::move(target)}};
}
Node continuous(Node target, Node value) {
    return {"contassign", {}, {std::move(value), std::move(target)}};
}
Node block(Nodes nodes, const char* name = "") {
    return {"begin", {{"name", name}}, std::move(nodes)};
}
Node when(Node condition, Node then) {
    return {"if", {}, {std::move(condition), block({std::move(then)})}};
}
Node when(Node condition, Node then, Node otherwise) {
    return {
        "if", {}, {std::move(condition), block({std::move(then)}), block({std::move(otherwise)})}};
}
/// @param edges  "POS clk" and so on
Node always(std::vector<std::pair<const char*, const char*>> edges, Node body) {
    Node sentree{"sentree"};
    for (const auto& [edge, net] : edges)
        sentree.children.push_back({"senitem", {{"edge", edge}}, {ref(net)}});
    Node node{"always"};
    if (!edges.empty()) node.children.push_back(std::move(sentree));
    node.children.push_back(std::move(body));
    return node;
}
Node clocked(Node body) { return always({{"POS", "clk"}}, std::move(body)); }
Node port(const char* name, Node value) { return {"port", {{"name", name}}, {std::move(value)}}; }
Node instance(const char* name, const char* module, Nodes ports) {
    return {"instance", {{"name", name}, {"def", module}}, std::move(ports)};
}
Node module(const char* name, Nodes items) {
    return {"module", {{"name", name}, {"orig", name}}, std::move(items)};
}

Node basic(const char* id, const char* name, const char* left = "", const char* right = "") {
    Node node{"basicdtype", {{"id", id}, {"name", name}}};
    if (*left) {
        node.attributes.emplace_back("left", left);
        node.attributes.emplace_back("right", right);
    }
    return node;
}
Node array(const char* kind, const char* id, const char* element, const char* left,
           const char* right) {
    return {kind, {{"id", id}, {"sub", element}, {"left", left}, {"right", right}}};
}

Node netlist(Nodes modules) {
    Node tree{"netlist", {}, std::move(modules)};
    const auto member = [](const char* type) { return Node{"memberdtype", {{"sub", type}}}; };
    tree.children.push_back(
        {"types",
         {},
         {basic("bit", "logic"), basic("byte", "logic", "7", "0"), basic("one", "logic", "0", "0"),
          basic("up", "bit", "1", "70"), basic("count", "integer", "31", "0"),
          basic("real", "real"), array("packarraydtype", "packed", "byte", "0", "2"),
          array("unpackarraydtype", "mem", "byte", "4", "1"),
          array("unpackarraydtype", "grid", "mem", "0", "2"),
          Node{"structdtype", {{"id", "struct"}}, {member("packed"), member("bit")}},
          Node{"uniondtype", {{"id", "union"}}, {member("byte"), member("bit")}},
          Node{"refdtype", {{"id", "alias"}, {"sub", "struct"}}},
          Node{"queuedtype", {{"id", "queue"}}}}});
    return tree;
}

// ---- What comes of them

const Net* find(const Design& design, const std::string& path) {
    for (const Net& net : design.nets)
        if (design.scopes[static_cast<size_t>(net.scope)].path + "." + net.name == path)
            return &net;
    return nullptr;
}

std::string kindOf(const Design& design, const std::string& path) {
    const Net* const net = find(design, path);
    if (!net) return "none";
    switch (net->kind) {
        case Kind::kNet: return net->isClock ? "clock" : "net";
        case Kind::kRegister: return "register";
        case Kind::kLatch: return "latch";
        case Kind::kMemory: return "memory";
        case Kind::kParameter: return "parameter";
    }
    return "?";
}

TEST(DesignTest, KindsFollowFromHowANetIsAssigned) {
    const Node x = ref("x"), d = ref("d");
    const Node full{
        "case",
        {},
        {x,
         {"caseitem", {}, {{"const", {{"name", "1'h0"}}}, block({blocking(ref("q"), d)})}},
         {"caseitem", {}, {{"const", {{"name", "1'h1"}}}, block({blocking(ref("q"), x)})}}}};
    Node partial = full;
    partial.children.pop_back();
    Node defaulted = partial;
    defaulted.children.push_back({"caseitem", {}, {block({blocking(ref("q"), x)})}});
    const Node task{"task",
                    {{"name", "set"}},
                    {var("o", "bit", "output"), delayed(ref("q"), d), blocking(ref("o"), d)}};
    const Node call{"taskref", {{"name", "set"}}, {{"arg", {}, {ref("r")}}}};
    const Node counts = blocking(ref("i"), {"add", {}, {ref("i"), x}});
    const Node loops = block({blocking(ref("i"), x), {"loop", {}, {ref("i"), counts}}});
    const struct {
        const char* what;
        Node item;
        const char* net;
        const char* kind;
    } rows[] = {
        {"<= at an edge", clocked(delayed(ref("q"), d)), "q", "register"},
        {"<= of a part", clocked(delayed(select("q"), d)), "q", "register"},
        {"= at an edge", clocked(blocking(ref("q"), d)), "q", "register"},
        {"both parts of a concatenation", clocked(delayed({"concat", {}, {ref("r"), ref("q")}}, d)),
         "q", "register"},
        {"no edge, every path", always({}, when(x, blocking(ref("q"), d), blocking(ref("q"), x))),
         "q", "net"},
        {"no edge, one path", always({}, when(x, blocking(ref("q"), d))), "q", "latch"},
        {"levels only", always({{"CHANGED", "x"}}, when(x, blocking(ref("q"), d))), "q", "latch"},
        {"a case of all values", always({}, full), "q", "net"},
        {"a case of some values", always({}, partial), "q", "latch"},
        {"a case with a default", always({}, defaulted), "q", "net"},
        {"a loop's counter", clocked(loops), "i", "net"},
        {"a counter that is kept", clocked(counts), "i", "register"},
        {"what a task assigns", Node{"begin", {}, {task, clocked(call)}}, "q", "register"},
        {"a task's output", Node{"begin", {}, {task, clocked(call)}}, "r", "register"},
        {"assign", continuous(ref("q"), d), "q", "net"},
        {"assign of itself", continuous(ref("q"), {"cond", {}, {x, d, ref("q")}}), "q", "latch"},
        {"an array that is written", clocked(delayed(select("m"), d)), "m", "memory"},
        {"an array that nothing writes", continuous(ref("q"), select("m")), "m", "memory"},
        {"an array of logic", continuous(ref("m"), d), "m", "net"},
        {"a clock", clocked(delayed(ref("q"), d)), "clk", "clock"},
        {"an asynchronous reset",
         always({{"POS", "clk"}, {"NEG", "x"}}, when(x, delayed(ref("q"), d))), "x", "net"},
        {"a clock through an assignment",
         Node{"begin",
              {},
              {continuous(ref("r"), ref("x")), always({{"NEG", "r"}}, delayed(ref("q"), d))}},
         "x", "clock"},
        {"what a block keeps",
         clocked(
             block({var("k"), when(x, blocking(ref("k"), d)), delayed(ref("q"), ref("k"))}, "b")),
         "b.k", "register"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const Node tree = netlist({module("top", {in("clk"), in("x"), in("d"), var("q"), var("r"),
                                                  var("i", "count"), var("m", "mem"), row.item})});
        EXPECT_EQ(kindOf(analyse(tree, {}), std::string("top.") + row.net), row.kind);
    }
}

TEST(DesignTest, TypesHaveTheirDeclaredBoundsOrAreLeftOut) {
    const struct {
        const char* type;
        const char* expected;  // bounds of bits and of elements, or why it is left out
    } rows[] = {
        {"bit", "scalar"},
        {"one", "[0:0]"},
        {"up", "[1:70]"},
        {"packed", "[23:0]"},
        {"struct", "[24:0]"},
        {"union", "[7:0]"},
        {"alias", "[24:0]"},
        {"mem", "[7:0] 4 of [4:1]"},
        {"grid", "[7:0] 12 of [11:0]"},
        {"real", "top.v: left out: real"},
        {"queue", "top.v: left out: queue"},
        {"none", "top.v: left out: unknown type"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        const Design design = analyse(netlist({module("top", {var("v", row.type)})}), {});
        std::string got = design.leftOut.empty() ? "" : design.leftOut.front();
        if (!design.nets.empty()) {
            const Type& type = design.nets.front().type;
            const auto bounds = [](int left, int right) {
                return "[" + std::to_string(left) + ":" + std::to_string(right) + "]";
            };
            got = type.isRanged ? bounds(type.bits.left, type.bits.right) : "scalar";
            const std::string table = tablesOf(design, {}, "Vtop");
            int count, high, low;
            const size_t at = table.find("\"v\"");
            if (!type.unpacked.empty() &&
                std::sscanf(table.c_str() + at,
                            "\"v\", %*d, %*d, %*d, %*d, %*u, %*d, %*d, %d, %d, %d", &count, &high,
                            &low) == 3)
                got += " " + std::to_string(count) + " of " + bounds(high, low);
        }
        EXPECT_EQ(got, row.expected);
    }
}

/// A register at the output of an instance in an instance.
Design nested(Node connection, Nodes more = {}) {
    const Node leaf = module("leaf", {in("clk"), out("q"), clocked(delayed(ref("q"), ref("clk")))});
    const Node middle = module(
        "middle",
        {in("c"), out("q"), instance("l", "leaf", {port("clk", ref("c")), port("q", ref("q"))})});
    Nodes items = {in("clk"), out("o"), var("w", "byte"),
                   instance("m", "middle", {port("c", ref("clk")), port("q", connection)})};
    items.insert(items.end(), more.begin(), more.end());
    return analyse(netlist({module("top", items), middle, leaf}), {});
}

TEST(DesignTest, PortsShareTheStorageOfWhatTheyAreConnectedTo) {
    const auto homeOf = [](const Design& design, const char* path) {
        for (size_t i = 0; i < design.nets.size(); ++i)
            if (&design.nets[i] == find(design, path)) {
                const Net& net = design.nets[static_cast<size_t>(design.home(static_cast<int>(i)))];
                return design.scopes[static_cast<size_t>(net.scope)].path + "." + net.name;
            }
        return std::string("none");
    };
    const Design plain = nested(ref("o"));
    EXPECT_EQ(homeOf(plain, "top.m.l.clk"), "top.clk");
    EXPECT_EQ(homeOf(plain, "top.m.l.q"), "top.o");
    EXPECT_TRUE(find(plain, "top.m.l.q")->isPublic) << "it may have the storage";
    EXPECT_FALSE(find(plain, "top.m.l.q")->isWritable);
    EXPECT_FALSE(find(plain, "top.m.l.clk")->isPublic);
    EXPECT_EQ(kindOf(plain, "top.clk"), "clock");

    const Design part = nested(select("w"));
    EXPECT_EQ(homeOf(part, "top.m.l.q"), "top.m.q");
    EXPECT_TRUE(find(part, "top.m.q")->isWritable) << "else its storage would be a copy";

    const Design twice = nested(ref("o"), {continuous(ref("o"), ref("clk"))});
    EXPECT_EQ(homeOf(twice, "top.m.q"), "top.m.q") << "what has two drivers need not agree";
    const Design other = nested(ref("w"));
    EXPECT_EQ(homeOf(other, "top.m.q"), "top.m.q") << "a port of another width";
    EXPECT_EQ(configurationOf(part).find("\"middle\" -var \"c\""), std::string::npos);
    EXPECT_NE(configurationOf(part).find("public_flat_rw -module \"middle\" -var \"q\"\n"),
              std::string::npos);
}

TEST(DesignTest, InstancesOfAnArrayShareOnlyWhatTheyHaveInCommon) {
    Node lanes = instance("u", "leaf", {port("clk", ref("clk")), port("q", ref("w"))});
    lanes.attributes.insert(lanes.attributes.end(), {{"left", "32'sh1"}, {"right", "32'sh2"}});
    const Node leaf = module("leaf", {in("clk"), out("q"), clocked(delayed(ref("q"), ref("clk")))});
    const Design design =
        analyse(netlist({module("top", {in("clk"), var("w"), std::move(lanes)}), leaf}), {});
    for (const char* const element : {"top.u[1]", "top.u[2]"}) {
        EXPECT_TRUE(find(design, element + std::string(".clk"))->sharesOuter);
        EXPECT_FALSE(find(design, element + std::string(".q"))->sharesOuter);
    }
    EXPECT_EQ(kindOf(design, "top.clk"), "clock");
}

TEST(DesignTest, MessagesNameWhatIsRefusedOrLeftOut) {
    const Node wait{"delay", {{"loc", "a.v:7"}}, {blocking(ref("q"), ref("clk"))}};
    const Node iface{"iface", {{"name", "bus_if"}}, {var("d")}};
    const struct {
        const char* what;
        Nodes items;
        DesignOptions options;
        const char* text;
    } rows[] = {
        {"delay in initial",
         {Node{"initial", {}, {wait}}},
         {},
         "a.v:7: the design makes its own time: give the modules below the test bench"},
        {"delay in always",
         {always({}, wait)},
         {},
         "a.v:7: the design makes its own time: give the modules below the test bench"},
        {"unknown clock",
         {},
         {"", {"x"}, {}, false},
         "--clock x: top has no input of that name; it has clk, d"},
        {"unknown early input",
         {},
         {"", {}, {"q"}, false},
         "--early q: top has no input of that name; it has clk, d"},
        {"interface", {instance("bus", "bus_if", {})}, {}, "top.bus: left out: interface"},
        {"a name",
         {var("a.b")},
         {},
         "top.a.b: left out: a name that cannot be typed at the console"},
        {"an array as input",
         {in("x", "mem")},
         {},
         "top.x: left out: an input that is an array; it stays 0"},
        {"a driven inout",
         {var("pad", "bit", "inout"), continuous(ref("pad"), ref("d"))},
         {},
         "top.pad: shown, but neither driven nor compared: see docs/verilator.md"},
        {"no clock",
         {},
         {},
         "no clock found: the model is evaluated once a time unit; give --clock NET"},
        {"a gated clock",
         {continuous(ref("w"), {"and", {}, {ref("clk"), ref("d")}}),
          always({{"POS", "w"}}, delayed(ref("q"), ref("d")))},
         {},
         "note: clock top.w is made by logic"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Nodes items = {in("clk"), in("d"), var("q"), var("w")};
        items.insert(items.end(), row.items.begin(), row.items.end());
        std::vector<std::string> said;
        try {
            const Design design = analyse(netlist({module("top", items), iface}), row.options);
            said = design.leftOut;
            said.insert(said.end(), design.warnings.begin(), design.warnings.end());
        } catch (const DesignError& error) {
            said = {error.text};
        }
        EXPECT_NE(std::find(said.begin(), said.end(), row.text), said.end())
            << (said.empty() ? "nothing" : said.front());
    }
}

// ---- Dumps

class DumpTest : public testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/design_test.XXXXXX";
        ASSERT_TRUE(mkdtemp(folder) && chdir(folder) == 0);
    }
};

/// @return the name of an unpacked copy of a golden file
std::string unpacked(const std::string& name) {
    const gzFile from = gzopen((ZEFT_GOLDEN_DIR "/verilator/" + name + ".gz").c_str(), "rb");
    std::FILE* const to = std::fopen(name.c_str(), "wb");
    char piece[4096];
    for (int count; (count = gzread(from, piece, sizeof piece)) > 0;)
        std::fwrite(piece, 1, static_cast<size_t>(count), to);
    gzclose(from);
    std::fclose(to);
    return name;
}

TEST_F(DumpTest, BothFormsOfATreeGiveTheSameTables) {
    for (const std::string name : {"pkt", "odd", "soc"}) {
        SCOPED_TRACE(name);
        const auto describe = [](const Node& tree) {
            const Design design = analyse(tree, {});
            std::string text = configurationOf(design) + tablesOf(design, {}, "Vtop");
            for (const std::string& line : design.leftOut) text += line + '\n';
            for (const std::string& line : design.warnings) text += line + '\n';
            return text;
        };
        const std::string xml = describe(readXmlDump(unpacked(name + ".tree.xml")));
        const std::string json = describe(
            readJsonDump(unpacked(name + ".tree.json"), unpacked(name + ".meta.json"), "5.050"));
        EXPECT_EQ(xml, json);
        EXPECT_GT(json.size(), 2000u);
    }
}

TEST_F(DumpTest, AnUnknownNodeOfJsonIsRefused) {
    const auto read = [](const char* statement) -> std::string {
        std::FILE* file = std::fopen("tree.json", "w");
        std::fprintf(file,
                     R"({"type":"NETLIST","modulesp":[{"type":"MODULE","name":"t","addr":"A",
                     "stmtsp":[{"type":"INITIAL","stmtsp":[%s]}]}]})",
                     statement);
        std::fclose(file);
        file = std::fopen("meta.json", "w");
        std::fputs(R"({"files":{"e":{"filename":"a.sv"}}})", file);
        std::fclose(file);
        try {
            readJsonDump("tree.json", "meta.json", "5.050");
        } catch (const TreeError& error) {
            return error.text;
        }
        return "read";
    };
    EXPECT_EQ(read(R"({"type":"NEWSTMT","loc":"e,12:3,12:9"})"),
              "verilator 5.050: unknown node NEWSTMT at a.sv:12");
    EXPECT_EQ(read(R"({"type":"DISPLAY","fmtp":[{"type":"NEWEXPR","loc":"e,3:1,3:2"}]})"), "read");
    EXPECT_EQ(read(R"({"type":"DISPLAY","fmtp":[{"type":"NEWEXPR","loc":"e,3:1,3:2","lhsp":
                   [{"type":"VARREF","name":"v","access":"WR"}]}]})"),
              "verilator 5.050: unknown node NEWEXPR at a.sv:3");
    EXPECT_EQ(read(R"({"type":"IF","condp":[{"type":"LOGNOT","lhsp":[{"type":"VALUEPLUSARGS","outp":
                   [{"type":"VARREF","name":"v","access":"WR"}]}]}]})"),
              "read");
    EXPECT_EQ(read(R"({"type":"REPEAT","loc":"e,4:1,4:2","newp":[{"type":"CONST"}]})"),
              "verilator 5.050: unknown node REPEAT.newp at a.sv:4");
    EXPECT_EQ(read("]"), "tree.json: not JSON");
}

TEST(LiteralTest, ValuesOfAnyWidth) {
    EXPECT_EQ(literalValue("32'shfffffffe"), -2);
    EXPECT_EQ(literalValue("8'hff"), 255);
    EXPECT_EQ(literalValue("-3"), -3);
    EXPECT_EQ(literalValue("4'b1xz0"), 8);
    EXPECT_EQ(literalValue("logic"), std::nullopt);
    EXPECT_EQ(literalWords("72'h12_3456789abcdef012"),
              (std::vector<uint32_t>{0xbcdef012, 0x3456789a, 0x12}));
}

}  // namespace
