// The interpreter's loop exists twice: plain, with instructions fused and markers passed over, and with a
// line hook, one instruction at a time. Every language test must show the same messages in both.
#include "host/script_session.h"
#include "platform/environment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
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

/// Runs a script in a directory of its own, which is empty at the beginning.
std::vector<std::string> runScript(const std::filesystem::path& folder, const std::string& script,
                                   LineHook* hook) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
    const std::string file = (folder / "script.ks").string();
    std::ofstream(file, std::ios::binary) << script;
    Recorder recorder;
    ScriptSession session(recorder);
    session.context().run.hook = hook;
    if (session.compile(file, {.reportEndless = true}) && session.check()) {
        session.prepare();
        recorder.lines.push_back(session.runMain() ? "aborted" : "ended");
    }
    session.unload();
    return recorder.lines;
}

/// The scripts of a file: "// --- " begins another one, what is above the first such line belongs to each.
std::vector<std::string> scriptsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> scripts(1);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("// --- ")) scripts.push_back(scripts.front());
        scripts.back() += line + '\n';
    }
    if (scripts.size() > 1) scripts.erase(scripts.begin());
    return scripts;
}

TEST(TwoLoops, ShowTheSameMessages) {
    CountingHook hook;
    int scripts = 0;
    platform::setEnvironment("COMSPEC", "/bin/sh");  // as the command does it
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) /
                                         ("kestrel-two-loops-" + std::to_string(platform::processId()));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(KESTREL_LANGUAGE_TESTS)) {
        if (entry.path().extension() != ".ks") continue;
        for (const std::string& script : scriptsOf(entry.path())) {
            EXPECT_EQ(runScript(folder, script, nullptr), runScript(folder, script, &hook))
                << entry.path() << '\n'
                << script;
            ++scripts;
        }
    }
    std::filesystem::current_path(testing::TempDir());
    std::filesystem::remove_all(folder);
    EXPECT_GT(scripts, 0);
    EXPECT_GT(hook.lines, scripts);
}

}  // namespace
}  // namespace kestrel
