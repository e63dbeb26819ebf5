#include "engine/fast/code.h"

#include "engine/fast/groups.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>

namespace kestrel::fast {

namespace {

/// Marks what is needed, from what has an effect back to what it takes.
class Liveness {
public:
    explicit Liveness(const Code& code)
        : live_(code.registers.size(), false),
          takes_(code.registers.size(), [&code](const auto& visit) { visitSources(code, visit); }) {
        for (const Instruction& each : code.instructions)
            if (hasEffect(each))
                for (const Reg reg : each.operands) need(reg);
        while (!open_.empty()) {
            const Reg reg = open_.back();
            open_.pop_back();
            for (const Reg from : takes_[index(reg)]) need(from);
        }
    }

    [[nodiscard]] static bool hasEffect(const Instruction& instruction) noexcept {
        const Sort sort = infoOf(instruction.op).sort;
        return sort == Sort::Change || sort == Sort::Outside || sort == Sort::Control || sort == Sort::Write;
    }
    [[nodiscard]] bool operator()(Reg reg) const { return live_[index(reg)]; }

private:
    [[nodiscard]] static std::size_t index(Reg reg) noexcept { return static_cast<std::size_t>(reg); }

    template <class Visit>
    static void visitSources(const Code& code, const Visit& visit) {
        for (const auto& list : code.moves)
            for (const Move& move : list) visit(index(move.to), move.from);
        for (const Instruction& each : code.instructions)
            for (const Reg reg : each.operands)
                if (each.to >= 0 && reg >= 0) visit(index(each.to), reg);
    }

    void need(Reg reg) {
        if (reg < 0 || live_[index(reg)]) return;
        live_[index(reg)] = true;
        open_.push_back(reg);
    }

    std::vector<bool> live_;
    Groups takes_;  // by register, those that it is made of
    std::vector<Reg> open_;
};

}  // namespace

bool commutes(Op op) noexcept {
    switch (op) {
        case Op::Add:
        case Op::Mul:
        case Op::Equal:
        case Op::AddWhole:
        case Op::MulWhole:
        case Op::And:
        case Op::Or:
        case Op::Xor:
        case Op::EqualWhole:
        case Op::Both:
        case Op::Either:
            return true;
        default:
            return false;
    }
}

void removeDead(Code& code) {
    const Liveness live(code);
    for (auto& list : code.moves) std::erase_if(list, [&](const Move& move) { return !live(move.to); });
    std::erase_if(code.instructions, [&](const Instruction& each) {
        if (each.op == Op::Moves) return code.moves[static_cast<std::size_t>(each.imm.whole)].empty();
        return !Liveness::hasEffect(each) && !live(each.to);
    });
    // Of a register that is written in several places no instruction is the definition.
    std::vector<int> writers(code.registers.size(), 0);
    for (const auto& list : code.moves)
        for (const Move& move : list) writers[static_cast<std::size_t>(move.to)] = 2;
    for (const Instruction& each : code.instructions)
        if (each.to >= 0) ++writers[static_cast<std::size_t>(each.to)];
    for (std::size_t i = 0; i < code.instructions.size(); ++i) {
        if (const Reg to = code.instructions[i].to; to >= 0)
            code.registers[static_cast<std::size_t>(to)].definition =
                writers[static_cast<std::size_t>(to)] == 1 ? static_cast<std::int32_t>(i) : -1;
    }
}

void failGuard(Code& code, int which) {
    std::vector<Instruction*> guards;
    for (Instruction& each : code.instructions)
        if (each.op == Op::Guard || each.op == Op::Poll) guards.push_back(&each);
    if (guards.empty()) return;
    Instruction& failing = *guards[static_cast<std::size_t>(which) % guards.size()];
    const Immediate exit = failing.op == Op::Guard ? failing.imm : Immediate{.whole = -1};
    failing = {.op = Op::Leave, .imm = exit};
    removeDead(code);
}

namespace {

std::vector<int> countUses(const Code& code) {
    std::vector<int> uses(code.registers.size(), 0);
    const auto count = [&](Reg reg) {
        if (reg >= 0) ++uses[static_cast<std::size_t>(reg)];
    };
    for (const Instruction& each : code.instructions)
        for (const Reg reg : each.operands) count(reg);
    for (const auto& list : code.moves)
        for (const Move& move : list) count(move.from);
    return uses;
}

}  // namespace

StraightWalk::StraightWalk(const Code& code)
    : code_(code), uses_(countUses(code)), written_(code.registers.size(), -1) {}

void StraightWalk::pass(std::size_t at) {
    const Instruction& each = code_.instructions[at];
    if (each.to >= 0) written_[static_cast<std::size_t>(each.to)] = static_cast<std::int32_t>(at);
    const Sort sort = infoOf(each.op).sort;
    if (sort == Sort::Change || sort == Sort::Outside || sort == Sort::Write)
        changed_ = static_cast<std::int32_t>(at);
    const bool straight = sort != Sort::Control || each.op == Op::Guard || each.op == Op::Poll;
    if (!straight) begin_ = static_cast<std::int32_t>(at) + 1;
}

std::int32_t StraightWalk::onlyFor(Reg reg) const {
    if (reg < 0 || uses_[static_cast<std::size_t>(reg)] != 1) return -1;
    const std::int32_t at = code_.registers[static_cast<std::size_t>(reg)].definition;
    if (at < begin_) return -1;
    for (const Reg operand : code_.instructions[static_cast<std::size_t>(at)].operands)
        if (operand >= 0 && written_[static_cast<std::size_t>(operand)] > at) return -1;
    return at;
}

namespace {

bool reads(const Instruction& each, Reg reg) noexcept {
    return std::ranges::find(each.operands, reg) != each.operands.end();
}

}  // namespace

void coalesce(Code& code) {
    if (code.moves.empty()) return;
    StraightWalk walk(code);
    for (std::size_t i = 0; i < code.instructions.size(); ++i) {
        const Instruction& each = code.instructions[i];
        if (each.op == Op::Moves) {
            auto& list = code.moves[static_cast<std::size_t>(each.imm.whole)];
            std::erase_if(list, [&](const Move& move) {
                const std::int32_t at = walk.onlyFor(move.from);
                if (at < 0) return false;
                Instruction& made = code.instructions[static_cast<std::size_t>(at)];
                // An operation on whole numbers may write its result before it has read all.
                if (code.registers[static_cast<std::size_t>(move.to)].cls != Class::Real &&
                    reads(made, move.to))
                    return false;
                for (std::size_t k = static_cast<std::size_t>(at) + 1; k < i; ++k)
                    if (reads(code.instructions[k], move.to) || code.instructions[k].to == move.to)
                        return false;
                for (const Move& other : list)
                    if (&other != &move && (other.from == move.to || other.to == move.to)) return false;
                made.to = move.to;
                return true;
            });
        }
        walk.pass(i);
    }
    removeDead(code);
}

std::vector<bool> fusedConditions(const Code& code) {
    std::vector<bool> fused(code.instructions.size(), false);
    StraightWalk walk(code);
    for (std::size_t i = 0; i < code.instructions.size(); ++i) {
        const Instruction& each = code.instructions[i];
        if (each.op == Op::If || each.op == Op::Guard) {
            // A Not in between turns the sense; it goes the same way.
            for (Reg reg = each.operands[0];;) {
                const std::int32_t at = walk.onlyFor(reg);
                if (at < 0) break;
                const Instruction& made = code.instructions[static_cast<std::size_t>(at)];
                if (infoOf(made.op).sort == Sort::Test || made.op == Op::Not)
                    fused[static_cast<std::size_t>(at)] = true;
                if (made.op != Op::Not) break;
                reg = made.operands[0];
            }
        }
        walk.pass(i);
    }
    return fused;
}

std::vector<bool> maskConditions(const Code& code) {
    std::vector<bool> masks(code.registers.size(), false);
    for (const Instruction& each : code.instructions)
        if (each.op == Op::Less || each.op == Op::LessEqual)
            masks[static_cast<std::size_t>(each.to)] =
                code.registers[static_cast<std::size_t>(each.to)].definition >= 0;
    const auto isAsked = [&](Reg reg) {
        if (reg >= 0) masks[static_cast<std::size_t>(reg)] = false;
    };
    for (const Instruction& each : code.instructions)
        for (std::size_t i = each.op == Op::Choose ? 1 : 0; i < each.operands.size(); ++i)
            isAsked(each.operands[i]);
    for (const auto& list : code.moves)
        for (const Move& move : list) isAsked(move.from);
    return masks;
}

std::vector<bool> foldedLoads(const Code& code) {
    std::vector<bool> loads(code.instructions.size(), false);
    StraightWalk walk(code);
    const auto loadOf = [&](Reg reg) {
        const std::int32_t at = walk.onlyFor(reg);
        if (at < 0 || !walk.unchangedSince(at)) return -1;
        const Op op = code.instructions[static_cast<std::size_t>(at)].op;
        return op == Op::LoadElement || op == Op::LoadRecordReal || op == Op::LoadReal ? at : -1;
    };
    for (std::size_t i = 0; i < code.instructions.size(); ++i) {
        const Instruction& each = code.instructions[i];
        const auto& [a, b, none] = each.operands;
        const bool takes =
            each.op == Op::Add || each.op == Op::Sub || each.op == Op::Mul || each.op == Op::Div;
        // A constant lies in memory already.
        const auto isAtHand = [&](Reg reg) {
            return !code.registers[static_cast<std::size_t>(reg)].constant;
        };
        std::int32_t at = takes && isAtHand(a) ? loadOf(b) : -1;
        if (at < 0 && takes && commutes(each.op) && isAtHand(b)) at = loadOf(a);
        if (at >= 0) loads[static_cast<std::size_t>(at)] = true;
        walk.pass(i);
    }
    return loads;
}

Decision decisionOf(const Code& code, const std::vector<bool>& fused, Reg condition, bool truth) {
    for (;;) {
        const std::int32_t made = code.registers[static_cast<std::size_t>(condition)].definition;
        if (made < 0 || !fused[static_cast<std::size_t>(made)]) return {nullptr, condition, truth};
        const Instruction& test = code.instructions[static_cast<std::size_t>(made)];
        if (test.op != Op::Not) return {&test, condition, truth};
        truth = !truth;
        condition = test.operands[0];
    }
}

const Instruction* Reading::following(std::size_t count) const noexcept {
    return at_ + count < code_.instructions.size() ? &code_.instructions[at_ + count] : nullptr;
}

bool Reading::follows(std::size_t count, Op op) const noexcept {
    const Instruction* next = following(count);
    return next != nullptr && next->op == op;
}

bool Reading::endsHere(std::int64_t block) const noexcept {
    for (std::size_t i = 1; follows(i, Op::EndBlock); ++i)
        if (following(i)->imm.whole == block) return true;
    return false;
}

bool Reading::leftBefore() const noexcept {
    if (at_ == 0) return false;
    const Op op = code_.instructions[at_ - 1].op;
    return op == Op::Exit || op == Op::Leave;
}

std::vector<Move> sequenced(const std::vector<Move>& moves, Reg spare) {
    std::vector<Move> open = moves;
    std::vector<Move> order;
    std::erase_if(open, [](const Move& move) { return move.to == move.from; });
    std::unordered_map<Reg, int> readers;
    for (const Move& move : open) ++readers[move.from];
    std::vector<Move> ready;
    std::unordered_map<Reg, Move> waiting;  // by what they write
    for (const Move& move : open)
        (readers[move.to] == 0 ? ready.push_back(move) : void(waiting.emplace(move.to, move)));
    while (!ready.empty() || !waiting.empty()) {
        if (ready.empty()) {  // a circle: one of its values waits elsewhere
            Move& first = waiting.begin()->second;
            order.push_back({spare, first.from});
            if (--readers[first.from] == 0) {
                const auto freed = waiting.find(first.from);
                if (freed != waiting.end()) ready.push_back(freed->second);
            }
            first.from = spare;
            ++readers[spare];
            if (!ready.empty()) waiting.erase(ready.back().to);
            continue;
        }
        const Move move = ready.back();
        ready.pop_back();
        order.push_back(move);
        if (--readers[move.from] != 0) continue;
        const auto freed = waiting.find(move.from);
        if (freed == waiting.end()) continue;
        ready.push_back(freed->second);
        waiting.erase(freed);
    }
    return order;
}

std::string describe(const Code& code) {
    std::string text;
    const auto name = [&](Reg reg) {
        if (reg < 0) return std::string("-");
        const Register& info = code.registers[static_cast<std::size_t>(reg)];
        if (!info.constant) return (info.cls == Class::Real ? "r" : "w") + std::to_string(reg);
        char number[32];
        std::snprintf(number, sizeof number, "%.17g", info.number);
        return info.cls == Class::Real ? std::string(number) : std::to_string(info.whole);
    };
    for (const Instruction& each : code.instructions) {
        if (each.to >= 0) text += name(each.to) + " = ";
        text += infoOf(each.op).name;
        for (const Reg reg : each.operands)
            if (reg >= 0) text += ' ' + name(reg);
        if (each.op == Op::Moves) {
            for (const Move& move : code.moves[static_cast<std::size_t>(each.imm.whole)])
                text += ' ' + name(move.to) + "<-" + name(move.from);
        } else if (each.op == Op::Block || each.op == Op::EndBlock || each.op == Op::Exit ||
                   each.op == Op::LoadRecordReal || each.op == Op::StoreRecordReal) {
            text += " #" + std::to_string(each.imm.whole);
        }
        text += '\n';
    }
    return text;
}

}  // namespace kestrel::fast
