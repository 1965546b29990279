#include <random>

#include "tests/support/model_test.h"

namespace {

/// The definition of a match, character by character.
bool matchesByDefinition(const char* text, const char* pattern) {
    if (!*pattern) return !*text;
    if (*pattern != '*') return *text == *pattern && matchesByDefinition(text + 1, pattern + 1);
    for (;; ++text) {
        if (matchesByDefinition(text, pattern + 1)) return true;
        if (!*text) return false;
    }
}

/// All texts of up to `length` characters of an alphabet.
std::vector<std::string> allTexts(const std::string& alphabet, size_t length) {
    std::vector<std::string> texts{""};
    for (size_t from = 0; length > 0; --length) {
        const size_t to = texts.size();
        for (size_t i = from; i < to; ++i)
            for (char c : alphabet) texts.push_back(texts[i] + c);
        from = to;
    }
    return texts;
}

TEST(MatchesPatternTest, AgreesWithTheDefinitionOnAllShortTexts) {
    const std::vector<std::string> texts = allTexts("a.", 6), patterns = allTexts("a.*", 5);
    for (const std::string& pattern : patterns)
        for (const std::string& text : texts)
            ASSERT_EQ(matchesPattern(text.c_str(), pattern.c_str(), false),
                      matchesByDefinition(text.c_str(), pattern.c_str()))
                << text << " against " << pattern;
}

TEST(MatchesPatternTest, FoldsLettersOnlyAndOnlyWhenAsked) {
    EXPECT_TRUE(matchesPattern("Top.AZ_CPU", "tOP.az*u", true));
    EXPECT_FALSE(matchesPattern("Top.CPU", "top.*", false));
    EXPECT_FALSE(matchesPattern("a[", "a{", true));  // '[' and '{' differ by the same bit
}

TEST(MatchesPatternTest, ManyStarsTakeNoTimeToSpeakOf) {
    const std::string text(5000, 'a'), pattern = [] {
        std::string stars;
        for (int i = 0; i < 1000; ++i) stars += "*a";
        return stars + "*b";
    }();
    EXPECT_FALSE(matchesPattern(text.c_str(), pattern.c_str(), false));
}

class LookupTest : public ModelTest {
protected:
    static std::vector<std::string> found(const char* pattern) {
        completeRegistration(true);
        std::vector<std::string> names;
        for (const QkName* name : qkLiveModel->matching(pattern))
            names.push_back(FullName(name).c_str());
        return names;
    }
};

TEST_F(LookupTest, ExactPatternsFindWhatAWalkWouldFind) {
    static uint8_t storage[8];
    registerNets("top",
                 {net(0, 1, "a", &storage[0], 0, 0), net(0, 2, "A", &storage[1], 0, 0),
                  net(1, 3, "a", &storage[2], 0, 0), net(1, 4, "A", &storage[3], 0, 0),
                  net(1, 5, "b", &storage[4], 0, 0), net(1, 6, "", &storage[5], 0, 0)},
                 {QkGRScope{0, 1, "Vhdl", 1}});
    using testing::ElementsAre;
    using testing::IsEmpty;
    EXPECT_THAT(found("top.a"), ElementsAre("top.a"));
    EXPECT_THAT(found("TOP.a"), IsEmpty());
    // Where case does not count, both names answer to either spelling, in the order of the names.
    EXPECT_THAT(found("top.vhdl.a"), ElementsAre("top.Vhdl.A", "top.Vhdl.a"));
    EXPECT_THAT(found("TOP.VHDL.B"), ElementsAre("top.Vhdl.b"));
    EXPECT_THAT(found("top.Vhdl."), ElementsAre("top.Vhdl."));
    EXPECT_THAT(found("top.Vhdl"), IsEmpty());
    EXPECT_THAT(found(""), IsEmpty());
    EXPECT_THAT(found("*.a"), ElementsAre("top.a", "top.Vhdl.A", "top.Vhdl.a"));
    EXPECT_EQ(qkLiveModel->findOne("top.vhdl.a"), nullptr);
    EXPECT_NE(qkLiveModel->findOne("top.vhdl.b"), nullptr);
}

TEST_F(LookupTest, OneObjectIsNeitherHiddenNorReplacedNorACopy) {
    static uint8_t storage[4];
    QkGRNet copy = net(0, 4, "copy", &storage[3], 7, 0);
    copy.trace_word = &storage[0];
    QkGRNet replaced = net(0, 5, "replaced", nullptr, 7, 0, 1, QK_flag_replaced);
    replaced.replacement = 1;
    registerNets("top", {net(0, 1, "plain", &storage[0], 7, 0),
                         net(0, 2, "hidden", &storage[1], 7, 0, 1, QK_flag_hidden),
                         net(0, 3, "other", &storage[2], 7, 0), copy, replaced});
    completeRegistration(true);
    EXPECT_TRUE(qkLiveModel->findOne("top.plain"));
    EXPECT_TRUE(qkLiveModel->findOne("top.p*"));
    for (const char* pattern : {"top.hidden", "top.copy", "top.replaced", "top.*", "top.none"})
        EXPECT_FALSE(qkLiveModel->findOne(pattern)) << pattern;
    EXPECT_THAT(found("top.*"), testing::SizeIs(5));

    // By choice, a replaced name is found where it is all that matches.
    EXPECT_FALSE(qkLiveModel->findNext("top.r*", nullptr));
    qk_strict = false;
    for (const char* pattern : {"top.hidden", "top.copy", "top.*", "top.none"})
        EXPECT_FALSE(qkLiveModel->findOne(pattern)) << pattern;
    QkName* const gone = name("top.replaced");
    EXPECT_EQ(qkLiveModel->findOne("top.replaced"), gone);
    EXPECT_EQ(qkLiveModel->findNext("top.r*", nullptr), gone);
    EXPECT_EQ(qkLiveModel->findNext("top.r*", gone), nullptr);
    qk_cli("set top.replaced = 5");
    EXPECT_EQ(said, "top.replaced set to 0x5\n");
    EXPECT_EQ(storage[0], 5);
}

TEST_F(LookupTest, NamesStandInOrderOfScopeStimulusAndText) {
    static uint8_t storage[8];
    static uint8_t* ports[2] = {&storage[6], &storage[7]};
    registerNets(
        "top",
        {net(1, 1, "longer_name_b", &storage[0], 0, 0),
         net(1, 2, "longer_name_a", &storage[1], 0, 0), net(1, 3, "longer_", &storage[2], 0, 0),
         net(1, 4, "longer", &storage[3], 0, 0), net(0, 5, "z_in", &ports[0], 0, 0, QK_type_input),
         net(0, 6, "a", &storage[4], 0, 0), net(1, 7, "\xC3\xA9", &storage[5], 0, 0),
         net(1, 8, "in", &ports[1], 0, 0, QK_type_input)},
        {QkGRScope{0, 1, "u", 0}});
    // top.u.in is an input below a level that holds names: no stimulus.
    EXPECT_THAT(found("*"), testing::ElementsAre("top.z_in", "top.a", "top.u.in", "top.u.longer",
                                                 "top.u.longer_", "top.u.longer_name_a",
                                                 "top.u.longer_name_b", "top.u.\xC3\xA9"));
}

}  // namespace
