// The interpreter's loop exists twice: plain, with instructions fused and markers passed over, and with a
// line hook, one instruction at a time. Every language test must show the same messages in both.
#include "host/script_session.h"
#include "platform/environment.h"
#include "tests/language_scripts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel {
namespace {

class Recorder final : public MessageSink {
public:
    void show(const Message& message) override {
        lines.push_back(message.line1 + "|" + message.line2.value_or(""));
    }
    std::vector<std::string> lines;
};

class CountingHook final : public LineHook {
public:
    void line(EngineContext&, const CodeNode&) override { ++lines; }
    int lines = 0;
};

std::vector<std::string> runScript(const test::LanguageScript& script, LineHook* hook) {
    const test::ScriptFolder folder(script);
    Recorder recorder;
    ScriptSession session(recorder);
    session.context().run.hook = hook;
    if (session.compile(folder.file(), {.reportEndless = true}) && session.check()) {
        session.prepare();
        recorder.lines.push_back(session.runMain() ? "aborted" : "ended");
    }
    session.unload();
    return recorder.lines;
}

TEST(TwoLoops, ShowTheSameMessages) {
    CountingHook hook;
    int scripts = 0;
    platform::setEnvironment("COMSPEC", "/bin/sh");  // as the command does it
    for (const test::LanguageScript& script : test::languageScripts()) {
        EXPECT_EQ(runScript(script, nullptr), runScript(script, &hook)) << script.file << '\n' << script.text;
        ++scripts;
    }
    EXPECT_GT(scripts, 0);
    EXPECT_GT(hook.lines, scripts);
}

}  // namespace
}  // namespace kestrel
