#include "ipc/debug_link.h"

#include "engine/run/instructions.h"
#include "ipc/debug_commands.h"
#include "ipc/debug_events.h"
#include "platform/environment.h"
#include "platform/named_memory.h"
#include "platform/named_semaphore.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace kestrel {

namespace {

using namespace debug;  // NOLINT: this file is about nothing else
using platform::NamedMemory;
using platform::NamedSemaphore;

constexpr std::chrono::milliseconds kPoll{100};
/// With a debugger that releases the semaphore when it has written something, the rest of the command block
/// is looked at only now and then.
constexpr int kLinesBetweenLooks = 64;
/// A debugger whose script has died may look at the semaphore just when the next script wants it.
constexpr int kSemaphoreTries = 10;
constexpr std::chrono::milliseconds kBetweenTries{10};

struct SharedObjects {
    NamedMemory commands;
    NamedMemory replies;
    NamedMemory events;
    NamedSemaphore semaphore;
};

/// The records behind the header, which is written.
std::span<SharedRecord> layOut(const NamedMemory& memory, std::size_t records, std::int32_t second) {
    const SharedBlockHeader header{static_cast<std::int32_t>(records), second};
    std::memcpy(memory.bytes().data(), &header, sizeof header);
    return sharedRecords(memory.bytes());
}

std::optional<SharedObjects> makeShared(std::string_view link) {
    std::optional<NamedMemory> commands = NamedMemory::create(commandBlockName(link), kBlockSize);
    if (!commands) return std::nullopt;
    std::optional<NamedMemory> replies = NamedMemory::create(replyBlockName(link), kBlockSize);
    if (!replies) return std::nullopt;
    std::optional<NamedMemory> events = NamedMemory::create(eventBlockName(link), kEventBlockSize);
    if (!events) return std::nullopt;
    std::optional<NamedSemaphore> semaphore;
    for (int tries = 0; !semaphore && tries < kSemaphoreTries; ++tries) {
        if (tries > 0) static_cast<void>(platform::pause(kBetweenTries, nullptr));
        semaphore = NamedSemaphore::create(semaphoreName(link), NamedSemaphore::Count::Taken);
    }
    if (!semaphore) return std::nullopt;
    return SharedObjects{std::move(*commands), std::move(*replies), std::move(*events),
                         std::move(*semaphore)};
}

char letterOf(MessageKind kind) {
    switch (kind) {
        case MessageKind::Info:
            return 'I';
        case MessageKind::Warning:
            return 'W';
        case MessageKind::Error:
            break;
    }
    return 'E';
}

EventType eventOf(MessageKind kind) {
    switch (kind) {
        case MessageKind::Info:
            return EventType::Information;
        case MessageKind::Warning:
            return EventType::Warning;
        case MessageKind::Error:
            break;
    }
    return EventType::Error;
}

class DebugLink final : public ScriptResource, public LineHook, public Reporter::Diversion {
public:
    DebugLink(EngineContext& ctx, std::string_view link, SharedObjects shared, PixelFinder pixel)
        : link_(link),
          state_{ctx, Stops(std::move(pixel))},
          shared_(std::move(shared)),
          commands_(layOut(shared_.commands, kRecords, 0)),
          replies_(layOut(shared_.replies, kRecords, 0)),
          events_(layOut(shared_.events, kEventRecords, kProtocolVersion)) {
        ctx.run.hook = this;
        ctx.reporter.diversion = this;
        shared_.semaphore.release();
    }

    ~DebugLink() override {
        disconnect();
        if (platform::processId() != process_)
            return;  // the names belong to the process that this is a copy of
        // The debugger may be reading its last reply.
        static_cast<void>(shared_.semaphore.acquire(nullptr, kPoll));
        static_cast<void>(shared_.semaphore.remove());
        // A debugger that died has left this behind. One that lives takes it away itself.
        if (std::optional<NamedSemaphore> attached = NamedSemaphore::open(attachedName(link_)))
            static_cast<void>(attached->remove());
    }

    void runBegins(EngineContext& ctx, const CodeNode& start) override {
        if (platform::processId() != process_)
            disconnect();
        else
            state_.stops.runBegins(ctx, start);
    }

    void line(EngineContext& ctx, const CodeNode& node) override {
        if (const std::optional<Stops::Reached> reached = state_.stops.reached(ctx, node)) {
            state_.countdown = 0;
            return waitForDebugger(reached->reason, reached->number);
        }
        if (state_.ending) {
            ctx.run.stop = ctx.run.abort = true;
        } else if (state_.countdown > 0) {
            --state_.countdown;
        } else if (state_.countdown == 0) {
            waitForDebugger(std::exchange(begun_, true) ? PauseReason::Step : PauseReason::Entry, 0);
        } else if (worthLooking() && commandPending()) {
            waitForDebugger(PauseReason::Request, 0);
        }
    }

    void message(MessageKind kind, std::string_view text) override {
        const std::string whole = std::string{letterOf(kind), ':', ' '}.append(text);
        state_.pending = whole.substr(0, SharedRecord::kTextLength);
        Event event;
        event.type = eventOf(kind);
        event.text = text;
        tell(std::move(event));
        // What a command of the debugger's reports is no place to pause: the debugger waits for its reply.
        if (kind != MessageKind::Error || !state_.stops.atErrors || state_.reporting || obeying_) return;
        state_.reporting = true;
        state_.countdown = 0;
        state_.stops.stopStepping();
        waitForDebugger(PauseReason::Error, 0);
        state_.reporting = false;
    }

private:
    enum class After { GoesOn, Stays };

    void disconnect() noexcept {
        EngineContext& ctx = state_.ctx;
        if (ctx.run.hook == this) ctx.run.hook = nullptr;
        if (ctx.reporter.diversion == this) ctx.reporter.diversion = nullptr;
    }

    [[nodiscard]] static bool pending(SharedRecord& record) noexcept {
        return std::atomic_ref<std::int32_t>(record.state).load(std::memory_order_acquire) == kCommandState;
    }
    [[nodiscard]] bool commandPending() const { return std::ranges::any_of(commands_, pending); }

    /// Whether a line of a script that runs freely is one at which the command block is looked through.
    [[nodiscard]] bool worthLooking() {
        if (!state_.attached) return true;
        const std::uint32_t releases = shared_.semaphore.releases();
        if (releases == releasesSeen_ && --linesToLook_ > 0) [[likely]]
            return false;
        releasesSeen_ = releases;
        linesToLook_ = kLinesBetweenLooks;
        return true;
    }

    /// Returns when the script is to go on, or to end.
    void waitForDebugger(PauseReason reason, std::int32_t stop) {
        if (platform::processId() != process_) return disconnect();  // a copy made in the middle of a run
        bool told = false;
        while (true) {
            const std::uint32_t seen = shared_.semaphore.releases();
            After after = After::Stays;
            if (commandPending()) after = obeyBatch();
            if (after == After::GoesOn || state_.countdown == DebugState::kFreeRun || hook() != this) break;
            if (endRequested()) break;
            if (!told) {
                told = true;
                Event event;
                event.type = EventType::Paused;
                event.reason = reason;
                event.stop = stop;
                tell(std::move(event));
                wakeDebugger();
            }
            shared_.semaphore.waitForRelease(seen, kPoll);
        }
        if (told) {
            Event event;
            event.type = EventType::Resumed;
            tell(std::move(event));
        }
        releasesSeen_ = shared_.semaphore.releases();
    }

    [[nodiscard]] const LineHook* hook() const noexcept { return state_.ctx.run.hook; }

    [[nodiscard]] bool endRequested() noexcept {
        pollWatch(state_.ctx);
        return state_.ctx.run.stop;
    }

    [[nodiscard]] After obeyBatch() {
        switch (shared_.semaphore.acquire(state_.ctx.cancelFlag())) {
            case NamedSemaphore::Wait::Acquired:
            case NamedSemaphore::Wait::Recovered:  // a command counts once its state is written, which comes
                                                   // last
                break;
            case NamedSemaphore::Wait::Cancelled:
            case NamedSemaphore::Wait::TimedOut:
                return After::Stays;
            case NamedSemaphore::Wait::Removed:  // nobody can reach the script any more
                disconnect();
                return After::GoesOn;
        }
        std::ranges::copy(commands_, batch_.begin());
        for (SharedRecord& record : reply_) {
            record.state = kNothingYet;
            record.reserved = 0;
            record.owner = record.next = -1;
            record.kind = kSharedNone;
        }
        Batch batch(*this);
        state_.takesMessages = true;
        const bool goesOn = obey(state_, batch_, reply_);
        batch.done();
        state_.ctx.reporter.diversion = state_.takesMessages ? this : nullptr;
        return goesOn ? After::GoesOn : After::Stays;
    }

    /// While one is carried out the semaphore is held. However that ends, memory may run out, the debugger
    /// gets its reply and the semaphore.
    class Batch {
    public:
        explicit Batch(DebugLink& link) noexcept : link_(link) { link.obeying_ = true; }
        ~Batch() {
            link_.obeying_ = false;
            if (!done_) {
                link_.reply_[0].state = kFailed;
                link_.reply_[0].kind = kSharedText;
                link_.reply_[0].setText("Not enough memory");
            }
            link_.publish();
            for (SharedRecord& record : link_.commands_)
                std::atomic_ref<std::int32_t>(record.state).store(0, std::memory_order_release);
            link_.shared_.semaphore.release();
        }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
        void done() noexcept { done_ = true; }

    private:
        DebugLink& link_;
        bool done_ = false;
    };

    /// A debugger that waits for the state of record 0 finds all the rest written.
    void publish() noexcept {
        const std::int32_t state = std::exchange(reply_[0].state, kNothingYet);
        std::ranges::copy(reply_, replies_.begin());
        std::atomic_ref<std::int32_t>(replies_[0].state).store(state, std::memory_order_release);
        reply_[0].state = state;
    }

    void tell(Event event) {
        if (const SourcePos* place = state_.ctx.reporter.place; place != nullptr && place->known()) {
            event.line = place->line;
            event.file = place->file;
        }
        events_.write(event);
    }

    /// Those that wait for the script to pause look again after each release.
    void wakeDebugger() {
        if (!state_.attached) return;
        const NamedSemaphore::Wait result = shared_.semaphore.acquire(nullptr, kPoll);
        if (result == NamedSemaphore::Wait::Acquired || result == NamedSemaphore::Wait::Recovered)
            shared_.semaphore.release();
    }

    const std::string link_;
    const std::uint32_t process_ = platform::processId();
    DebugState state_;
    SharedObjects shared_;
    std::span<SharedRecord> commands_;
    std::span<SharedRecord> replies_;
    EventWriter events_;
    std::array<SharedRecord, kRecords> batch_{};
    std::array<SharedRecord, kRecords> reply_{};
    std::uint32_t releasesSeen_ = 0;
    int linesToLook_ = 1;
    bool begun_ = false;
    bool obeying_ = false;
};

}  // namespace

bool openDebugLink(EngineContext& ctx, std::string_view name, PixelFinder pixel) {
    if (name.empty() || ctx.program == nullptr) return false;
    std::optional<SharedObjects> shared = makeShared(name);
    if (!shared) return false;
    ctx.resources.push_back(std::make_unique<DebugLink>(ctx, name, std::move(*shared), std::move(pixel)));
    return true;
}

bool debugLinkTaken(std::string_view name) {
    const std::optional<NamedMemory> commands = NamedMemory::open(commandBlockName(name));
    return commands && commands->ownerLives();
}

}  // namespace kestrel
