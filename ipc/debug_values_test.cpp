// What a debugger sees of values, and how it changes them.
#include "ipc/debug_link_fixture.h"

namespace kestrel::debug::test {
namespace {

/// A script that has paused at a line.
struct PausedScript {
    PausedScript(const std::string& text, int line) : script(text, link, false) {
        DebugStop stop;
        client = DebugClient::attach(link, 3s);
        if (client && nextPause(*client) && client->stopAtLine({0, line}, stop).done() &&
            client->run(RunMode::Freely).done())
            paused = nextPause(*client).has_value();
    }
    const std::string link = uniqueLink();
    RunningScript script;
    std::optional<DebugClient> client;
    bool paused = false;
};

TEST(DebugValues, partsAndLongTextsCanBeSeenAndChanged) {
    PausedScript made(R"(declare record Point { x, y; }
process: s { }
main
{
    var a[100], m[2, 3];
    p = Point();
    t = "0123456789";
    for (i = 1; i <= 100; i++) { a[i] = i; t = t + "abcdefghij"; }
    m[2, 1] = <1, 2, 3>;
    z = 0;
    x = 1 / z;
}
)",
                      11);
    ASSERT_TRUE(made.paused);
    DebugClient* const client = &*made.client;
    std::vector<DebugVariable> parts;
    std::size_t total = 0;
    ASSERT_TRUE(client->values("main::a", 40, 50, parts, total).done());
    EXPECT_EQ(total, 100u);
    ASSERT_EQ(parts.size(), 50u);
    EXPECT_EQ(parts[49].value.integer, 90);
    ASSERT_TRUE(client->values("main::m", 0, 10, parts, total).done());
    ASSERT_EQ(parts.size(), 6u);
    EXPECT_EQ(parts[3].name, "[2,1]");
    EXPECT_EQ(parts[3].value.numbers[2], 3.0);
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
    EXPECT_EQ(event->line, 12);
    EXPECT_EQ(client->assign("main::t", value).outcome, Answer::Outcome::Refused);
    ASSERT_TRUE(client->detach().done());
    made.script.join();
    EXPECT_TRUE(made.script.aborted);
}

TEST(DebugValues, arraysInQueuesCanBeSeenAndChanged) {
    PausedScript made("expose v[3], p as Queue" + std::to_string(platform::processId()) + R"(;
process: s { }
main
{
    v[2] = 8;
    p = 4;
    info(string(v[2]), p);
}
)",
                      8);
    ASSERT_TRUE(made.paused);
    DebugClient* const client = &*made.client;
    DebugValue value;
    ASSERT_TRUE(client->value("::v[2]", value).done());
    EXPECT_EQ(value.integer, 8);
    std::vector<DebugVariable> parts;
    std::size_t total = 0;
    ASSERT_TRUE(client->values("::v", 0, 10, parts, total).done());
    EXPECT_EQ(total, 3u);
    value.integer = 21;
    for (const char* name : {"::v[2]", "::p"}) EXPECT_TRUE(client->assign(name, value).done());
    for (const char* name : {"::v", "::v[4]"})
        EXPECT_EQ(client->assign(name, value).outcome, Answer::Outcome::Refused);
    ASSERT_TRUE(client->detach().done());
    made.script.join();
    EXPECT_EQ(made.script.recorder.lines, std::vector<std::string>{"2121"});
}

}  // namespace
}  // namespace kestrel::debug::test
