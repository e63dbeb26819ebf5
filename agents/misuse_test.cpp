// Libraries that do what they must not do.

#include "agents/test_script.h"
#include "engine/values/limits.h"

namespace kestrel::agents::test {

using AgentMisuse = AgentTest;

TEST_F(AgentMisuse, UnknownRecordsArePassedOver) {
    EXPECT_EQ(body("x = a.strange(); info('<', x, '>');"), "I <>\n") << "a null text is the empty one";
}

TEST_F(AgentMisuse, AnEndThatIsMissingIsNoticed) {
    if (kTinyLimits) GTEST_SKIP() << "needs more cells";
    EXPECT_EQ(body("x = a.endless(); info(x.isNil());"), "E more than 64 results from endless\nI 1\n");
    EXPECT_EQ(body("(x, y) = a.unended(); info(x, y);"), "I abc2\n") << "the block tells where it ends";
    EXPECT_EQ(body("(x, y, z) = a.inside(); info(x, y, z);"), "I withinwithin3\n")
        << "released once, at the end";
    std::string many;
    for (int i = 0; i < 65; ++i) many += std::to_string(i) + ",";
    EXPECT_EQ(body("x = a.echo(" + many + " 65); info(x.isNil());"),
              "E more than 64 results from echo\nI 1\n");
}

TEST_F(AgentMisuse, ATextThatIsKeptTooLongReadsAsSomethingElseAndNoMore) {
    const std::string shown = body(
        "t = 'a text'; a.keep(t + ' and more'); t = nil; info(a.kept()); a.count('other');"
        "info('<', a.kept(), '>');");
    EXPECT_EQ(shown.substr(0, 18), "I a text and more\n");
    EXPECT_EQ(collector_.text.find("E "), std::string::npos);
}

TEST_F(AgentMisuse, ServicesTakeAnything) {
    EXPECT_EQ(body("info(a.misuse());"), "I \nI 0\n");
    EXPECT_EQ(body("a.say('of its own');"), "I of its own\nE of its own\n");
    EXPECT_EQ(ctx_.reporter.state.errorCount, 1);
    EXPECT_EQ(body("a.greedy(); info('not reached');"), "E memory exhausted!  Cannot continue!\n");
}

TEST_F(AgentMisuse, ErrorsOfNativeCodeCountAndEndTheScriptAtItsLimit) {
    EXPECT_EQ(run("#errors 2\n" + use("fake_full", "Probe") +
                  "main { a = Probe(1); a.say('x'); a.say('y'); a.say('z'); info('not reached'); }"),
              "I x\nE x\nI y\nE y\nI z\nE Maximum error count of 2 exceeded.|Terminating.\n");
}

TEST_F(AgentMisuse, AConstructorThatRefusesGivesNil) {
    EXPECT_EQ(body("b = Probe(-1); info(b.isNil());"),
              "E no negative ones\nE cannot create an object of ObjectAgent class Probe\nI 1\n");
    const std::string classes = use("fake_full", "Base") + use("fake_full", "Middle", " build on Base") +
                                use("fake_without_2", "Absent") +
                                use("fake_plain", "Probe", " build on Middle");
    run(classes + "main { b = Probe(-1); }");
    unload();
    EXPECT_EQ(living(), 0);
    run(use("fake_full", "Base") + use("fake_throwing", "Top", " build on Base") +
        "main { b = Top(1); info(b.isNil()); }");
    EXPECT_EQ(collector_.text,
              "E native code failed in Top: unknown exception\n"
              "E cannot create an object of ObjectAgent class Top\nI 1\n");
    EXPECT_EQ(living(), 0) << "the part that was made before is destroyed again";
}

TEST_F(AgentMisuse, ExceptionsEndAtTheEdgeOfNativeCode) {
    EXPECT_EQ(run(use("fake_throwing", "Top") +
                  "g = 0;\nmain { g = Top(); x = g.blow(1); info(x.isNil()); x = g.member; info('on'); }"),
              "E native code failed in blow: thrown\nI 1\nE native code failed in Top: thrown\n"
              "E unknown ObjectAgent data member: ::g.member\nI on\n");
    collector_.text.clear();
    unload();
    EXPECT_EQ(collector_.text, "E native code failed in Top: thrown\n");
    EXPECT_EQ(run(use("fake_throwing_data", "Top") + "main { g = Top(); x = g.blow(1); info(x.isNil()); }"),
              "E native code failed in Top: thrown\nI 1\nE native code failed in Top: thrown\n")
        << "data that cannot be told keeps the method from running";
    EXPECT_EQ(run(use("fake_throwing_version", "Top") + "main { info('none'); }"),
              "E native code failed in version: thrown\nI none\n");
}

TEST_F(AgentMisuse, WhatComesWithAFileIsReleased) {
    if (kTinyLimits) GTEST_SKIP() << "needs more memory";
    EXPECT_EQ(body("for (i = 0; i < 3000; i++) x = a.files(); info(x.isNil());"), "I 1\n")
        << "3 GB otherwise";
}

}  // namespace kestrel::agents::test
