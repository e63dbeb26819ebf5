#include "ipc/debug_commands.h"

#include "engine/context/script_queues.h"
#include "engine/operations/arrays.h"
#include "engine/operations/slots.h"
#include "engine/operations/storage.h"
#include "engine/values/array_record.h"
#include "ipc/value_record.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace kestrel::debug {

namespace {

const CommandRow* rowOf(std::string_view name) noexcept {
    const auto* row = std::ranges::find(kCommands, name, &CommandRow::name);
    return row != std::end(kCommands) ? row : nullptr;
}

/// The reply to a command that lists things, from one entry on, as far as there is room.
class ReplyList {
public:
    ReplyList(std::span<SharedRecord> reply, std::size_t total, std::int32_t first)
        : reply_(reply), total_(total), next_(first > 0 ? static_cast<std::size_t>(first) : 0) {
        reply_[0].kind = kSharedInteger;
        reply_[0].setInteger(static_cast<std::int32_t>(total));
    }
    /// The next entry that is wanted, if as many records are left.
    [[nodiscard]] std::optional<std::size_t> next(std::size_t records) {
        if (next_ >= total_ || used_ + records > reply_.size()) return std::nullopt;
        return next_++;
    }
    SharedRecord& add() { return reply_[used_++]; }
    void addText(std::string_view text) {
        SharedRecord& record = add();
        record.kind = kSharedText;
        record.setText(text);
    }
    void addPlace(const LinePlace& place) {
        for (const std::int32_t number : {place.file, place.line}) {
            SharedRecord& record = add();
            record.kind = kSharedInteger;
            record.setInteger(number);
        }
    }

private:
    std::span<SharedRecord> reply_;
    std::size_t total_;
    std::size_t next_;
    std::size_t used_ = 1;
};

struct CallInProgress {
    std::string_view function;
    SourcePos pos;
};

/// Innermost first. Outside functions there is one without a name.
std::vector<CallInProgress> callsInProgress(const EngineContext& ctx) {
    const RunState& run = ctx.run;
    std::vector<CallInProgress> found;
    const CodeNode* at = run.node;
    std::size_t frame = run.frames.size();
    const auto pos = [&] { return at != nullptr ? at->pos : SourcePos{}; };
    for (std::size_t i = run.calls.size(); i-- > 0;) {
        found.push_back({run.calls[i].function->name, pos()});
        at = nullptr;
        if (frame < 2) break;
        const Frame& caller = run.frames[--frame - 1];
        if (caller.top < 0) continue;
        const ControlEntry& entry = caller.entries[static_cast<std::size_t>(caller.top)];
        if (entry.kind == OP_CALL) at = entry.node;
    }
    if (at != nullptr) found.push_back({"", pos()});
    return found;
}

/// One batch.
class Obeying {
public:
    Obeying(DebugState& state, std::span<const SharedRecord> commands, std::span<SharedRecord> reply)
        : state_(state), ctx_(state.ctx), commands_(commands), reply_(reply) {}

    bool all() {
        for (std::size_t i = 0; i < commands_.size() && !ended_; ++i) {
            if (commands_[i].state != kCommandState) continue;
            const CommandRow* row = rowOf(commands_[i].text());
            // Every command but ours ends a free run, even one that nobody knows.
            if ((row == nullptr || row->original) && state_.countdown == DebugState::kFreeRun)
                state_.countdown = 0;
            if (row == nullptr) continue;
            operands_ = commands_.subspan(i + 1);
            if (!row->original) state_.attached = true;
            succeed();
            carryOut(row->command);
            i += row->operands;
        }
        return resumes_;
    }

private:
    /// An operand; one that would stand behind the block's end is empty.
    [[nodiscard]] const SharedRecord& operand(std::size_t index) const noexcept {
        static constexpr SharedRecord kEmpty{};
        return index < operands_.size() ? operands_[index] : kEmpty;
    }
    [[nodiscard]] std::int32_t number(std::size_t index) const noexcept { return operand(index).integer(); }

    void succeed() { reply_[0].state = kSucceeded; }
    void fail(std::string_view reason) {
        reply_[0].state = kFailed;
        reply_[0].kind = kSharedText;
        reply_[0].setText(reason);
    }
    void unknown(std::string_view reference) { fail(std::string(kUnknownReference).append(reference)); }
    void resume() { resumes_ = true; }
    void put(std::size_t record, std::int32_t value) {
        reply_[record].kind = kSharedInteger;
        reply_[record].setInteger(value);
    }
    void put(std::size_t record, std::string_view text) {
        reply_[record].kind = kSharedText;
        reply_[record].setText(text);
    }

    void carryOut(Command command) {
        switch (command) {
            case Command::Change:
                return change();
            case Command::Report:
                return report();
            case Command::Step:
                return step();
            case Command::Status:
                return status();
            case Command::Break:
                return pauseHere(true);
            case Command::Terminate:
                return terminate();
            case Command::Run:
                return run();
            case Command::Pause:
                return pauseHere(false);
            case Command::End:
                return end();
            case Command::Detach:
                return detach();
            case Command::StopAtLine:
                return stopAtLine();
            case Command::StopAtFunction:
                return stopAtFunction();
            case Command::StopAtPixel:
                return stopAtPixel();
            case Command::StopAtErrors:
                state_.stops.atErrors = number(0) != 0;
                return;
            case Command::Clear:
                return clear();
            case Command::Files:
                return files();
            case Command::Functions:
                return functions();
            case Command::Frames:
                return frames();
            case Command::Values:
                return values();
            case Command::Value:
                return value();
            case Command::Text:
                return text();
            case Command::Assign:
                return assign();
        }
    }

    // ---- what every debugger knows

    void change() {
        const std::string_view reference = operand(0).text();
        Variable* variable = findVariable(*ctx_.program, reference);
        if (variable == nullptr) return unknown(reference);
        if (refusesChanges()) return;
        const FreshVariable fresh(ctx_, *variable);
        const SharedRecord& value = operand(1);
        const std::string text(value.text().substr(0, SharedRecord::kTextLength));
        setValue(ctx_, {variable, nullptr}, value, text.c_str());
    }

    void report() {
        const std::string_view reference = operand(0).text();
        Variable* variable = findVariable(*ctx_.program, reference);
        if (variable == nullptr) return unknown(reference);
        const FreshVariable fresh(ctx_, *variable);
        putValue(reply_[0], valueAt({variable, nullptr}));
    }

    void step() {
        const std::int32_t count = number(0);
        state_.stops.stopStepping();
        state_.countdown = count < 1 ? DebugState::kFreeRun : count - 1;
        resume();
    }

    void status() {
        const RunState& run = ctx_.run;
        put(1, ctx_.scriptFile);
        put(2, run.currentLine);
        put(3, run.calls.empty() ? "" : run.calls.back().function->name);
        put(4, state_.pending);
        put(5, run.activationEnded ? 1 : 0);
        state_.pending.clear();
    }

    /// A batch that has let the script go on, and then breaks, lets it go nowhere. BREAK replies like every
    /// other command, so that no debugger waits for a reply that never comes.
    void pauseHere(bool endsBatch) {
        state_.countdown = 0;
        state_.stops.stopStepping();
        if (!ctx_.run.stop) resumes_ = false;
        ended_ = endsBatch;
    }

    void terminate() {
        ctx_.run.stop = true;
        resume();
    }

    // ---- what ours adds

    void run() {
        state_.stops.step(ctx_, static_cast<RunMode>(std::clamp(number(0), 0, 3)), number(1));
        state_.countdown = DebugState::kFreeRun;
        resume();
    }

    void end() {
        state_.ending = true;
        state_.stops.removeAll();
        ctx_.run.stop = true;
        ctx_.run.abort = true;
        resume();
    }

    void detach() {
        state_.stops.removeAll();
        state_.stops.stopStepping();
        state_.attached = false;
        state_.takesMessages = false;
        state_.countdown = DebugState::kFreeRun;
        resume();
    }

    void stopAtLine() {
        const LinePlace wanted{number(0), std::max(number(1), 1)};
        const std::optional<LinePlace> place = lineWithCode(*ctx_.program, wanted);
        if (!place) return fail("No code at or after line " + std::to_string(wanted.line));
        addStop(*place);
    }

    void stopAtFunction() {
        const std::string_view name = operand(0).text();
        const FunctionRecord* function = ctx_.program->findFunction(name);
        if (function == nullptr) return fail(std::string("No function: ").append(name));
        const std::optional<LinePlace> place = firstLineOf(*function);
        if (!place) return fail(std::string("No code in function: ").append(name));
        addStop(*place);
    }

    void addStop(const LinePlace& place) {
        put(0, state_.stops.addLine(place));
        put(1, place.file);
        put(2, place.line);
    }

    void stopAtPixel() {
        const std::int32_t stop = state_.stops.addPixel({number(0), number(1)}, number(2));
        if (stop == 0) return fail("Too many pixels");
        put(0, stop);
    }

    void clear() {
        if (number(0) == 0)
            state_.stops.removeAll();
        else if (!state_.stops.remove(number(0)))
            fail("No stop: " + std::to_string(number(0)));
    }

    void files() {
        const SourceFiles& all = ctx_.program->files;
        ReplyList list(reply_, all.size(), number(0));
        std::size_t next = static_cast<std::size_t>(std::max(number(0), 0));
        while (next < all.size() && list.next(piecesOf(all[next].path))) addPieces(list, all[next++].path);
    }

    static std::size_t piecesOf(std::string_view text) {
        return std::clamp<std::size_t>(
            (text.size() + SharedRecord::kTextLength - 1) / SharedRecord::kTextLength, 1, kRecords - 1);
    }

    static void addPieces(ReplyList& list, std::string_view text) {
        const std::size_t pieces = piecesOf(text);
        for (std::size_t i = 0; i < pieces; ++i) {
            SharedRecord& record = list.add();
            record.kind = kSharedText;
            record.next = static_cast<std::int32_t>(pieces - i);
            record.setText(text.substr(std::min(i * SharedRecord::kTextLength, text.size())));
        }
    }

    void functions() {
        std::vector<const FunctionRecord*> all;
        for (const FunctionRecord* f = ctx_.program->functions.head; f != nullptr; f = f->next)
            all.push_back(f);
        ReplyList list(reply_, all.size(), number(0));
        while (const std::optional<std::size_t> index = list.next(3)) {
            list.addText(all[*index]->name);
            list.addPlace(firstLineOf(*all[*index]).value_or(LinePlace{}));
        }
    }

    void frames() {
        const std::vector<CallInProgress> calls = callsInProgress(ctx_);
        ReplyList list(reply_, calls.size(), number(0));
        while (const std::optional<std::size_t> index = list.next(3)) {
            list.addText(calls[*index].function);
            list.addPlace({calls[*index].pos.file, calls[*index].pos.line});
        }
    }

    void values() {
        const std::string_view reference = operand(0).text();
        std::optional<FreshVariable> base;
        if (Variable* variable = findBase(*ctx_.program, reference)) base.emplace(ctx_, *variable);
        if (!state_.names) state_.names.emplace(*ctx_.program);
        const std::optional<ValueList> all = ValueList::of(*ctx_.program, *state_.names, reference);
        if (!all) return unknown(reference);
        ReplyList list(reply_, all->size(), number(1));
        while (const std::optional<std::size_t> index = list.next(2)) {
            std::optional<FreshVariable> fresh;
            if (Variable* variable = all->variable(*index)) fresh.emplace(ctx_, *variable);
            list.addText(all->nameOf(*index));
            putShape(ctx_, list.add(), all->valueOf(*index));
        }
    }

    void value() {
        const std::string_view reference = operand(0).text();
        Variable* base = findBase(*ctx_.program, reference);
        if (base == nullptr) return unknown(reference);
        const FreshVariable fresh(ctx_, *base);  // an array in a queue has its elements from then on
        const std::optional<ValuePlace> place = findValue(*ctx_.program, reference);
        if (!place) return unknown(reference);
        putShape(ctx_, reply_[1], valueAt(*place));
    }

    void text() {
        const std::string_view reference = operand(0).text();
        Variable* base = findBase(*ctx_.program, reference);
        if (base == nullptr) return unknown(reference);
        const FreshVariable fresh(ctx_, *base);  // an array in a queue has its elements from then on
        const std::optional<ValuePlace> place = findValue(*ctx_.program, reference);
        if (!place) return unknown(reference);
        const ValueCell value = valueAt(*place);
        if (!value.isText() || value.text == nullptr) return fail("Not a text");
        const std::string_view all = value.text;
        put(0, static_cast<std::int32_t>(all.size()));
        const std::size_t offset =
            std::min<std::size_t>(static_cast<std::size_t>(std::max(number(1), 0)), all.size());
        const std::string_view rest = all.substr(offset);
        for (std::size_t i = 0; i + 1 < kRecords && i * SharedRecord::kTextLength < rest.size(); ++i)
            put(i + 1, rest.substr(i * SharedRecord::kTextLength));
    }

    void assign() {
        const std::string_view reference = operand(0).text();
        Variable* base = findBase(*ctx_.program, reference);
        if (base == nullptr) return unknown(reference);
        const FreshVariable fresh(ctx_, *base);
        const std::optional<ValuePlace> place = findValue(*ctx_.program, reference);
        if (!place) return unknown(reference);
        if ((base->flags & (kVarInlineConst | kVarPredefined)) != 0)
            return fail("The value of a constant is part of the code");
        if (refusesChanges()) return;
        const bool inQueue = base->queue != 0 && base->heldArray() != nullptr;
        if (inQueue && place->part == nullptr)
            return fail("Elements of this array have values, not the array");
        const SharedRecord& value = operand(1);
        std::string text(value.text().substr(0, SharedRecord::kTextLength));
        const auto more = static_cast<std::size_t>(std::clamp<std::int32_t>(value.next, 0, kRecords));
        for (std::size_t i = 0; value.kind == kSharedText && i < more; ++i)
            text += operand(2 + i).text().substr(0, SharedRecord::kTextLength);
        if (!setValue(ctx_, *place, value, text.c_str())) return fail("A value of no known kind");
        if (inQueue) writeElement(*base, *place->part);
    }

    /// FreshVariable gives no elements back.
    void writeElement(const Variable& variable, const ValueCell& element) {
        const auto position = &element - variable.heldArray()->elements.data();
        if (ctx_.queues != nullptr) ctx_.queues->write(variable.queue, position + 1, load(element));
    }

    /// While an instruction reports an error it may still look at what it works with.
    bool refusesChanges() {
        if (state_.reporting) fail("Values cannot be changed in the middle of an instruction");
        return state_.reporting;
    }

    DebugState& state_;
    EngineContext& ctx_;
    std::span<const SharedRecord> commands_;
    std::span<SharedRecord> reply_;
    std::span<const SharedRecord> operands_;
    bool ended_ = false;
    bool resumes_ = false;
};

}  // namespace

bool obey(DebugState& state, std::span<const SharedRecord> commands, std::span<SharedRecord> reply) {
    return Obeying(state, commands, reply).all();
}

}  // namespace kestrel::debug
