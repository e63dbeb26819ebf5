#include "engine/fast/code.h"

#include <algorithm>
#include <cstdio>
#include <unordered_map>

namespace kestrel::fast {

namespace {

/// Marks what is needed, from what has an effect back to what it takes.
class Liveness {
public:
    explicit Liveness(const Code& code) : code_(code), live_(code.registers.size(), false), writers_(code.registers.size()) {
        for (const auto& list : code.moves)
            for (const Move& move : list) writers_[index(move.to)].push_back(move.from);
        for (const Instruction& each : code.instructions) {
            if (hasEffect(each))
                for (const Reg reg : each.operands) need(reg);
        }
        while (!open_.empty()) {
            const Reg reg = open_.back();
            open_.pop_back();
            for (const Reg from : writers_[index(reg)]) need(from);
            if (const std::int32_t at = code.registers[index(reg)].definition; at >= 0)
                for (const Reg operand : code.instructions[static_cast<std::size_t>(at)].operands) need(operand);
        }
    }

    [[nodiscard]] static bool hasEffect(const Instruction& instruction) noexcept {
        const Sort sort = infoOf(instruction.op).sort;
        return sort == Sort::Control || sort == Sort::Write;
    }
    [[nodiscard]] bool operator()(Reg reg) const { return live_[index(reg)]; }

private:
    [[nodiscard]] static std::size_t index(Reg reg) noexcept { return static_cast<std::size_t>(reg); }

    void need(Reg reg) {
        if (reg < 0 || live_[index(reg)]) return;
        live_[index(reg)] = true;
        open_.push_back(reg);
    }

    const Code& code_;
    std::vector<bool> live_;
    std::vector<std::vector<Reg>> writers_;
    std::vector<Reg> open_;
};

}  // namespace

void removeDead(Code& code) {
    const Liveness live(code);
    for (auto& list : code.moves)
        std::erase_if(list, [&](const Move& move) { return !live(move.to); });
    std::erase_if(code.instructions, [&](const Instruction& each) {
        if (each.op == Op::Moves) return code.moves[static_cast<std::size_t>(each.imm.whole)].empty();
        return !Liveness::hasEffect(each) && !live(each.to);
    });
    for (std::size_t i = 0; i < code.instructions.size(); ++i)
        if (const Reg to = code.instructions[i].to; to >= 0)
            code.registers[static_cast<std::size_t>(to)].definition = static_cast<std::int32_t>(i);
}

std::vector<bool> fusedConditions(const Code& code) {
    std::vector<int> uses(code.registers.size(), 0);
    const auto count = [&](Reg reg) {
        if (reg >= 0) ++uses[static_cast<std::size_t>(reg)];
    };
    for (const Instruction& each : code.instructions)
        for (const Reg reg : each.operands) count(reg);
    for (const auto& list : code.moves)
        for (const Move& move : list) count(move.from);
    std::vector<bool> fused(code.instructions.size(), false);
    std::size_t straight = 0;  // since when nothing moves or joins
    for (std::size_t i = 0; i < code.instructions.size(); ++i) {
        const Instruction& each = code.instructions[i];
        if (each.op == Op::If || each.op == Op::Guard) {
            Reg reg = each.operands[0];
            // A Not in between turns the sense; it goes the same way.
            while (uses[static_cast<std::size_t>(reg)] == 1) {
                const std::int32_t at = code.registers[static_cast<std::size_t>(reg)].definition;
                if (at < static_cast<std::int32_t>(straight)) break;
                const Instruction& made = code.instructions[static_cast<std::size_t>(at)];
                const bool tests = made.op == Op::Less || made.op == Op::LessEqual || made.op == Op::Equal ||
                                   made.op == Op::LessWhole || made.op == Op::LessEqualWhole ||
                                   made.op == Op::EqualWhole || made.op == Op::IsSet || made.op == Op::Fits32;
                if (tests || made.op == Op::Not) fused[static_cast<std::size_t>(at)] = true;
                if (made.op != Op::Not) break;
                reg = made.operands[0];
            }
        }
        if (infoOf(each.op).sort == Sort::Control && each.op != Op::Guard) straight = i + 1;
    }
    return fused;
}

std::vector<Move> sequenced(const std::vector<Move>& moves, Reg spare) {
    std::vector<Move> open = moves;
    std::vector<Move> order;
    std::erase_if(open, [](const Move& move) { return move.to == move.from; });
    std::unordered_map<Reg, int> readers;
    for (const Move& move : open) ++readers[move.from];
    std::vector<Move> ready;
    std::unordered_map<Reg, Move> waiting;  // by what they write
    for (const Move& move : open) (readers[move.to] == 0 ? ready.push_back(move) : void(waiting.emplace(move.to, move)));
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
