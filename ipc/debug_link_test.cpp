// Both ends of the debugger link: a foreign debugger, and our own client.
#include "ipc/debug_events.h"
#include "ipc/debug_link_fixture.h"

#include <array>
#include <string>

namespace kestrel::debug::test {
namespace {

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

    const auto report = [&](const char* name, int outcome = 1) {
        EXPECT_EQ(debugger.command("REPORT", {text(name)}), outcome);
        return debugger.out()[0];
    };
    const auto change = [&](const SharedRecord& value) {
        EXPECT_EQ(debugger.command("CHANGE", {text("main::i"), value}), 1);
        return report("main::i");
    };
    EXPECT_EQ(report("main::i").kind, kSharedInteger);
    EXPECT_EQ(report("main::i").integer(), 1);
    EXPECT_EQ(report("::missing", -1).kind, kSharedText);
    EXPECT_EQ(report("::missing", -1).text(), "Unknown variable reference: ::missing");
    EXPECT_EQ(report("twice::x").kind, kSharedNone) << "a parameter; it has no value yet";
    // Every kind in turn; one that is none changes nothing.
    EXPECT_EQ(change(text("seven")).text(), "seven");
    SharedRecord value{};
    value.kind = kSharedVector;
    value.setNumber(-2, 2);
    EXPECT_EQ(change(value).number(2), -2);
    value.kind = 9;
    EXPECT_EQ(change(value).kind, kSharedVector);
    value.kind = kSharedNil;
    EXPECT_EQ(change(value).kind, kSharedNil);
    value.kind = kSharedNumber;
    value.setNumber(2.5);
    EXPECT_EQ(change(value).kind, kSharedNumber);

    // The return flag is set at the line to which a function has returned, and at no other.
    for (const auto& [line, flag] : {std::pair{4, 0}, {6, 0}, {7, 0}, {8, 0}, {13, 1}, {14, 0}}) {
        EXPECT_EQ(debugger.command("STEP", {integer(1)}), 1);
        EXPECT_EQ(debugger.line(), line);
        EXPECT_EQ(debugger.out()[5].integer(), flag) << line;
    }

    // A batch: BREAK ends it, so the step behind it is never taken; one before it is taken back.
    debugger.forgetReply();
    debugger.write(5, "STEP", {integer(1)});
    debugger.write(0, "BREAK");
    EXPECT_EQ(debugger.reply(), 1);
    EXPECT_EQ(debugger.line(), 14);
    EXPECT_EQ(debugger.command("STEP", {integer(0)}), 1);
    script.join();
    EXPECT_FALSE(script.aborted);
    EXPECT_TRUE(script.recorder.lines.empty());
}

constexpr const char* kEndless = R"(process: s { }
main
{
    i = 0;
    while (i >= 0)
    {
        i = i + 1;
    }
    info("out");
}
)";

TEST(DebugLink, freeRunEndsWithAnyOfTheSix) {
    const std::string link = uniqueLink();
    RunningScript script(kEndless, link);
    ForeignDebugger debugger(link);
    ASSERT_TRUE(debugger.attached());
    EXPECT_EQ(debugger.command("STEP", {integer(-3)}), 1);
    std::this_thread::sleep_for(20ms);
    // Not in the first record, and something unknown before it.
    debugger.forgetReply();
    debugger.write(0, "NONSENSE");
    debugger.write(70, "STATUS");
    EXPECT_EQ(debugger.reply(), 1);
    EXPECT_EQ(debugger.out()[3].text(), "main");
    const int line = debugger.line();
    EXPECT_EQ(debugger.line(), line);  // it has paused
    // One that nobody knows is enough.
    EXPECT_EQ(debugger.command("STEP", {integer(0)}), 1);
    debugger.write(3, "NONSENSE");
    for (int i = 0; i < 200 && debugger.in()[3].state == 100; ++i) std::this_thread::sleep_for(5ms);
    const auto count = [&] {
        EXPECT_EQ(debugger.command("REPORT", {text("main::i")}), 1);
        return debugger.out()[0].integer();
    };
    EXPECT_EQ(count(), count());
    // A long step looks at nothing until it is done; then it pauses.
    EXPECT_EQ(debugger.command("STEP", {integer(1000)}), 1);
    EXPECT_GE(debugger.line(), 6);
    // A batch is written under the semaphore by those that want it taken as a whole: its last command wins.
    EXPECT_EQ(debugger.semaphore().acquire(nullptr), NamedSemaphore::Wait::Acquired);
    debugger.forgetReply();
    debugger.write(0, "STEP", {integer(0)});
    debugger.write(2, "BREAK");
    debugger.semaphore().release();
    EXPECT_EQ(debugger.reply(), 1);
    const int paused = debugger.line();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(debugger.line(), paused);
    EXPECT_EQ(debugger.command("BREAK"), 1);
    EXPECT_EQ(debugger.command("TERMINATE"), 1);
    script.join();
    EXPECT_FALSE(script.aborted);
    debugger.letGo();
    EXPECT_FALSE(NamedMemory::open(commandBlockName(link)));
    EXPECT_FALSE(NamedSemaphore::open(semaphoreName(link)));
}

TEST(DebugLink, terminateIsNoFailure) {
    const std::string link = uniqueLink();
    RunningScript script(R"(process: s { }
main
{
    info("never");
}
ONEXIT {
    info("bye");
}
ONERROR { info("failed"); }
)",
                         link);
    ForeignDebugger debugger(link);
    ASSERT_TRUE(debugger.attached());
    for (int i = 0; i < 5 && debugger.line() != 5; ++i) EXPECT_EQ(debugger.command("STEP", {integer(1)}), 1);
    ASSERT_EQ(debugger.line(), 5);
    EXPECT_EQ(debugger.command("TERMINATE"), 1);
    EXPECT_EQ(debugger.line(), 8);
    EXPECT_EQ(debugger.out()[3].text(), "ONEXIT");
    EXPECT_EQ(debugger.command("STEP", {integer(1)}), 1);
    EXPECT_EQ(debugger.line(), 9);
    EXPECT_EQ(debugger.out()[4].text(), "I: bye");
    EXPECT_EQ(debugger.command("STEP", {integer(0)}), 1);
    script.join();
    EXPECT_FALSE(script.aborted);
}

TEST(DebugLink, theNextDebuggerHearsOnlyWhatIs) {
    const std::string link = uniqueLink();
    RunningScript script(kScript, link, false);
    {
        std::optional<DebugClient> first = DebugClient::attach(link, 3s);
        ASSERT_TRUE(first && nextPause(*first));
        ASSERT_TRUE(first->run(RunMode::Line, 3).done());
        bool taken = false;
        EXPECT_FALSE(DebugClient::attach(link, 0s, nullptr, &taken));
        EXPECT_TRUE(taken) << "one at a time";
        ASSERT_TRUE(nextPause(*first));
    }
    std::optional<DebugClient> second = DebugClient::attach(link, 3s);
    ASSERT_TRUE(second);
    EXPECT_TRUE(second->leaveBehind(Command::Pause));
    const std::optional<Event> event = second->waitForEvent(3s);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->type, EventType::Paused);
    EXPECT_EQ(event->line, 13);
    EXPECT_TRUE(second->paused());
    const auto start = std::chrono::steady_clock::now();
    std::vector<DebugFrame> frames;
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(second->frames(frames).done());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1500ms) << "answers do not wait for the poll";
    EXPECT_FALSE(second->waitForEvent(300ms));
    ASSERT_TRUE(second->end().done());
    script.join();
    EXPECT_TRUE(script.aborted);
    EXPECT_FALSE(second->alive() || second->died());
}

TEST(DebugLink, wildBytesDoNoHarm) {
    const std::string link = uniqueLink();
    RunningScript script(kEndless, link);
    ForeignDebugger debugger(link);
    ASSERT_TRUE(debugger.attached());
    const std::span<std::byte> block = debugger.inBlock().bytes();
    for (const int fill : {0xff, 0x41, 0x64}) {
        std::memset(block.data() + 8, fill, block.size() - 8);
        for (std::size_t i = 0; i < kRecords; ++i)
            reinterpret_cast<SharedRecord*>(block.data() + 8)[i].state = 100;
        std::this_thread::sleep_for(120ms);
    }
    // Names without an end, operands behind the last record, counts that are none.
    auto* records = reinterpret_cast<SharedRecord*>(block.data() + 8);
    std::memset(block.data(), 0x7f, block.size());
    for (const CommandRow& row : kCommands) {
        if (row.command == Command::End || row.command == Command::Terminate || row.command == Command::Run ||
            row.command == Command::Step || row.command == Command::Detach)
            continue;
        for (const std::size_t at : {std::size_t{0}, kRecords - 1}) {
            records[at].payload.fill('\x7f');
            row.name.copy(records[at].payload.data(), row.name.size());
            records[at].payload[row.name.size()] = '\0';
            EXPECT_EQ(debugger.semaphore().acquire(nullptr), NamedSemaphore::Wait::Acquired);
            std::atomic_ref<std::int32_t>(records[at].state).store(100);
            debugger.semaphore().release();  // which wakes the script
            for (int i = 0; i < 200 && records[at].state == 100; ++i) std::this_thread::sleep_for(5ms);
            EXPECT_EQ(records[at].state, 0) << row.name;
        }
    }
    std::memset(block.data(), 0, block.size());
    EXPECT_EQ(debugger.line(), 5);
}

TEST(DebugLink, nobodyComes) {
    const std::string link = uniqueLink();
    RunningScript script(kScript, link);
    ForeignDebugger debugger(link);  // only looks
    ASSERT_TRUE(debugger.attached());
    script.watch.requested = 1;
    const auto start = std::chrono::steady_clock::now();
    script.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_EQ(script.watch.line, 2);
}

TEST(DebugLink, aNameFromOutsideIsForOneScript) {
    const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / (uniqueLink() + ".ks");
    std::ofstream(path) << "process: s { x = ; }\n";
    Recorder recorder;
    ScriptEnvironment environment(&recorder, nullptr, Settings::ReadOnly);
    environment.debugLink = uniqueLink();
    EXPECT_EQ(LoadedScript::load(environment, path.string(), 1), nullptr);
    EXPECT_EQ(environment.debugLink, "");
    std::filesystem::remove(path);
}

TEST(DebugLink, aFloodOfMessagesIsCounted) {
    const std::string link = uniqueLink();
    RunningScript script(R"(process: s { }
main
{
    for (i = 1; i <= 1000; i++) { info(string(i)); }
    info("last");
}
)",
                         link, false);
    std::optional<DebugClient> client = DebugClient::attach(link, 3s);
    ASSERT_TRUE(client && nextPause(*client));
    DebugStop stop;
    ASSERT_TRUE(client->stopAtLine({0, 6}, stop).done());
    ASSERT_TRUE(client->run(RunMode::Line, 1000000).done());
    // Nobody reads meanwhile.
    for (int i = 0; i < 100 && client->ask(Command::Frames).records[3].integer() != 6; ++i)
        std::this_thread::sleep_for(10ms);
    std::vector<std::string> texts;
    for (std::optional<Event> event = client->nextEvent(); event; event = client->nextEvent())
        if (event->type == EventType::Information) texts.push_back(event->text);
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "1000");
    EXPECT_GT(client->takeMissedEvents(), 800);
}

TEST(DebugEvents, aReaderNeverGoesBack) {
    std::array<SharedRecord, kEventRecords> ring{};
    EventWriter writer(ring);
    for (int i = 1; i <= 5; ++i) writer.write({.type = EventType::Information, .text = std::to_string(i)});
    EventReader reader(ring);
    ring[5].state = 7;  // whoever wrote this was no writer of ours
    std::string read;
    while (read.size() < 20) {
        const std::optional<Event> event = reader.next();
        if (!event) break;
        read += event->text;
    }
    EXPECT_EQ(read, "12345");
}

}  // namespace
}  // namespace kestrel::debug::test
