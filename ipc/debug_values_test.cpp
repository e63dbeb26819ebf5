// What a debugger sees of values, and how it changes them.
#include "ipc/debug_link_fixture.h"

namespace kestrel::debug::test {
namespace {

TEST(DebugValues, partsAndLongTextsCanBeSeenAndChanged) {
    const std::string link = uniqueLink();
    RunningScript script(R"(declare record Point { x, y; }
process: s { }
main
{
    var a[100], m[2, 3];
    p = Point();
    p->y = "field";
    t = "0123456789";
    for (i = 1; i <= 100; i++) { a[i] = i; t = t + "abcdefghij"; }
    m[2, 1] = <1, 2, 3>;
    info(t + "!");
    info(p->y);
    z = 0;
    x = 1 / z;
}
)",
                         link, false);
    std::optional<DebugClient> client = DebugClient::attach(link, 3s);
    ASSERT_TRUE(client && nextPause(*client));
    DebugStop stop;
    ASSERT_TRUE(client->stopAtLine({0, 12}, stop).done());
    ASSERT_TRUE(client->run(RunMode::Freely).done());
    ASSERT_TRUE(nextPause(*client));

    std::vector<DebugVariable> parts;
    std::size_t total = 0;
    ASSERT_TRUE(client->values("main::a", 40, 50, parts, total).done());
    EXPECT_EQ(total, 100u);
    ASSERT_EQ(parts.size(), 50u);
    EXPECT_EQ(parts[0].name, "[41]");
    EXPECT_EQ(parts[49].value.integer, 90);
    ASSERT_TRUE(client->values("main::m", 0, 10, parts, total).done());
    ASSERT_EQ(parts.size(), 6u);
    EXPECT_EQ(parts[3].name, "[2,1]");
    EXPECT_EQ(parts[3].value.numbers[2], 3.0);
    ASSERT_TRUE(client->values("main::p", 0, 10, parts, total).done());
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[1].name, "->y");
    EXPECT_EQ(parts[1].value.text, "field");
    DebugValue value;
    ASSERT_TRUE(client->value("main::t", value).done());
    EXPECT_TRUE(value.textCut());
    EXPECT_EQ(value.size, 1010u);
    std::string whole;
    ASSERT_TRUE(client->text("main::t", 100000, whole).done());
    EXPECT_EQ(whole.size(), 1010u);
    EXPECT_TRUE(whole.starts_with("0123456789abc") && whole.ends_with("ghij"));

    value = {};
    value.kind = kSharedText;
    value.text = std::string(600, 'z');
    EXPECT_TRUE(client->assign("main::t", value).done());
    value.text = "changed";
    EXPECT_TRUE(client->assign("main::p->y", value).done());
    for (const char* unknown : {"main::a[0]", "main::a[101]", "main::a[", "main::m[1]", "main::m[1,4]",
                                "main::m[1,1,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6,6]",
                                "main::p->z", "main::t->y", "nowhere::t", "main::t[1]", "a"}) {
        const Answer answer = client->assign(unknown, value);
        EXPECT_EQ(answer.problem, std::string(kUnknownReference) + unknown);
    }

    // Where an error is reported the script pauses in the middle of an instruction.
    ASSERT_TRUE(client->stopAtErrors(true).done());
    ASSERT_TRUE(client->run(RunMode::Freely).done());
    const std::optional<Event> event = nextPause(*client);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->reason, PauseReason::Error);
    EXPECT_EQ(event->line, 15);
    EXPECT_EQ(client->assign("main::t", value).outcome, Answer::Outcome::Refused);
    ASSERT_TRUE(client->detach().done());
    script.join();
    EXPECT_TRUE(script.aborted);
}

TEST(DebugValues, arraysInQueuesCanBeSeenAndChanged) {
    const std::string link = uniqueLink();
    RunningScript script("expose v[3], p as Queue" + std::to_string(platform::processId()) + R"(;
process: s { }
main
{
    v[2] = 8;
    p = 4;
    x = 0;
    info(string(v[2]));
    info(string(p));
}
)",
                         link, false);
    std::optional<DebugClient> client = DebugClient::attach(link, 3s);
    ASSERT_TRUE(client && nextPause(*client));
    DebugStop stop;
    ASSERT_TRUE(client->stopAtLine({0, 8}, stop).done());
    ASSERT_TRUE(client->run(RunMode::Freely).done());
    ASSERT_TRUE(nextPause(*client));
    DebugValue value;
    ASSERT_TRUE(client->value("::v[2]", value).done());
    EXPECT_EQ(value.integer, 8);
    std::vector<DebugVariable> parts;
    std::size_t total = 0;
    ASSERT_TRUE(client->values("::v", 0, 10, parts, total).done());
    EXPECT_EQ(total, 3u);
    value.integer = 21;
    EXPECT_TRUE(client->assign("::v[2]", value).done());
    EXPECT_TRUE(client->assign("::p", value).done());
    EXPECT_EQ(client->assign("::v", value).outcome, Answer::Outcome::Refused);
    EXPECT_EQ(client->assign("::v[4]", value).outcome, Answer::Outcome::Refused);
    ASSERT_TRUE(client->detach().done());
    script.join();
    EXPECT_EQ(script.recorder.lines, (std::vector<std::string>{"21", "21"}));
}

}  // namespace
}  // namespace kestrel::debug::test
