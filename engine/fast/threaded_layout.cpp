// Structured code as a row of steps.
#include "engine/fast/superinstructions.h"
#include "engine/fast/threaded.h"
#include "engine/fast/threaded_steps.h"

#include <utility>
#include <vector>

namespace kestrel::fast {

namespace {

/// Lays out structured code in a row.
class Layout {
public:
    Layout(const Code& code, std::vector<Step>& steps, std::vector<Word>& registers)
        : code_(code),
          steps_(steps),
          fused_(fusedConditions(code)),
          super_(superinstructionsOf(code, fused_)),
          blocks_(static_cast<std::size_t>(code.blocks)) {
        for (const Register& reg : code.registers) registers.push_back(reg.constant ? wordOf(reg) : Word{});
        spare_ = static_cast<Reg>(registers.size());
        registers.emplace_back();
        undo_ = static_cast<Reg>(registers.size());
        registers.push_back(Word::of(reinterpret_cast<std::int64_t>(code.undo)));  // NOLINT: as undoOf()
    }

    void lay() {
        for (; !reading_.ended(); reading_.advance()) {
            const std::size_t at = reading_.at();
            if (fused_[at] || super_.taken[at]) continue;
            if (const Superinstruction* found = super_.at(at))
                lay(*found);
            else
                lay(reading_.here());
        }
        for (const auto& [from, to] : jumps_) steps_[from].target = steps_.data() + to;
    }

private:
    struct OpenIf {
        std::size_t test;
        std::size_t end = 0;
        bool hasEnd = false;
    };

    std::size_t add(Kind kind, Reg to = kNoReg, Reg a = kNoReg, Reg b = kNoReg, Reg c = kNoReg) {
        Step step;
        step.handler = handlers()[static_cast<std::size_t>(kind)];
        step.to = to;
        step.a = a;
        step.b = b;
        step.c = c;
        steps_.push_back(step);
        return steps_.size() - 1;
    }

    void jumpTo(std::size_t from, std::size_t to) { jumps_.emplace_back(from, to); }

    enum Sense { JumpIf, JumpUnless, LeaveIf, LeaveUnless };

    /// @param sense  for the condition to hold, or not to
    /// @param exit  of those that leave
    std::size_t addTest(Reg condition, Sense sense, Reg exit = kNoReg) {
        const bool asked = sense == JumpIf || sense == LeaveIf;
        const Decision decided = decisionOf(code_, fused_, condition, asked);
        const int step = decided.truth == asked ? sense : sense ^ 1;
        const auto kindOf = [step](Kind first) { return static_cast<Kind>(static_cast<int>(first) + step); };
        if (decided.test == nullptr) return add(kindOf(Kind::JumpIfTrue), exit, decided.condition);
        const auto& [a, b, c] = decided.test->operands;
        switch (decided.test->op) {
#define KESTREL_FAST_TEST(name, a_, b_) \
    case Op::name:                      \
        return add(kindOf(Kind::JumpIf##name), exit, a, b >= 0 ? b : a);
#include "engine/fast/ops.def"
            default:
                return 0;
        }
    }

    void lay(const Superinstruction& found) {
        const auto& [a, b, c, d] = found.in;
        Step& step = steps_[add(found.kind, found.to, a, b, c)];
        step.imm = found.imm;
        if (d >= 0) step.imm.whole = d;
    }

    /// @return false where no other value is loaded right behind
    bool layTwoLoads(const Instruction& first) {
        if (!reading_.follows(1, Op::LoadRecordReal) || super_.taken[reading_.at() + 1]) return false;
        const Instruction& second = *reading_.following(1);
        const std::size_t at =
            add(Kind::LoadRecordTwo, first.to, kNoReg, second.to, static_cast<Reg>(second.imm.whole));
        steps_[at].imm = first.imm;
        reading_.advance();
        return true;
    }

    /// @return false where no other two are stored right behind, side by side
    bool layThreeStores(const Instruction& first) {
        for (const std::size_t i : {1u, 2u}) {
            const auto place = first.imm.whole + static_cast<std::int64_t>(i * sizeof(double));
            if (!reading_.follows(i, Op::StoreRecordReal) || reading_.following(i)->imm.whole != place)
                return false;
        }
        const auto valueOf = [&](std::size_t i) { return reading_.following(i)->operands[0]; };
        const std::size_t at = add(Kind::StoreRecordThree, kNoReg, first.operands[0], valueOf(1), valueOf(2));
        steps_[at].imm = first.imm;
        reading_.advance(2);
        return true;
    }

    void copy(const std::vector<Move>& moves) {
        for (std::size_t i = 0; i < moves.size(); i += 2) {
            const Move& first = moves[i];
            if (i + 1 == moves.size()) {
                add(Kind::Copy, first.to, first.from);
            } else if (const Move& second = moves[i + 1]; second.from == first.to) {
                add(Kind::CopyTwo, first.to, first.from, second.to, first.from);
            } else {
                add(Kind::CopyTwo, first.to, first.from, second.to, second.from);
            }
        }
    }

    void lay(const Instruction& each) {
        const auto& [a, b, c] = each.operands;
        if (each.op == Op::LoadRecordReal && layTwoLoads(each)) return;
        if (each.op == Op::StoreRecordReal && layThreeStores(each)) return;
        switch (each.op) {
#define KESTREL_FAST_COMPUTED(name, result, a_, b_, sort) \
    case Op::name:                                        \
        add(Kind::name, each.to, a, b >= 0 ? b : a);      \
        return;
#include "engine/fast/ops.def"
#define X(name)                                                   \
    case Op::name:                                                \
        steps_[add(Kind::name, each.to, a, b, c)].imm = each.imm; \
        return;
            X(Call1)
            X(Call2)
            X(Ask)
            X(Choose)
            X(LoadReal)
            X(LoadWord)
            X(LoadRecordReal)
            X(LoadRecordWhole)
            X(LoadElement)
            X(LoadElementKind)
            X(StoreReal)
            X(StoreWord)
            X(StoreRecordReal)
            X(Done)
#undef X
#define X(name)                                                      \
    case Op::name:                                                   \
        steps_[add(Kind::name, kNoReg, a, b, undo_)].imm = each.imm; \
        return;
            X(StoreElement)
            X(StoreElementKind)
#undef X
            case Op::Leave:
                add(Kind::Leave, static_cast<Reg>(each.imm.whole));
                return;
            case Op::Guard:
                addTest(a, LeaveUnless, static_cast<Reg>(each.imm.whole));
                return;
            case Op::Moves:
                copy(sequenced(code_.moves[static_cast<std::size_t>(each.imm.whole)], spare_));
                return;
            case Op::If:
                return layIf(a);
            case Op::Else: {
                OpenIf& open = ifs_.back();
                if (!reading_.follows(1, Op::EndIf)) {
                    open.end = add(Kind::Jump);
                    open.hasEnd = true;
                }
                jumpTo(open.test, steps_.size());
                open.test = kNone;
                return;
            }
            case Op::EndIf: {
                const OpenIf& open = ifs_.back();
                if (open.test != kNone) jumpTo(open.test, steps_.size());
                if (open.hasEnd) jumpTo(open.end, steps_.size());
                ifs_.pop_back();
                return;
            }
            case Op::Block:
                return;
            case Op::EndBlock:
                for (const std::size_t from : blocks_[static_cast<std::size_t>(each.imm.whole)])
                    jumpTo(from, steps_.size());
                return;
            case Op::Exit:
                if (!reading_.endsHere(each.imm.whole)) exitFrom(add(Kind::Jump), each.imm.whole);
                return;
            case Op::Loop:
                loops_.push_back(steps_.size());
                return;
            case Op::Poll:
                if (reading_.follows(1, Op::EndLoop) ||
                    (reading_.follows(1, Op::Moves) && reading_.follows(2, Op::EndLoop)))
                    poll_ = each.imm;  // in the jump that ends the loop
                else
                    steps_[add(Kind::Poll)].imm = each.imm;
                return;
            case Op::EndLoop:
                layLoopEnd();
                return;
        }
    }

    void layLoopEnd() {
        const std::size_t top = loops_.back();
        loops_.pop_back();
        if (poll_.address == nullptr) return jumpTo(add(Kind::Jump), top);
        const std::size_t jump = add(Kind::PollJump);
        steps_[jump].to =
            static_cast<Reg>(static_cast<std::ptrdiff_t>(top) - static_cast<std::ptrdiff_t>(jump));
        steps_[jump].imm = poll_;
        poll_ = {};
    }

    /// A branch that does nothing but leave a block, or the code, is a jump.
    void layIf(Reg condition) {
        if (reading_.follows(1, Op::Exit) && reading_.follows(2, Op::EndIf)) {
            exitFrom(addTest(condition, JumpIf), reading_.following(1)->imm.whole);
            reading_.advance(2);
            return;
        }
        ifs_.push_back({addTest(condition, JumpUnless)});
    }

    void exitFrom(std::size_t step, std::int64_t block) {
        blocks_[static_cast<std::size_t>(block)].push_back(step);
    }

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    const Code& code_;
    std::vector<Step>& steps_;
    std::vector<bool> fused_;
    Superinstructions super_;
    Immediate poll_{};
    std::vector<std::vector<std::size_t>> blocks_;  // jumps to the end of each
    std::vector<OpenIf> ifs_;
    std::vector<std::size_t> loops_;
    std::vector<std::pair<std::size_t, std::size_t>> jumps_;
    Reading reading_{code_};
    Reg spare_ = kNoReg;
    Reg undo_ = kNoReg;
};

}  // namespace

ThreadedCode::ThreadedCode(const Code& code) {
    Layout(code, steps_, registers_).lay();
}

}  // namespace kestrel::fast
