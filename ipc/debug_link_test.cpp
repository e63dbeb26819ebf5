// Both ends of the debugger link: a foreign debugger that knows the six original commands and writes its records
// without touching the semaphore first, and our own client.
#include "host/script_session.h"
#include "ipc/debug_client.h"
#include "platform/environment.h"
#include "platform/named_memory.h"
#include "platform/named_semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kestrel::debug {
namespace {

using namespace std::chrono_literals;
using platform::NamedMemory;
using platform::NamedSemaphore;

std::string uniqueLink() {
    static int number = 0;
    return "link-test-" + std::to_string(platform::processId()) + "-" + std::to_string(++number);
}

class Recorder final : public MessageSink {
public:
    void show(const Message& message) override { lines.push_back(message.line2.value_or(message.line1)); }
    std::vector<std::string> lines;
};

/// A script that runs in a thread of its own.
class RunningScript {
public:
    RunningScript(const std::string& text, const std::string& link, bool byPragma = true) {
        path_ = std::filesystem::path(testing::TempDir()) / (link + ".ks");
        std::ofstream(path_) << (byPragma ? "#debug \"" + link + "\"\n" : "\n") << text;
        thread_ = std::thread([this, link, byPragma] {
            ScriptSession session(recorder, &watch);
            if (session.compile(path_.string()) && session.check()) {
                hooked = true;
                session.prepare(byPragma ? "" : link);
                aborted = session.runMain();
            }
            session.unload();
            ended = true;
        });
    }
    ~RunningScript() {
        watch.requested = 1;
        join();
        std::filesystem::remove(path_);
    }
    void join() {
        if (thread_.joinable()) thread_.join();
    }

    Recorder recorder;
    RunWatch watch;
    std::atomic<bool> hooked = false;
    std::atomic<bool> aborted = false;
    std::atomic<bool> ended = false;

private:
    std::filesystem::path path_;
    std::thread thread_;
};

/// A debugger by another author: nothing but the two blocks, the semaphore and polling.
class ForeignDebugger {
public:
    explicit ForeignDebugger(const std::string& link) {
        for (int i = 0; i < 100 && !semaphore_; ++i, std::this_thread::sleep_for(10ms)) {
            in_ = NamedMemory::open("KXL_DEBUG_SHMEMIN_" + link);
            out_ = NamedMemory::open("KXL_DEBUG_SHMEMOUT_" + link);
            if (in_ && out_) semaphore_ = NamedSemaphore::open("KXL_DEBUG_SEMAPHORE_" + link);
        }
        if (!semaphore_) return;
        wait();
        semaphore_->release();
    }
    [[nodiscard]] bool attached() const { return semaphore_.has_value(); }
    [[nodiscard]] std::span<SharedRecord> in() { return sharedRecords(in_->bytes()); }
    [[nodiscard]] std::span<SharedRecord> out() { return sharedRecords(out_->bytes()); }
    NamedSemaphore& semaphore() { return *semaphore_; }
    NamedMemory& inBlock() { return *in_; }
    NamedMemory& outBlock() { return *out_; }

    void write(std::size_t at, std::string_view command, const std::vector<SharedRecord>& operands = {}) {
        for (std::size_t i = 0; i < operands.size(); ++i) in()[at + 1 + i] = operands[i];
        in()[at].setText(command);
        std::atomic_ref<std::int32_t>(in()[at].state).store(100);
    }
    /// Writes a command and waits for its reply. @return the reply's state; 0 when there was none
    std::int32_t command(std::string_view name, const std::vector<SharedRecord>& operands = {}) {
        std::atomic_ref<std::int32_t>(out()[0].state).store(0);
        write(0, name, operands);
        return reply();
    }
    std::int32_t reply(std::chrono::milliseconds longest = 3000ms) {
        const auto end = std::chrono::steady_clock::now() + longest;
        while (std::chrono::steady_clock::now() < end) {
            wait();
            const std::int32_t state = out()[0].state;
            semaphore_->release();
            if (state != 0) return state;
            std::this_thread::sleep_for(1ms);
        }
        return 0;
    }
    /// STATUS. @return the line
    int line() { return command("STATUS") == 1 ? out()[2].integer() : -1; }

private:
    void wait() { EXPECT_NE(semaphore_->acquire(nullptr, 3000ms), NamedSemaphore::Wait::TimedOut); }

    std::optional<NamedMemory> in_;
    std::optional<NamedMemory> out_;
    std::optional<NamedSemaphore> semaphore_;
};

/// Line 1 is the pragma.
constexpr const char* kScript = R"(total = 0;
process: s { }
twice: x
{
    y = x * 2;
    return y;
}
main
{
    i = 1;
    info("x");
    total = twice(i);
    total = twice(total);
    info(string(total));
}
)";

SharedRecord text(std::string_view value) {
    SharedRecord record{};
    record.kind = kSharedText;
    record.setText(value);
    return record;
}
SharedRecord integer(std::int32_t value) {
    SharedRecord record{};
    record.kind = kSharedInteger;
    record.setInteger(value);
    return record;
}

TEST(DebugLink, foreignDebuggerUsesTheSixCommands) {
    const std::string link = uniqueLink();
    RunningScript script(kScript, link);
    ForeignDebugger debugger(link);
    ASSERT_TRUE(debugger.attached());
    // The blocks as they are laid out, with the script paused at its first line.
    for (NamedMemory* block : {&debugger.inBlock(), &debugger.outBlock()}) {
        ASSERT_EQ(block->bytes().size(), 20480u);
        std::int32_t header[2];
        std::memcpy(header, block->bytes().data(), sizeof header);
        EXPECT_EQ(header[0], 71);
        EXPECT_EQ(header[1], 0);
    }
    EXPECT_EQ(debugger.line(), 2);
    EXPECT_EQ(debugger.out()[3].text(), "");  // outside functions
    EXPECT_EQ(debugger.out()[1].kind, kSharedText);
    EXPECT_TRUE(debugger.out()[1].text().ends_with(".ks"));

    EXPECT_EQ(debugger.command("STEP", {integer(1)}), 1);
    EXPECT_EQ(debugger.line(), 3);  // where the code outside functions ends
    EXPECT_EQ(debugger.command("STEP", {integer(1)}), 1);
    EXPECT_EQ(debugger.line(), 11);
    EXPECT_EQ(debugger.out()[3].text(), "main");
    EXPECT_EQ(debugger.out()[5].kind, kSharedInteger);
    EXPECT_EQ(debugger.out()[5].integer(), 0);
    // Two lines in one step: up to the one behind info().
    EXPECT_EQ(debugger.command("STEP", {integer(2)}), 1);
    EXPECT_EQ(debugger.line(), 13);
    EXPECT_EQ(debugger.out()[4].text(), "I: x");
    EXPECT_EQ(debugger.line(), 13);
    EXPECT_EQ(debugger.out()[4].text(), "");

    EXPECT_EQ(debugger.command("REPORT", {text("main::i")}), 1);
    EXPECT_EQ(debugger.out()[0].kind, kSharedInteger);
    EXPECT_EQ(debugger.out()[0].integer(), 1);
    EXPECT_EQ(debugger.command("REPORT", {text("::missing")}), -1);
    EXPECT_EQ(debugger.out()[0].kind, kSharedText);
    EXPECT_EQ(debugger.out()[0].text(), "Unknown variable reference: ::missing");
    EXPECT_EQ(debugger.command("REPORT", {text("twice::x")}), 1);  // a parameter; it has no value yet
    EXPECT_EQ(debugger.out()[0].kind, kSharedNone);

    // Every kind in turn; one that is none changes nothing.
    SharedRecord value = text("seven");
    EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);
    EXPECT_EQ(debugger.command("REPORT", {text("main::i")}), 1);
    EXPECT_EQ(debugger.out()[0].text(), "seven");
    value = {};
    value.kind = kSharedVector;
    value.setNumber(1.5, 0);
    value.setNumber(-2, 2);
    EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);
    value.kind = 9;
    EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);
    EXPECT_EQ(debugger.command("REPORT", {text("main::i")}), 1);
    EXPECT_EQ(debugger.out()[0].kind, kSharedVector);
    EXPECT_EQ(debugger.out()[0].number(2), -2);
    value = {};
    value.kind = kSharedNil;
    EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);
    EXPECT_EQ(debugger.command("REPORT", {text("main::i")}), 1);
    EXPECT_EQ(debugger.out()[0].kind, kSharedNil);
    value.kind = kSharedNumber;
    value.setNumber(2.5);
    EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);

    // A batch: BREAK ends it, so the step behind it is never taken; one before it is taken back.
    debugger.write(0, "BREAK");
    debugger.write(5, "STEP", {integer(1)});
    EXPECT_EQ(debugger.reply(), 1);
    EXPECT_EQ(debugger.line(), 13);
    EXPECT_EQ(debugger.command("STEP", {integer(0)}), 1);
    script.join();
    EXPECT_FALSE(script.aborted);
    EXPECT_TRUE(script.recorder.lines.empty());
}

TEST(DebugLink, ourClientStopsLooksAndChanges) {
    const std::string link = uniqueLink();
    RunningScript script(kScript, link, false);
    std::optional<DebugClient> client = DebugClient::attach(link, 3s);
    ASSERT_TRUE(client);
    ASSERT_EQ(client->waitForEvent(3s)->type, EventType::Paused);
    std::vector<std::string> files;
    ASSERT_TRUE(client->files(files).done());
    ASSERT_EQ(files.size(), 1u);
    DebugStop stop;
    ASSERT_TRUE(client->stopAtFunction("twice", stop).done());
    EXPECT_EQ(stop.place.line, 6);
    EXPECT_EQ(client->stopAtLine({0, 17}, stop).problem, "No code at or after line 17");
    EXPECT_EQ(client->stopAtFunction("nothing", stop).problem, "No function: nothing");

    ASSERT_TRUE(client->run(RunMode::Freely).done());
    std::optional<Event> event;
    std::vector<std::string> seen;
    do {
        event = client->waitForEvent(3s);
        ASSERT_TRUE(event);
        if (event->type == EventType::Information) seen.push_back(event->text);
    } while (event->type != EventType::Paused);
    EXPECT_EQ(seen, std::vector<std::string>{"x"});
    EXPECT_EQ(event->line, 6);
    EXPECT_EQ(event->reason, PauseReason::Stop);

    std::vector<DebugFrame> frames;
    ASSERT_TRUE(client->frames(frames).done());
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].function, "twice");
    EXPECT_EQ(frames[1].function, "main");
    EXPECT_EQ(frames[1].place.line, 13);

    std::vector<DebugVariable> variables;
    std::size_t total = 0;
    ASSERT_TRUE(client->values("twice::", 0, 100, variables, total).done());
    ASSERT_EQ(total, 2u);
    EXPECT_EQ(variables[0].name, "x");
    EXPECT_EQ(variables[0].value.integer, 1);
    EXPECT_EQ(variables[1].value.shape, ValueShape::Nothing);
    DebugValue value;
    value.kind = kSharedInteger;
    value.integer = 21;
    ASSERT_TRUE(client->assign("twice::x", value).done());
    ASSERT_TRUE(client->removeStop(0).done());
    ASSERT_TRUE(client->run(RunMode::Out).done());
    do event = client->waitForEvent(3s);
    while (event && event->type != EventType::Paused);
    ASSERT_TRUE(client->value("::total", value).done());
    EXPECT_EQ(value.kind, kSharedInteger);

    ASSERT_TRUE(client->detach().done());
    script.join();
    EXPECT_FALSE(script.aborted);
    EXPECT_EQ(script.recorder.lines, std::vector<std::string>{"84"});
}

}  // namespace
}  // namespace kestrel::debug
