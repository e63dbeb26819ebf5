#include "ipc/debug_client.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace kestrel::debug {

namespace {

using platform::NamedMemory;
using platform::NamedSemaphore;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPoll{100};
constexpr milliseconds kRetry{50};
constexpr int kClaims = 5;
constexpr std::size_t kMostText = std::size_t{64} << 20;

std::atomic_ref<std::int32_t> stateOf(SharedRecord& record) noexcept {
    return std::atomic_ref<std::int32_t>(record.state);
}

SharedRecord integerRecord(std::int64_t value) {
    SharedRecord record{};
    record.kind = kSharedInteger;
    record.setInteger(static_cast<std::int32_t>(value));
    return record;
}

SharedRecord textRecord(std::string_view text) {
    SharedRecord record{};
    record.kind = kSharedText;
    record.setText(text);
    return record;
}

DebugValue valueOf(const SharedRecord& record) {
    DebugValue value;
    value.shape = static_cast<ValueShape>(record.owner);
    value.kind = value.shape == ValueShape::Plain ? static_cast<SharedKind>(record.kind) : kSharedNone;
    value.size = static_cast<std::size_t>(std::max(record.next, 0));
    if (value.kind == kSharedInteger)
        value.integer = record.integer();
    else if (value.kind == kSharedNumber || value.kind == kSharedVector)
        value.numbers = {record.number(0), record.number(1), record.number(2)};
    else if (value.kind == kSharedText || value.shape != ValueShape::Plain)
        value.text = record.text();
    return value;
}

DebugPlace placeOf(const SharedRecord& file, const SharedRecord& line) {
    return {file.integer(), line.integer()};
}

/// A reference that a record has no room for would be cut, and mean something else.
std::optional<Answer> tooLong(std::string_view reference) {
    if (reference.size() <= SharedRecord::kTextLength) return std::nullopt;
    return Answer{Answer::Outcome::Refused, "a name of more than 255 characters cannot be asked for"};
}

}  // namespace

std::optional<DebugClient::Objects> DebugClient::openAll(std::string_view link) {
    std::optional<NamedMemory> commands = NamedMemory::open(commandBlockName(link));
    if (!commands || !commands->ownerLives()) return std::nullopt;
    std::optional<NamedMemory> replies = NamedMemory::open(replyBlockName(link));
    std::optional<NamedMemory> events = NamedMemory::open(eventBlockName(link));
    std::optional<NamedSemaphore> semaphore = NamedSemaphore::open(semaphoreName(link));
    if (!replies || !events || !semaphore) return std::nullopt;
    return Objects{std::move(*commands), std::move(*replies), std::move(*events), std::move(*semaphore), {}};
}

std::optional<DebugClient> DebugClient::attach(std::string_view link, milliseconds longest,
                                               platform::CancelFlag requested, bool* taken) {
    const steady_clock::time_point end = steady_clock::now() + longest;
    while (true) {
        if (std::optional<Objects> objects = openAll(link)) {
            DebugClient client(std::move(*objects));
            client.setCancel(requested);
            // The semaphore is free once the script has laid out the blocks.
            const NamedSemaphore::Wait result = client.objects_->semaphore.acquire(requested, kPoll);
            const bool held =
                result == NamedSemaphore::Wait::Acquired || result == NamedSemaphore::Wait::Recovered;
            if (held) {
                client.commands_ = sharedRecords(client.objects_->commands.bytes());
                client.replies_ = sharedRecords(client.objects_->replies.bytes());
                client.events_ = EventReader(sharedRecords(client.objects_->events.bytes()));
                SharedBlockHeader header{};
                const std::span<std::byte> events = client.objects_->events.bytes();
                std::memcpy(&header, events.data(), std::min(sizeof header, events.size()));
                client.skipOldEvents();
                client.objects_->semaphore.release();
                // What a script that died has left may have been opened while the next one replaces it.
                const bool current =
                    !client.objects_->replies.superseded() && !client.objects_->events.superseded();
                if (current && client.commands_.size() >= kRecords && client.replies_.size() >= kRecords &&
                    header.zero == kProtocolVersion) {
                    if (client.claim(link)) return client;
                    if (taken != nullptr) *taken = true;
                    return std::nullopt;
                }
            }
        }
        if (steady_clock::now() >= end || !platform::pause(kRetry, requested)) return std::nullopt;
    }
}

DebugClient::DebugClient(Objects objects) : objects_(std::make_unique<Objects>(std::move(objects))) {}

DebugClient::~DebugClient() {
    if (!objects_) return;
    if (objects_->attached) static_cast<void>(objects_->attached->remove());
    if (!alive()) static_cast<void>(objects_->semaphore.remove());
}

bool DebugClient::alive() const {
    return objects_->commands.ownerLives();
}

bool DebugClient::died() {
    if (alive()) return false;
    const NamedSemaphore::Wait result = objects_->semaphore.acquire(nullptr, kPoll * 2);
    if (result == NamedSemaphore::Wait::Acquired || result == NamedSemaphore::Wait::Recovered)
        objects_->semaphore.release();
    return result != NamedSemaphore::Wait::Removed;
}

/// Two debuggers would take each other's replies. One that died has let go.
bool DebugClient::claim(std::string_view link) {
    for (int tries = 0; tries < kClaims; ++tries) {
        std::optional<NamedSemaphore> attached = NamedSemaphore::openOrCreate(attachedName(link));
        if (!attached) return true;  // where that cannot be made, nobody else can make it either
        const NamedSemaphore::Wait result = attached->acquire(requested_, kPoll * 2);
        if (result == NamedSemaphore::Wait::Removed) continue;  // another one has just gone
        if (result != NamedSemaphore::Wait::Acquired && result != NamedSemaphore::Wait::Recovered)
            return false;
        objects_->attached = std::move(attached);
        return true;
    }
    return false;
}

/// What another debugger was told is no news: only that the script is paused, if it is.
void DebugClient::skipOldEvents() {
    while (std::optional<Event> event = events_.next()) {
        if (event->type == EventType::Paused)
            lastPause_ = std::move(event);
        else if (event->type == EventType::Resumed)
            lastPause_.reset();
    }
    static_cast<void>(events_.takeMissed());
}

std::optional<Event> DebugClient::nextEvent() {
    std::optional<Event> event = lastPause_ ? std::exchange(lastPause_, std::nullopt) : events_.next();
    if (event && event->type == EventType::Paused) paused_ = true;
    if (event && event->type == EventType::Resumed) paused_ = false;
    return event;
}

std::optional<Event> DebugClient::waitForEvent(milliseconds longest) {
    const steady_clock::time_point end = steady_clock::now() + longest;
    while (true) {
        const std::uint32_t seen = objects_->semaphore.releases();
        const bool living = alive();  // asked first: what it told before it ended is there
        if (std::optional<Event> event = nextEvent()) return event;
        const auto left = std::chrono::duration_cast<milliseconds>(end - steady_clock::now());
        if (!living || left.count() <= 0 || (requested_ != nullptr && *requested_ != 0)) return std::nullopt;
        objects_->semaphore.waitForRelease(seen, std::min(left, kPoll));
    }
}

NamedSemaphore::Wait DebugClient::hold() {
    return objects_->semaphore.acquire(requested_, patience_);
}

bool DebugClient::write(Command command, std::span<const SharedRecord> operands) {
    const NamedSemaphore::Wait result = hold();
    if (result != NamedSemaphore::Wait::Acquired && result != NamedSemaphore::Wait::Recovered) return false;
    const auto* row = std::ranges::find(kCommands, command, &CommandRow::command);
    const std::size_t count = std::min(operands.size(), kRecords - 1);
    std::ranges::copy(operands.first(count), commands_.begin() + 1);
    for (SharedRecord& record : commands_.subspan(1 + count)) record.state = 0;
    commands_[0].setText(row->name);
    stateOf(commands_[0]).store(kCommandState, std::memory_order_release);
    objects_->semaphore.release();
    return true;
}

Answer::Outcome DebugClient::awaitConsumption() {
    const steady_clock::time_point end = steady_clock::now() + patience_;
    while (true) {
        const std::uint32_t seen = objects_->semaphore.releases();
        const bool living = alive();
        if (stateOf(commands_[0]).load(std::memory_order_acquire) != kCommandState)
            return Answer::Outcome::Done;
        if (!living) return Answer::Outcome::Ended;
        if (steady_clock::now() >= end || (requested_ != nullptr && *requested_ != 0))
            return Answer::Outcome::Busy;
        objects_->semaphore.waitForRelease(seen, std::min(patience_, kPoll));
    }
}

DebugClient::Reply DebugClient::ask(Command command, std::span<const SharedRecord> operands) {
    using Outcome = Answer::Outcome;
    Reply reply;
    Outcome& outcome = reply.answer.outcome;
    outcome = write(command, operands) ? awaitConsumption() : alive() ? Outcome::Busy : Outcome::Ended;
    if (outcome == Outcome::Done || outcome == Outcome::Busy) {
        const NamedSemaphore::Wait result = objects_->semaphore.acquire(nullptr, kPatience);
        if (result == NamedSemaphore::Wait::Removed) {
            // What made the script end was carried out all the same.
            std::ranges::copy(replies_.first(kRecords), reply.records.begin());
        } else if (result == NamedSemaphore::Wait::TimedOut) {
            outcome = Outcome::Busy;
        } else {
            const bool taken = stateOf(commands_[0]).exchange(0) != kCommandState;
            if (taken) std::ranges::copy(replies_.first(kRecords), reply.records.begin());
            outcome = taken ? Outcome::Done : outcome;
            objects_->semaphore.release();
        }
    }
    if (outcome == Outcome::Ended) reply.answer.problem = "the script has ended";
    if (outcome == Outcome::Busy) reply.answer.problem = "the script has not come to a new line yet";
    if (outcome == Outcome::Done && reply.records[0].state != kSucceeded) {
        outcome = Outcome::Refused;
        reply.answer.problem = std::string(reply.records[0].text());
    }
    return reply;
}

Answer DebugClient::run(RunMode mode, std::int32_t count) {
    const std::array operands{integerRecord(static_cast<std::int32_t>(mode)), integerRecord(count)};
    Answer answer = ask(Command::Run, operands).answer;
    if (answer.done()) paused_ = false;
    return answer;
}

Answer DebugClient::pause() {
    return ask(Command::Pause).answer;
}

Answer DebugClient::end() {
    return ask(Command::End).answer;
}

Answer DebugClient::detach() {
    Answer answer = ask(Command::Detach).answer;
    if (answer.done()) paused_ = false;
    return answer;
}

bool DebugClient::leaveBehind(Command command) {
    return write(command, {});
}

Answer DebugClient::stopAtLine(const DebugPlace& place, DebugStop& stop) {
    const std::array operands{integerRecord(place.file), integerRecord(place.line)};
    const Reply reply = ask(Command::StopAtLine, operands);
    if (reply.answer.done()) stop = {reply.records[0].integer(), placeOf(reply.records[1], reply.records[2])};
    return reply.answer;
}

Answer DebugClient::stopAtFunction(std::string_view name, DebugStop& stop) {
    const std::array operands{textRecord(name)};
    const Reply reply = ask(Command::StopAtFunction, operands);
    if (reply.answer.done()) stop = {reply.records[0].integer(), placeOf(reply.records[1], reply.records[2])};
    return reply.answer;
}

Answer DebugClient::stopAtPixel(std::int32_t column, std::int32_t row, std::int32_t sample, DebugStop& stop) {
    const std::array operands{integerRecord(column), integerRecord(row), integerRecord(sample)};
    const Reply reply = ask(Command::StopAtPixel, operands);
    if (reply.answer.done()) stop = {reply.records[0].integer(), {}};
    return reply.answer;
}

Answer DebugClient::stopAtErrors(bool on) {
    const std::array operands{integerRecord(on ? 1 : 0)};
    return ask(Command::StopAtErrors, operands).answer;
}

Answer DebugClient::removeStop(std::int32_t number) {
    const std::array operands{integerRecord(number)};
    return ask(Command::Clear, operands).answer;
}

/// Asks for a list until all of it, or as much as is wanted, is there.
/// @param take  takes an entry off the records that are left; nothing when there is none
template <class TakeEntry>
Answer DebugClient::list(Command command, std::span<const SharedRecord> before, std::size_t first,
                         std::size_t most, std::size_t& total, TakeEntry take) {
    std::vector<SharedRecord> operands(before.begin(), before.end());
    operands.emplace_back();
    std::size_t got = 0;
    while (true) {
        operands.back() = integerRecord(static_cast<std::int64_t>(first + got));
        const Reply reply = ask(command, operands);
        if (!reply.answer.done()) return reply.answer;
        total = static_cast<std::size_t>(std::max(reply.records[0].integer(), 0));
        std::span<const SharedRecord> rest = std::span(reply.records).subspan(1);
        const std::size_t gotBefore = got;
        while (first + got < total && got < most && take(rest)) ++got;
        if (first + got >= total || got >= most || got == gotBefore) return reply.answer;
    }
}

Answer DebugClient::files(std::vector<std::string>& paths) {
    std::size_t total = 0;
    paths.clear();
    return list(Command::Files, {}, 0, 100000, total, [&](std::span<const SharedRecord>& rest) {
        if (rest.empty() || rest[0].next < 1 || static_cast<std::size_t>(rest[0].next) > rest.size())
            return false;
        const auto pieces = static_cast<std::size_t>(rest[0].next);
        std::string path;
        for (const SharedRecord& piece : rest.first(pieces)) path += piece.text();
        paths.push_back(std::move(path));
        rest = rest.subspan(pieces);
        return true;
    });
}

Answer DebugClient::functions(std::vector<DebugFunction>& functions) {
    std::size_t total = 0;
    functions.clear();
    return list(Command::Functions, {}, 0, 100000, total, [&](std::span<const SharedRecord>& rest) {
        if (rest.size() < 3 || rest[0].kind != kSharedText) return false;
        functions.push_back({std::string(rest[0].text()), placeOf(rest[1], rest[2])});
        rest = rest.subspan(3);
        return true;
    });
}

Answer DebugClient::frames(std::vector<DebugFrame>& frames, std::size_t most) {
    std::size_t total = 0;
    return this->frames(0, most, frames, total);
}

Answer DebugClient::frames(std::size_t first, std::size_t most, std::vector<DebugFrame>& frames,
                           std::size_t& total) {
    frames.clear();
    total = 0;
    return list(Command::Frames, {}, first, most, total, [&](std::span<const SharedRecord>& rest) {
        if (rest.size() < 3 || rest[0].kind != kSharedText) return false;
        frames.push_back({std::string(rest[0].text()), placeOf(rest[1], rest[2])});
        rest = rest.subspan(3);
        return true;
    });
}

Answer DebugClient::values(std::string_view reference, std::size_t first, std::size_t most,
                           std::vector<DebugVariable>& variables, std::size_t& total) {
    variables.clear();
    total = 0;
    if (std::optional<Answer> problem = tooLong(reference)) return *problem;
    const std::array before{textRecord(reference)};
    return list(Command::Values, before, first, most, total, [&](std::span<const SharedRecord>& rest) {
        if (rest.size() < 2 || rest[0].kind != kSharedText) return false;
        variables.push_back({std::string(rest[0].text()), valueOf(rest[1])});
        rest = rest.subspan(2);
        return true;
    });
}

Answer DebugClient::value(std::string_view reference, DebugValue& value) {
    if (std::optional<Answer> problem = tooLong(reference)) return *problem;
    const std::array operands{textRecord(reference)};
    const Reply reply = ask(Command::Value, operands);
    if (reply.answer.done()) value = valueOf(reply.records[1]);
    return reply.answer;
}

Answer DebugClient::text(std::string_view reference, std::size_t most, std::string& text) {
    text.clear();
    if (std::optional<Answer> problem = tooLong(reference)) return *problem;
    most = std::min(most, kMostText);
    while (true) {
        const std::array operands{textRecord(reference),
                                  integerRecord(static_cast<std::int64_t>(text.size()))};
        const Reply reply = ask(Command::Text, operands);
        if (!reply.answer.done()) return reply.answer;
        const auto length = static_cast<std::size_t>(std::max(reply.records[0].integer(), 0));
        const std::size_t before = text.size();
        for (std::size_t i = 1; i < kRecords && text.size() < length && reply.records[i].kind == kSharedText;
             ++i)
            text += reply.records[i].text();
        if (text.size() >= std::min(length, most) || text.size() == before) break;
    }
    text.resize(std::min(text.size(), most));
    return {};
}

Answer DebugClient::assign(std::string_view reference, const DebugValue& value) {
    constexpr std::size_t kPiece = SharedRecord::kTextLength;
    if (std::optional<Answer> problem = tooLong(reference)) return *problem;
    std::vector<SharedRecord> operands{textRecord(reference), {}};
    operands[1].kind = value.kind;
    if (value.kind == kSharedInteger) operands[1].setInteger(value.integer);
    for (std::size_t i = 0; (value.kind == kSharedNumber && i < 1) || (value.kind == kSharedVector && i < 3);
         ++i)
        operands[1].setNumber(value.numbers[i], i);
    if (value.kind == kSharedText) {
        const std::string_view text = value.text;
        if (text.find('\0') != std::string_view::npos || text.size() > kPiece * (kRecords - 3))
            return {Answer::Outcome::Refused, "a text cannot be as long as this, nor hold a NUL character"};
        operands[1].setText(text);
        for (std::size_t at = kPiece; at < text.size(); at += kPiece)
            operands.push_back(textRecord(text.substr(at)));
        operands[1].next = static_cast<std::int32_t>(operands.size()) - 2;
    }
    return ask(Command::Assign, operands).answer;
}

}  // namespace kestrel::debug
