#include "engine/fast/blend.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>

namespace kestrel::fast {

namespace {

/// What both sides of a branch may do together, and how many registers may depend on it: beyond, a jump costs
/// less.
constexpr std::size_t kMostInstructions = 8;
constexpr std::size_t kMostChoices = 4;
/// Choices that wait for one another. A branch that is predicted ends such a chain, and in a long one there
/// are some.
constexpr int kLongestChain = 24;

/// Yields the same wherever it stands, and takes no longer than a few additions.
bool isCheap(const Instruction& each) noexcept {
    const Sort sort = infoOf(each.op).sort;
    if (sort != Sort::Pure && sort != Sort::Test) return false;
    return each.op != Op::Call1 && each.op != Op::Call2 && each.op != Op::Div && each.op != Op::Sqrt &&
           each.op != Op::Remainder;
}

class Blender {
public:
    explicit Blender(Code& code)
        : code_(code), source_(std::move(code.instructions)), uses_(code.registers.size()) {
        for (const Instruction& each : source_) {
            if (each.to >= 0) ++writers(each.to);
            if (each.op == Op::Div) useOf(each.operands[1]).divides = true;
        }
        for (const auto& list : code.moves)
            for (const Move& move : list) ++writers(move.to);
        for (std::size_t i = 0; i < code.registers.size(); ++i)
            if (code.registers[i].constant && code.registers[i].cls == Class::Real)
                constants_.emplace(std::bit_cast<std::uint64_t>(code.registers[i].number),
                                   static_cast<Reg>(i));
        code_.instructions.clear();
        code_.instructions.reserve(source_.size());
        findExits();
    }

    void run() {
        for (at_ = 0; at_ < source_.size(); ++at_) {
            const Instruction& each = source_[at_];
            follow(each);
            if (each.op == Op::EndIf && blendIf()) continue;
            append(each);
        }
    }

private:
    struct Use {
        int writers = 0;
        std::size_t written = 0;  ///< where last, in the source
        bool divides = false;
        int chain = 0;  ///< choices that it waits for, one after the other
    };
    /// A choice, and what it is one of.
    struct Choice {
        Reg condition;
        Reg holds;
        Reg fails;
    };
    struct OpenIf {
        std::size_t begin;                 ///< the If
        std::optional<std::size_t> other;  ///< the Else
    };
    /// A part of the code that not every way comes through: sums in it are not at hand behind it.
    using Scope = std::size_t;
    using Sum = std::pair<Reg, Reg>;  // a constant, and what it is added to

    [[nodiscard]] Use& useOf(Reg reg) { return uses_[static_cast<std::size_t>(reg)]; }
    [[nodiscard]] const Use& useOf(Reg reg) const { return uses_[static_cast<std::size_t>(reg)]; }
    [[nodiscard]] int& writers(Reg reg) { return useOf(reg).writers; }
    [[nodiscard]] const Register& registerOf(Reg reg) const {
        return code_.registers[static_cast<std::size_t>(reg)];
    }
    [[nodiscard]] std::vector<Instruction>& out() { return code_.instructions; }

    /// Blocks that something leaves before their end.
    void findExits() {
        left_.resize(static_cast<std::size_t>(code_.blocks), false);
        for (std::size_t i = 0; i < source_.size(); ++i) {
            if (source_[i].op != Op::Exit) continue;
            std::size_t end = i + 1;
            while (end < source_.size() && source_[end].op == Op::EndBlock &&
                   source_[end].imm.whole != source_[i].imm.whole)
                ++end;
            if (end == source_.size() || source_[end].op != Op::EndBlock)
                left_[static_cast<std::size_t>(source_[i].imm.whole)] = true;
        }
    }

    /// Keeps account of the structure that the instruction is about to begin or end.
    void follow(const Instruction& each) {
        const bool ofBlock = (each.op == Op::Block || each.op == Op::EndBlock) &&
                             left_[static_cast<std::size_t>(each.imm.whole)];
        if (each.op == Op::Else || each.op == Op::EndIf || each.op == Op::EndLoop ||
            (ofBlock && each.op == Op::EndBlock)) {
            forgetTo(scopes_.back());
            if (each.op != Op::Else) scopes_.pop_back();
        }
        if (each.op == Op::If || each.op == Op::Loop || (ofBlock && each.op == Op::Block))
            scopes_.push_back(log_.size());
        if (each.op == Op::If) ifs_.push_back({out().size(), std::nullopt});
        if (each.op == Op::Else) ifs_.back().other = out().size();
        if (each.op == Op::Loop) loop_ = at_;
        if (each.to >= 0) useOf(each.to).written = at_;
        if (each.op == Op::Moves)
            for (const Move& move : movesOf(each)) useOf(move.to).written = at_;
    }

    void append(const Instruction& each) {
        if (each.op == Op::EndIf) ifs_.pop_back();
        if (each.op == Op::Add && each.to >= 0 && writers(each.to) == 1) {
            if (const auto sum = sumOf(each); sum && chooseSum(*sum, each.to)) return;
        }
        out().push_back(each);
        note(each);
    }

    // ---- branches

    /// Instead of the branch that ends here.
    /// @return false where it must be one
    bool blendIf() {
        const OpenIf open = ifs_.back();
        if (!open.other || out().size() - open.begin > kMostInstructions + 4) return false;
        const std::span<const Instruction> all(out());
        const auto then = all.subspan(open.begin + 1, *open.other - open.begin - 1);
        const auto otherwise = all.subspan(*open.other + 1);
        const Instruction* const test = definition(all[open.begin].operands[0]);
        if (!isSimple(then) || !isSimple(otherwise) || test == nullptr || !isOfDoubles(*test)) return false;
        auto& held = movesOf(then.back());
        auto& failed = movesOf(otherwise.back());
        const auto choices = choicesOf(all[open.begin].operands[0], held, failed);
        if (!choices) return false;
        std::vector<Instruction> both(then.begin(), then.end() - 1);
        both.insert(both.end(), otherwise.begin(), otherwise.end() - 1);
        if (both.size() > kMostInstructions) return false;
        held.clear();
        failed.clear();
        out().resize(open.begin);
        ifs_.pop_back();
        for (const Instruction& each : both) {
            out().push_back(each);
            note(each);
        }
        for (const auto& [to, choice] : *choices) {
            --writers(to);
            choose(to, choice);
        }
        return true;
    }

    [[nodiscard]] std::vector<Move>& movesOf(const Instruction& moves) {
        return code_.moves[static_cast<std::size_t>(moves.imm.whole)];
    }

    /// Cheap operations, then moves. What is written in other places as well must not be when the other side
    /// is taken.
    [[nodiscard]] bool isSimple(std::span<const Instruction> side) {
        return !side.empty() && side.back().op == Op::Moves &&
               std::ranges::all_of(side.first(side.size() - 1), [&](const Instruction& each) {
                   return isCheap(each) && writers(each.to) == 1;
               });
    }

    /// Others mostly ask what is the same for many samples, and go the same way.
    [[nodiscard]] bool isOfDoubles(const Instruction& test) const {
        if (test.op == Op::Not) {
            const Instruction* const asked = definition(test.operands[0]);
            return asked != nullptr && isOfDoubles(*asked);
        }
        return test.op == Op::Less || test.op == Op::LessEqual;
    }

    /// One after the other does what the moves do at once.
    /// @return none where it would not, or where they do not write the same
    [[nodiscard]] std::optional<std::vector<std::pair<Reg, Choice>>> choicesOf(
        Reg condition, const std::vector<Move>& held, const std::vector<Move>& failed) const {
        if (held.size() != failed.size() || held.size() > kMostChoices) return std::nullopt;
        std::vector<std::pair<Reg, Choice>> choices;
        for (const Move& move : held) {
            const auto other = std::ranges::find(failed, move.to, &Move::to);
            if (other == failed.end() || registerOf(move.to).cls != Class::Real) return std::nullopt;
            // Mostly kept from zero, which hardly ever happens: then the processor need not wait for it.
            if (useOf(move.to).divides) return std::nullopt;
            for (const auto& [to, choice] : choices)
                if (to == move.from || to == other->from) return std::nullopt;
            const Choice choice = straight({condition, move.from, other->from});
            if (chainOf(choice) > kLongestChain) return std::nullopt;
            choices.emplace_back(move.to, choice);
        }
        return choices;
    }

    [[nodiscard]] int chainOf(const Choice& choice) const {
        return 1 + longestOf({choice.condition, choice.holds, choice.fails});
    }
    [[nodiscard]] int longestOf(const std::array<Reg, 3>& operands) const {
        int longest = 0;
        for (const Reg reg : operands)
            if (reg >= 0) longest = std::max(longest, useOf(reg).chain);
        return longest;
    }

    /// @return the same without a Not
    [[nodiscard]] Choice straight(Choice choice) const {
        for (const Instruction* made = definition(choice.condition); made != nullptr && made->op == Op::Not;
             made = definition(choice.condition))
            choice = {made->operands[0], choice.fails, choice.holds};
        return choice;
    }

    void choose(Reg to, const Choice& choice) {
        const auto& [condition, holds, fails] = choice;
        useOf(to).chain = chainOf(choice);
        if (writers(to) == 1) choices_.emplace(to, choice);
        out().push_back({.op = Op::Choose, .operands = {condition, holds, fails}, .to = to});
        const Instruction* const test = definition(condition);
        if (test == nullptr || test->op != Op::Less) return;
        const auto& [a, b, none] = test->operands;
        if (!isAsSince(condition, a) || !isAsSince(condition, b)) return;
        // a < b ? a : b is so of NaNs, and of zeros, too: the operands' order matters.
        if (holds == a && fails == b)
            out().back() = {.op = Op::Smaller, .operands = {b, a, kNoReg}, .to = to};
        if (holds == b && fails == a) out().back() = {.op = Op::Larger, .operands = {a, b, kNoReg}, .to = to};
    }

    /// @return null where several instructions write it, or a Moves list
    [[nodiscard]] const Instruction* definition(Reg reg) const {
        const std::int32_t at = registerOf(reg).definition;
        return at < 0 ? nullptr : &source_[static_cast<std::size_t>(at)];
    }

    /// Nothing has written the register since the condition was made.
    [[nodiscard]] bool isAsSince(Reg condition, Reg reg) const {
        const auto made = static_cast<std::size_t>(registerOf(condition).definition);
        return loop_ <= made && useOf(reg).written <= made;
    }

    // ---- sums

    [[nodiscard]] std::optional<Sum> sumOf(const Instruction& each) const {
        const auto& [a, b, none] = each.operands;
        if (registerOf(a).constant) return Sum{a, b};
        if (registerOf(b).constant) return Sum{b, a};
        return std::nullopt;
    }
    void note(const Instruction& each) {
        if (each.to >= 0) useOf(each.to).chain = longestOf(each.operands);
        if (const auto made = chosenSums_.find(each.to); made != chosenSums_.end())
            return note(made->second, each.to);
        if (each.op != Op::Add || writers(each.to) != 1) return;
        if (const auto sum = sumOf(each); sum && writers(sum->second) == 1) note(*sum, each.to);
    }
    void note(const Sum& sum, Reg to) {
        if (sums_.emplace(sum, to).second) log_.push_back(sum);
    }
    void forgetTo(Scope scope) {
        for (; log_.size() > scope; log_.pop_back()) sums_.erase(log_.back());
    }

    /// Where the sum is that of a constant and a choice: the next comparison need not wait for it then.
    /// @return false where it has to be made
    bool chooseSum(const Sum& sum, Reg to) {
        const auto choice = choices_.find(sum.second);
        if (choice == choices_.end()) return false;
        const auto holds = sumAtHand({sum.first, choice->second.holds});
        const auto fails = sumAtHand({sum.first, choice->second.fails});
        if (!holds || !fails) return false;
        choose(to, {choice->second.condition, *holds, *fails});
        chosenSums_.emplace(to, sum);
        note(sum, to);
        return true;
    }

    [[nodiscard]] std::optional<Reg> sumAtHand(const Sum& sum) {
        if (const auto found = sums_.find(sum); found != sums_.end()) return found->second;
        const auto& [constant, reg] = sum;
        if (!registerOf(reg).constant) return std::nullopt;
        return constantOf(registerOf(constant).number + registerOf(reg).number);
    }

    [[nodiscard]] Reg constantOf(double number) {
        const auto [place, added] = constants_.try_emplace(std::bit_cast<std::uint64_t>(number), kNoReg);
        if (!added) return place->second;
        code_.registers.push_back({.cls = Class::Real, .constant = true, .number = number});
        uses_.emplace_back();
        place->second = static_cast<Reg>(code_.registers.size()) - 1;
        return place->second;
    }

    Code& code_;
    std::vector<Instruction> source_;
    std::size_t at_ = 0;      // in the source
    std::vector<Use> uses_;   // by register
    std::size_t loop_ = 0;    // where the last one began
    std::vector<bool> left_;  // by block
    std::vector<OpenIf> ifs_;
    std::unordered_map<Reg, Choice> choices_;
    std::unordered_map<std::uint64_t, Reg> constants_;  // by their bits
    std::unordered_map<Reg, Sum> chosenSums_;
    std::map<Sum, Reg> sums_;  // at hand
    std::vector<Sum> log_;     // of these, as they came
    std::vector<Scope> scopes_;
};

}  // namespace

void blend(Code& code) {
    if (std::ranges::find(code.instructions, Op::If, &Instruction::op) == code.instructions.end()) return;
    Blender(code).run();
    removeDead(code);
}

}  // namespace kestrel::fast
