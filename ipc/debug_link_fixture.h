// What tests of the debugger link share: a script that runs, and a foreign debugger that knows the six
// original commands and writes its records without touching the semaphore first.
#pragma once

#include "host/loaded_script.h"
#include "host/script_session.h"
#include "ipc/debug_client.h"
#include "platform/environment.h"
#include "platform/named_memory.h"
#include "platform/named_semaphore.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace kestrel::debug::test {

using namespace std::chrono_literals;
using platform::NamedMemory;
using platform::NamedSemaphore;

inline std::string uniqueLink() {
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
                static_cast<void>(session.openDebugLink(byPragma ? "" : link));
                aborted = session.prepare() || session.runMain();
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
    void letGo() {
        in_.reset();
        out_.reset();
    }
    NamedMemory& inBlock() { return *in_; }
    NamedMemory& outBlock() { return *out_; }

    void forgetReply() { std::atomic_ref<std::int32_t>(out()[0].state).store(0); }
    void write(std::size_t at, std::string_view command, const std::vector<SharedRecord>& operands = {}) {
        for (std::size_t i = 0; i < operands.size(); ++i) in()[at + 1 + i] = operands[i];
        in()[at].setText(command);
        std::atomic_ref<std::int32_t>(in()[at].state).store(100);
    }
    /// Writes a command and waits for its reply. @return the reply's state; 0 when there was none
    std::int32_t command(std::string_view name, const std::vector<SharedRecord>& operands = {}) {
        forgetReply();
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
inline constexpr const char* kScript = R"(total = 0;
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

inline SharedRecord text(std::string_view value) {
    SharedRecord record{};
    record.kind = kSharedText;
    record.setText(value);
    return record;
}
inline SharedRecord integer(std::int32_t value) {
    SharedRecord record{};
    record.kind = kSharedInteger;
    record.setInteger(value);
    return record;
}

/// Runs until a line is reached at which the debugger tells that the script has paused.
inline std::optional<Event> nextPause(DebugClient& client) {
    std::optional<Event> event;
    do event = client.waitForEvent(3s);
    while (event && event->type != EventType::Paused);
    return event;
}

}  // namespace kestrel::debug::test
