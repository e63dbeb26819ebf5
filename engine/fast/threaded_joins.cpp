#include "engine/fast/threaded_joins.h"

#include <array>
#include <span>
#include <utility>

namespace kestrel::fast {

namespace {

/// A join, and the instructions that it stands for beside its own.
struct Match {
    Join join;
    std::array<std::int32_t, 4> taken{};
    std::size_t count = 0;
};

/// Compares an expression with code, from the instruction that yields it to what it takes. Copies are cheap:
/// who tries something keeps one.
class Matcher {
public:
    Matcher(const Code& code, const StraightWalk& walk) : code_(&code), walk_(&walk) {}

    [[nodiscard]] bool bind(int which, Reg reg) {
        Reg& operand = match.join.in[static_cast<std::size_t>(which)];
        if (operand == kNoReg) operand = reg;
        return operand == reg;
    }
    /// @return the instruction that makes the register for nobody else; null where there is none
    [[nodiscard]] const Instruction* take(Reg reg) {
        const std::int32_t at = walk_->onlyFor(reg);
        if (at < 0 || match.count == match.taken.size()) return nullptr;
        match.taken[match.count++] = at;
        return &code_->instructions[static_cast<std::size_t>(at)];
    }
    [[nodiscard]] const Instruction* takeElement(Reg reg) {
        const Instruction* load = take(reg);
        if (load == nullptr || load->op != Op::LoadElement ||
            !walk_->unchangedSince(match.taken[match.count - 1]))
            return nullptr;
        match.join.imm = load->imm;
        return load;
    }
    /// The same whoever else wants what it makes, where nothing else is done in between.
    [[nodiscard]] const Instruction* takeFromBefore(std::size_t now, Reg reg,
                                                    const std::vector<bool>& fused) {
        const std::int32_t at = code_->registers[static_cast<std::size_t>(reg)].definition;
        for (auto i = static_cast<std::int32_t>(now) - 1; i > at; --i)
            if (!fused[static_cast<std::size_t>(i)]) return nullptr;
        if (at < 0) return nullptr;
        match.taken[match.count++] = at;
        return &code_->instructions[static_cast<std::size_t>(at)];
    }

    Match match;

private:
    const Code* code_;
    const StraightWalk* walk_;
};

/// What could be done in one step, whoever else may want a part of it.
class Candidates {
public:
    Candidates(const Code& code, const std::vector<bool>& fused) : code_(code), fused_(fused), walk_(code) {}

    void find() {
        for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
            const std::size_t before = matches.size();
            if (!fused_[i]) match(i);
            which.push_back(matches.size() > before ? static_cast<std::int32_t>(before) : -1);
            walk_.pass(i);
        }
    }

    std::vector<Match> matches;
    std::vector<std::int32_t> which;  ///< by instruction

private:
    void match(std::size_t at) {
        using namespace joined;  // NOLINT: of the table
        const Instruction& each = code_.instructions[at];
        if (each.op == Op::Guard) return matchGuard(at);
#define X(name, ...)                              \
    if (each.op == __VA_ARGS__::kOp) {            \
        Matcher matcher(code_, walk_);            \
        if (__VA_ARGS__::is(matcher, each)) {     \
            matcher.match.join.kind = Kind::name; \
            matcher.match.join.to = each.to;      \
            matches.push_back(matcher.match);     \
            return;                               \
        }                                         \
    }
        KESTREL_JOINED(X)
#undef X
    }

    void matchGuard(std::size_t at) {
        const Instruction& guard = code_.instructions[at];
        const Decision decided = decisionOf(code_, fused_, guard.operands[0], false);
        if (decided.test == nullptr || decided.truth) return;
        Matcher matcher(code_, walk_);
        Join& join = matcher.match.join;
        const auto [a, b, none] = decided.test->operands;
        if (decided.test->op == Op::Less) {
            const Instruction* made = matcher.take(a);
            if (made == nullptr || made->op != Op::Absolute) return;
            join = {.kind = Kind::LeaveUnlessNearer, .to = static_cast<Reg>(guard.imm.whole)};
            join.in = {made->operands[0], b, kNoReg, kNoReg};
        } else if (decided.test->op == Op::Fits32) {
            const Instruction* made = matcher.takeFromBefore(at, a, fused_);
            if (made == nullptr || made->op != Op::ToWhole) return;
            join = {.kind = Kind::ToWhole32, .to = a, .imm = guard.imm};
            join.in[0] = made->operands[0];
        } else {
            return;
        }
        matches.push_back(matcher.match);
    }

    const Code& code_;
    const std::vector<bool>& fused_;
    StraightWalk walk_;
};

}  // namespace

Joins joinsOf(const Code& code, const std::vector<bool>& fused) {
    Candidates found(code, fused);
    found.find();
    Joins result{std::vector<bool>(code.instructions.size(), false), std::move(found.which), {}};
    // From the end, so that what takes most comes first.
    for (std::size_t i = code.instructions.size(); i-- > 0;) {
        std::int32_t& which = result.which[i];
        if (result.taken[i]) which = -1;
        if (which < 0) continue;
        const Match& match = found.matches[static_cast<std::size_t>(which)];
        which = static_cast<std::int32_t>(result.joins.size());
        result.joins.push_back(match.join);
        for (const std::int32_t each : std::span(match.taken).first(match.count))
            result.taken[static_cast<std::size_t>(each)] = true;
    }
    return result;
}

}  // namespace kestrel::fast
