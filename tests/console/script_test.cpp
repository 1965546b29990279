// Script files.
#include "console/console.h"
#include "tests/console/console_fixture.h"

namespace {

class ScriptTest : public ConsoleTest {};

TEST_F(ScriptTest, ContinueReturnsToAModelThatRunsFreely) {
    writeFile("script", "clearsim\ncontinue\nls top.clk\n");
    qk_loadt("script");
    EXPECT_EQ(stopTime, kNoStop);
    type({"ls top.rst"});
    EXPECT_EQ(stopTime, 0u) << "the loop ran what was left";
}

TEST_F(ScriptTest, ScriptsNest) {
    writeFile("inner", "clearsim\n");
    std::string many, manyExpected;
    for (int i = 0; i < 20000; ++i) {
        many += "loadt inner\n";
        manyExpected += "zeft> loadt inner\nzeft> clearsim\n";
    }
    writeFile("many", many);
    EXPECT_EQ(run("loadt many"), manyExpected);
}

TEST_F(ScriptTest, AScriptThatLoadsItselfIsGivenUp) {
    const char* const abandoned =
        "Script: self - nested more than 100 deep, all scripts abandoned\n";
    for (const char* text : {"loadt self\n", "loadt self", "clearsim\nloadt self\nloadt self\n"}) {
        SCOPED_TRACE(text);
        writeFile("self", text);
        const std::string printed = run("loadt self");
        EXPECT_THAT(printed, testing::EndsWith(abandoned));
        EXPECT_EQ(printed.find("Script:"), printed.size() - std::string(abandoned).size())
            << "once";
    }
    writeFile("self", "ls top.clk");
    EXPECT_EQ(run("loadt self"), "zeft> ls top.clk\ntop.clk   c   : 1\n") << "all is well again";
}

TEST_F(ScriptTest, AScriptThatStepsMayEndByLoadingItself) {
    writeFile("self", "step 1\nloadt self");
    type({"loadt self"});
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(note(1), "zeft> loadt self\nzeft> step 1\n") << "after " << i;
}

TEST_F(ScriptTest, AConsoleInAScriptRunsTheRestOfIt) {
    std::string script, expected;
    for (int i = 0; i < 1000; ++i) {
        script += "cli\n";
        expected += "zeft> cli\n";
    }
    writeFile("script", script + "step 3\nls top.clk\n");
    EXPECT_EQ(run("loadt script"), expected + "zeft> step 3\n");
    EXPECT_EQ(stopTime, 3u);
}

int loadInner(const char*) {
    qk_loadt("inner");
    qk_printf("loaded\n");
    return 1;
}

TEST_F(ScriptTest, ACommandThatLoadsAScriptHasRunItWhenItReturns) {
    qk_register_cmd("setup", "setup", 0, loadInner);
    writeFile("inner", "clearsim\n");
    writeFile("outer", "setup\nsetup");
    EXPECT_EQ(run("loadt outer"),
              "zeft> setup\nzeft> clearsim\nloaded\n"
              "zeft> setup\nzeft> clearsim\nloaded\n");
}

TEST_F(ScriptTest, OddFilesDoNoHarm) {
    writeFile("nul", std::string("\0\0\0\n\0x\nclearsim\0x\nclearsim\n", 27));
    EXPECT_EQ(run("loadt nul"), "zeft> clearsim\nzeft> clearsim\n");
    const std::string xs(255, 'x');
    writeFile("long", xs + "clearsim\n");
    EXPECT_EQ(run("loadt long"),
              "zeft> " + xs + "\nScript: long - Command not recognised\nzeft> clearsim\n");
}

}  // namespace
