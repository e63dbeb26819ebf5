// Both ends of a debugger link: a script that is asked anything, and a debugger that is told anything.
#include "engine/run/entry.h"
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/taken.h"
#include "ipc/debug_client.h"
#include "ipc/debug_commands.h"
#include "script/loading.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

namespace kestrel::fuzz {

namespace {

using namespace debug;  // NOLINT: this file is about nothing else
using Block = std::array<SharedRecord, kRecords>;

constexpr std::string_view kScript = R"(total = 0;
var list[3];
declare record Pair { first = 1, next; }
pair = Pair(2);
process: s { }
twice: x
{
    var y[2, 2];
    y[2, 2] = x;
    r = Pair(x, Pair(3));
    q = r->next;
    q->next = "end";
    if (x > 1) return twice(x - 1);
    return y[2, 2] + q->first;
}
main
{
    for i = 1 to 3 do
    {
        ::total += twice(i);
        ::list[i] = "text " + string(i);
    }
    x = 1 / 0;
    info(total, list, x);
}
)";

constexpr const char* kReferences[] = {"::total",  "::list",        "::list[3]",
                                       "::pair",   "::pair->first", "::pair->next",
                                       "twice::x", "twice::y[2,2]", "twice::r->next->next",
                                       "main::i",  "main::",        "twice::",
                                       "::",       "::list[99]",    "main::x",
                                       "twice",    "main",          "none::none"};

std::string_view commandName(Taken& data) {
    return kCommands[data.below(std::size(kCommands))].name;
}

SharedRecord recordFrom(Taken& data) {
    SharedRecord record{};
    switch (data.below(6)) {
        case 0:
            return data.raw<SharedRecord>();
        case 1:
            record.kind = kSharedText;
            record.setText(data.text());
            break;
        case 2:
            record.kind = kSharedText;
            record.setText(kReferences[data.below(std::size(kReferences))]);
            break;
        case 3:
            record.kind = kSharedVector;
            for (std::size_t i = 0; i < 3; ++i) record.setNumber(data.number(), i);
            break;
        default:
            record.kind = kSharedInteger;
            record.setInteger(data.rarely(4) ? data.raw<std::int32_t>() : data.raw<std::int8_t>());
            break;
    }
    record.next = data.rarely(4) ? data.raw<std::int8_t>() : 0;
    return record;
}

/// Commands with what follows them.
Block commandsFrom(Taken& data) {
    Block block{};
    std::size_t at = 0;
    for (std::size_t commands = 1 + data.below(3); commands > 0 && at < kRecords; --commands) {
        block[at].state = kCommandState;
        block[at++].setText(data.rarely(12) ? std::string_view(data.text()) : commandName(data));
        for (std::size_t left = data.below(5); left > 0 && at < kRecords; --left)
            block[at++] = recordFrom(data);
    }
    return block;
}

// ---- the script's end

/// Stands in for the link: takes commands from the bytes instead of shared memory.
class Asking final : public LineHook {
public:
    Asking(EngineContext& ctx, Taken& data)
        : state_{ctx, Stops([this]() -> std::optional<Pixel> {
                     return Pixel{data_.byte(), 1};
                 })},
          data_(data) {}

    void runBegins(EngineContext& ctx, const CodeNode& start) override { state_.stops.runBegins(ctx, start); }

    void line(EngineContext& ctx, const CodeNode& node) override {
        if (++lines_ > kMostLines || state_.ending) {
            ctx.run.stop = true;
            return;
        }
        const bool reached = state_.stops.reached(ctx, node).has_value();
        if (!reached && state_.countdown == DebugState::kFreeRun) return;
        if (!reached && state_.countdown > 0) {
            --state_.countdown;
            return;
        }
        bool resumes = false;
        while (!resumes && !data_.empty()) {
            state_.reporting = data_.rarely(16);
            const Block commands = commandsFrom(data_);
            Block reply{};
            resumes = obey(state_, commands, reply);
            require(reply[0].state >= kFailed && reply[0].state <= kSucceeded, "a reply says how it went");
        }
        if (data_.empty()) ctx.run.stop = true;
    }

private:
    static constexpr int kMostLines = 2000;

    DebugState state_;
    Taken& data_;
    int lines_ = 0;
};

void askScript(Taken& data) {
    ConfinedScript script;
    require(script.compile(kScript) && prepare(script.ctx, Demand::Names), "the script compiles");
    EngineContext& ctx = script.ctx;
    const TimeBudget budget(script.watch, 500);
    Asking asking(ctx, data);
    ctx.run.hook = &asking;
    start(ctx);
    runMain(ctx);
    ctx.run.hook = nullptr;
    script.unload();
}

// ---- the debugger's end

void readEvents(Taken& data) {
    std::array<SharedRecord, kEventRecords> ring{};
    EventReader reader(ring);
    if (data.below(2) == 0) {
        EventWriter writer(ring);
        for (std::size_t left = data.below(64); left > 0; --left)
            writer.write({.type = static_cast<EventType>(1 + data.below(5)), .text = data.text()});
    }
    for (int rounds = 0; rounds < 8; ++rounds) {
        int events = 0;
        while (reader.next()) require(++events <= 1000, "events come to an end");
        static_cast<void>(reader.takeMissed());
        for (SharedRecord& record : ring) {
            if (data.rarely(3)) continue;
            record = data.raw<SharedRecord>();
            if (data.below(2) == 0) record.state = static_cast<std::int32_t>(data.below(140));
            if (data.empty()) break;
        }
    }
}

/// A script that replies with anything.
class FakeScript {
public:
    FakeScript(const std::string& link, Taken& data)
        : commands_(platform::NamedMemory::create(commandBlockName(link), kBlockSize)),
          replies_(platform::NamedMemory::create(replyBlockName(link), kBlockSize)),
          events_(platform::NamedMemory::create(eventBlockName(link), kEventBlockSize)),
          semaphore_(
              platform::NamedSemaphore::create(semaphoreName(link), platform::NamedSemaphore::Count::Taken)) {
        require(commands_ && replies_ && events_ && semaphore_, "memory can be shared");
        layOut(commands_->bytes(), {kRecords, 0});
        layOut(replies_->bytes(), {kRecords, 0});
        layOut(events_->bytes(), {kEventRecords, kProtocolVersion});
        if (data.rarely(16)) layOut(replies_->bytes(), data.raw<SharedBlockHeader>());
        for (SharedRecord& record : sharedRecords(events_->bytes()).first(4)) record = recordFrom(data);
        for (int left = 16; left > 0 && !data.empty(); --left) replies_of_.push_back(replyFrom(data));
        semaphore_->release();
        thread_ = std::thread([this] { reply(); });
    }
    ~FakeScript() {
        ended_ = true;
        thread_.join();
        static_cast<void>(semaphore_->remove());
    }
    FakeScript(const FakeScript&) = delete;
    FakeScript& operator=(const FakeScript&) = delete;

private:
    static void layOut(std::span<std::byte> block, SharedBlockHeader header) {
        std::memcpy(block.data(), &header, sizeof header);
    }
    static Block replyFrom(Taken& data) {
        Block block{};
        block[0] = recordFrom(data);
        block[0].state = data.rarely(8) ? kFailed : kSucceeded;
        std::size_t at = 1;
        for (std::size_t left = data.below(kRecords); left > 0; --left) block[at++] = recordFrom(data);
        return block;
    }
    /// When its replies are used up it refuses everything.
    void reply() {
        const std::span<SharedRecord> commands = sharedRecords(commands_->bytes());
        auto* replies = reinterpret_cast<SharedRecord*>(replies_->bytes().data() + sizeof(SharedBlockHeader));
        std::size_t next = 0;
        while (!ended_) {
            if (std::atomic_ref(commands[0].state).load() != kCommandState) {
                std::this_thread::yield();
                continue;
            }
            static_cast<void>(semaphore_->acquire(nullptr, std::chrono::milliseconds(100)));
            const Block block = next < replies_of_.size() ? replies_of_[next++] : Block{};
            std::ranges::copy(block, replies);
            std::atomic_ref(commands[0].state).store(0);
            semaphore_->release();
        }
    }

    std::optional<platform::NamedMemory> commands_;
    std::optional<platform::NamedMemory> replies_;
    std::optional<platform::NamedMemory> events_;
    std::optional<platform::NamedSemaphore> semaphore_;
    std::vector<Block> replies_of_;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

void tellDebugger(Taken& data) {
    static int number = 0;
    const std::string link = Sandbox::get().sharedName("link" + std::to_string(++number));
    const std::uint8_t questions = data.byte();
    const FakeScript script(link, data);
    std::optional<DebugClient> client = DebugClient::attach(link, std::chrono::milliseconds(0));
    if (!client) return;
    client->setPatience(std::chrono::milliseconds(200));
    std::vector<std::string> files;
    std::vector<DebugFunction> functions;
    std::vector<DebugFrame> frames;
    std::vector<DebugVariable> variables;
    std::size_t total = 0;
    DebugStop stop;
    DebugValue value;
    std::string text;
    const auto assign = [&] {
        return client->value("::x", value).done() && client->assign("::x", value).done();
    };
    const std::function<void()> asks[] = {
        [&] { static_cast<void>(client->files(files)); },
        [&] { static_cast<void>(client->functions(functions)); },
        [&] { static_cast<void>(client->frames(frames, 50)); },
        [&] { static_cast<void>(client->values("main::", 0, 500, variables, total)); },
        assign,
        [&] { static_cast<void>(client->text("::x", 5000, text)); },
        [&] {
            static_cast<void>(client->stopAtLine({0, 3}, stop));
        },
        [&] { static_cast<void>(client->nextEvent()); },
    };
    for (unsigned question = questions, left = 8; left > 0; --left, question = question * 5 + 3)
        asks[question % 8]();
}

}  // namespace

void debugLink(Bytes bytes) {
    Taken data(bytes);
    switch (data.below(8)) {
        case 0:
            return tellDebugger(data);
        case 1:
        case 2:
            return readEvents(data);
        default:
            return askScript(data);
    }
}

Seeds debugSeeds(const std::filesystem::path& source) {
    Seeds seeds = byteSeeds(source);
    for (std::size_t i = 0; i < seeds.size(); ++i) {
        seeds[i].insert(seeds[i].begin(), static_cast<char>(i % 8));
        if (seeds[i].size() > 512) seeds[i] += seeds[i] + seeds[i];
    }
    return seeds;
}

}  // namespace kestrel::fuzz
