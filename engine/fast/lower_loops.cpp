// Lowering: loops. Short ones whose test is known are laid out round by round. In others a register stands
// for each value that changes, about which something is assumed, proved, and assumed anew where that fails.
#include "engine/fast/lowering.h"
#include "engine/program/node_modes.h"

#include <algorithm>

namespace kestrel::fast {

namespace {

constexpr int kMostRounds = 8;     ///< of a loop that is laid out
constexpr int kMostPeeled = 2;     ///< rounds in front of a loop, until kinds stay
constexpr int kMostAttempts = 12;  ///< each learns something

const CodeNode* find(const CodeNode* node, std::int32_t op, const CodeNode& top) noexcept {
    while (node != nullptr && (node->op != op || node->link != &top)) node = node->next;
    return node;
}

bool contains(const CodeNode* begin, const CodeNode* end, std::int32_t op) noexcept {
    for (const CodeNode* node = begin; node != end; node = node->next)
        if (node->op == op) return true;
    return false;
}

}  // namespace

Lowering::LoopShape Lowering::shapeOf(const Node& top) const {
    const bool isWhile = top.op == OP_LOOPTOP;
    const Node* test = find(top.next, isWhile ? OP_WHILE : OP_FORTEST, top);
    if (test == nullptr) refuse("a loop without a test");
    const Node* close = test->operand.target;
    if (!opIs(close, isWhile ? OP_ENDWHILE : OP_ENDFOR)) refuse("a loop without an end");
    if (isWhile) return {&top, test, nullptr, nullptr, test->next, close};
    const Node* body = test->to.body;
    if (!opIs(body, OP_FORBODY)) refuse("a loop without a body");
    return {&top, test, test->next, body, body->next, close};
}

/// @return what stands behind it
const CodeNode* Lowering::loop(const Node& top) {
    const LoopShape shape = shapeOf(top);
    if (activations_.back().controls.size() >= kControlLimit)
        refuse("calls and loops that are nested too deep");
    if (!unrolled(shape)) repeated(shape, knowledge_.loops[{path_, &top}]);
    return shape.close->next;
}

/// What the loop's test says; the statement's cells are gone then.
Reg Lowering::testOf(const LoopShape& shape) {
    state_.stack.resize(activations_.back().base);
    walk(shape.top->next, shape.test);
    if (!state_.reached) refuse("a test that leaves");
    const Reg condition = truth(popValue());
    state_.stack.resize(activations_.back().base);
    return condition;
}

void Lowering::round(const LoopShape& shape, std::size_t breaks) {
    const bool continues = contains(shape.body, shape.close, OP_CONTINUE);
    const std::size_t block = continues ? openBlock() : kNowhere;
    activations_.back().controls.push_back({breaks, block});
    walk(shape.body, shape.close);
    activations_.back().controls.pop_back();
    state_.stack.resize(std::min(state_.stack.size(), activations_.back().base));
    if (continues) closeBlock(block);
    if (state_.reached && shape.step != nullptr) walk(shape.step, shape.stepEnd);
    state_.stack.resize(std::min(state_.stack.size(), activations_.back().base));
}

/// Lays out a loop whose test is known before each round. @return false where it is not, or too often true
bool Lowering::unrolled(const LoopShape& shape) {
    const Checkpoint start = checkpoint();
    const std::size_t breaks = openBlock();
    for (int i = 0; i <= kMostRounds; ++i) {
        const auto known = builder_.knownTruth(testOf(shape));
        if (!known || (*known && i == kMostRounds)) break;
        if (*known) round(shape, breaks);
        if (!*known || !state_.reached) {
            closeBlock(breaks);
            return true;
        }
    }
    goBack(start);
    return false;
}

void Lowering::leaveUnless(Reg condition, std::size_t block) {
    if (const auto known = builder_.knownTruth(condition)) {
        if (!*known) leaveTo(block);
        return;
    }
    leaveIf(builder_.negation(condition), block);
}

void Lowering::repeated(const LoopShape& shape, LoopKnowledge& known) {
    const Checkpoint start = checkpoint();
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const std::size_t breaks = openBlock();
        try {
            for (int i = 0; i < known.peeled && state_.reached; ++i) {
                leaveUnless(testOf(shape), breaks);
                if (state_.reached) round(shape, breaks);
            }
            if (!state_.reached || tryLoop(shape, known, breaks)) return closeBlock(breaks);
        } catch (const Unlowerable&) {
            if (known.weak) throw;
            known.weak = true;  // it may have been found under what does not hold
        }
        goBack(start);
    }
    refuse("a loop of which too much changes");
}

bool Lowering::tryLoop(const LoopShape& shape, LoopKnowledge& known, std::size_t breaks) {
    std::unordered_set<std::size_t> changing = known.carried;
    std::unordered_set<const FunctionRecord*> seen;
    if (collectChanges(shape.top, shape.close, seen, changing)) forgetElements();
    std::vector<std::size_t> slots(changing.begin(), changing.end());
    std::ranges::sort(slots);
    state_.stack.resize(activations_.back().base);
    std::vector<Carried> carried;
    // Loads of what changes stand before the loop, in front of the moves.
    for (const std::size_t index : slots) {
        const Cell held = slot(index);
        if (held.isNumeric() && held.number == kAtEntry) static_cast<void>(part(index, 0));
        for (int which = 1; which < kParts; ++which)
            if (held.type == Vector) static_cast<void>(part(index, which));
        if (held.type == kRandomKind) static_cast<void>(randomState());
    }
    const std::size_t first = builder_.movesHere();
    for (const std::size_t index : slots) carry(index, known, first, carried);
    const State top = state_;
    bool holds = true;
    builder_.control(Op::Loop);
    {
        const Builder::Scope scope(builder_);
        leaveUnless(testOf(shape), breaks);
        if (state_.reached) round(shape, breaks);
        if (state_.reached) {
            poll();
            const std::size_t back = builder_.movesHere();
            holds = closes(top, carried, back, known);
        }
    }
    builder_.control(Op::EndLoop);
    state_.reached = false;
    return holds;
}

/// Leaves when the run is to end.
void Lowering::poll() {
    if (ctx_.services.watch == nullptr) return;
    Immediate imm;
    imm.address = const_cast<platform::SharedFlag*>(&ctx_.services.watch->requested);  // NOLINT: it is read
    builder_.control(Op::Poll, kNoReg, imm);
}

// ---- what changes

/// Slots that the instructions of a range may write, and those that they reach.
bool Lowering::collectChanges(const Node* begin, const Node* end,
                              std::unordered_set<const FunctionRecord*>& seen,
                              std::unordered_set<std::size_t>& slots) {
    const auto& infos = knowledge_.slots;
    bool elements = false;
    const auto add = [&](const auto& map, const auto& key) {
        if (const auto found = map.find(key); found != map.end()) slots.insert(found->second);
    };
    for (const Node* node = begin; node != end && node != nullptr; node = node->next) {
        elements = elements || (node->op == OP_INDEX && node->mode == kReference);
        if ((node->op == OP_VAR || node->op == OP_INDEX) && node->mode == kReference)
            add(infos.ofVariable, node->operand.variable);
        if ((node->op == OP_VAR || node->op == OP_INDEX) && node->mode == kMemberReference) {
            add(infos.ofVariable, node->to.object);
            // Of several elements any may be meant; a member that does not change costs nothing in the end.
            if (slot(slotOf(*node->to.object)).type == ShaderObj) {
                const MemberRow& row = memberRow(ShaderObj, node->name);
                for (int i = 1; i <= row.elements; ++i) add(infos.ofMember, row.placeOf(i));
            }
        }
        if ((node->op == OP_NEG || node->op == OP_NOT) && node->mode == kStatementForm)
            add(infos.ofVariable, node->operand.variable);
        if (node->op == OP_CALL && node->mode == kMethodCall) add(infos.ofVariable, node->to.object);
        if (node->op != OP_CALL || node->mode == kMethodCall) continue;
        if (node->reach == Reach::Builtin && node->to.builtin->handler.form.draws())
            add(infos.ofMember, std::int64_t{-1});
        if (node->reach == Reach::Function && seen.insert(node->to.function).second)
            elements =
                collectChanges(node->to.function->entry, node->to.function->end, seen, slots) || elements;
    }
    return elements;
}

/// Puts registers in place of the parts of a slot that changes.
void Lowering::carry(std::size_t index, LoopKnowledge& known, std::size_t moves,
                     std::vector<Carried>& carried) {
    Cell& held = slot(index);
    if (held.type == kNoValue) return;
    const auto carryKind = [&](Reg from) {
        Facts facts = Facts::between(0.0, 4294967295.0, true);
        held.kind = builder_.merged(Class::Whole, facts);
        builder_.move(moves, held.kind, from);
        carried.push_back({index, -1, held.kind});
    };
    if (held.type == kRandomKind || held.type == kMixedKind) {
        carryKind(held.kind);
        if (held.type == kMixedKind) held.numeric = held.numeric && !known.weak;
    } else if (known.mixed.contains(index) && isInlineKind(held.type)) {
        held.numeric = held.isNumeric();
        carryKind(builder_.whole(held.type));
        held.type = kMixedKind;
    }
    for (int which = 0; which < kParts; ++which) {
        Reg& reg = partOf(held, which);
        if (reg == kNoReg || reg == kAtEntry) continue;
        const Facts now = builder_.facts(reg);
        // Most whole numbers that change in a loop count up.
        Facts guess;
        if (held.type == Integer && now.whole) guess = {now.low, std::max(now.high, k32Limit), now.nan, true};
        const auto [place, added] = known.facts.try_emplace({index, which}, guess);
        if (known.weak) place->second = {};
        if (!place->second.covers(now)) place->second = widen(place->second, now);
        const Reg to = builder_.merged(Class::Real, place->second);
        builder_.move(moves, to, reg);
        reg = to;
        carried.push_back({index, which, to});
    }
}

/// Whether what was assumed at the loop's top holds at its end.
bool Lowering::closes(const State& top, const std::vector<Carried>& carried, std::size_t moves,
                      LoopKnowledge& known) {
    bool holds = true;
    NeedsPreload missing;
    for (std::size_t i = 0; i < state_.slots.size(); ++i) {
        const Cell& before = i < top.slots.size() ? top.slots[i] : entries_[i];
        Cell& now = state_.slots[i];
        if (before == now || before.type == kNoValue) continue;
        const bool carries =
            std::ranges::any_of(carried, [i](const Carried& each) { return each.slot == i; });
        if (!carries) {
            holds = !known.carried.insert(i).second;
            if (holds) refuse("a value that changes in a loop");
            continue;
        }
        if (before.object != now.object) refuse("an array or object that changes in a loop");
        if (before.type != now.type) {
            if (before.type == kMixedKind && isInlineKind(now.type)) {
                now.kind = builder_.whole(now.type);
                if (before.numeric && !now.isNumeric())
                    refuse("a number that becomes something else in a loop");
            } else if (known.peeled < kMostPeeled) {
                ++known.peeled;
                known.facts.clear();
                holds = false;
            } else {
                if (!known.mixed.insert(i).second) refuse("a value whose kind changes in a loop");
                holds = false;
            }
        } else if (before.type == kMixedKind && before.numeric && !now.numeric) {
            refuse("a number that becomes something else in a loop");
        }
        for (int which = 0; which < kParts; ++which) {
            Cell old = before;
            const Reg from = partOf(old, which);
            const Reg to = partOf(now, which);
            if (from == to || from == kNoReg) continue;
            if (from == kAtEntry) missing.slots.push_back(i);
            if (to == kNoReg) refuse("a value that not every way gives");
        }
    }
    if (!missing.slots.empty()) throw std::move(missing);
    if (!holds) return false;
    for (const Carried& each : carried) {
        Cell& now = state_.slots[each.slot];
        const Reg reg = each.which < 0 ? now.kind : partOf(now, each.which);
        if (reg == each.reg) continue;
        if (reg < 0) refuse("a value that not every way gives");
        if (each.which >= 0) {
            Facts& assumed = known.facts[{each.slot, each.which}];
            if (!assumed.covers(builder_.facts(reg))) {
                assumed = widen(assumed, builder_.facts(reg));
                holds = false;
            }
        }
        builder_.move(moves, each.reg, reg);
    }
    return holds;
}

}  // namespace kestrel::fast
