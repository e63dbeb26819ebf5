#include "engine/fast/superinstructions.h"

#include <algorithm>
#include <span>
#include <utility>

namespace kestrel::fast {

namespace {

/// A superinstruction, and the instructions that it does beside its own, by their indexes.
struct Found {
    Superinstruction step;
    std::array<std::int32_t, 4> taken{};
    std::size_t count = 0;

    [[nodiscard]] std::span<const std::int32_t> all() const { return std::span(taken).first(count); }
};

/// Compares an expression with code, from the instruction that yields it to what it takes. Copies are cheap:
/// who tries something keeps one.
class Matcher {
public:
    Matcher(const Code& code, const StraightWalk& walk) : code_(&code), walk_(&walk) {}

    [[nodiscard]] bool bind(int which, Reg reg) {
        Reg& operand = found.step.in[static_cast<std::size_t>(which)];
        if (operand == kNoReg) operand = reg;
        return operand == reg;
    }
    /// @return the instruction that makes the register for nobody else; null where there is none
    [[nodiscard]] const Instruction* take(Reg reg) { return takeAt(walk_->onlyFor(reg)); }
    [[nodiscard]] const Instruction* takeElement(Reg reg) {
        const std::int32_t at = walk_->onlyFor(reg);
        const Instruction* load = walk_->unchangedSince(at) ? takeAt(at) : nullptr;
        if (load == nullptr || load->op != Op::LoadElement) return nullptr;
        found.step.imm = load->imm;
        return load;
    }
    /// The same whoever else wants what it makes, where nothing else is done in between.
    [[nodiscard]] const Instruction* takeFromBefore(std::size_t now, Reg reg,
                                                    const std::vector<bool>& fused) {
        const std::int32_t at = code_->registers[static_cast<std::size_t>(reg)].definition;
        for (auto i = static_cast<std::int32_t>(now) - 1; i > at; --i)
            if (!fused[static_cast<std::size_t>(i)]) return nullptr;
        return takeAt(at);
    }

    Found found;

private:
    [[nodiscard]] const Instruction* takeAt(std::int32_t at) {
        if (at < 0 || found.count == found.taken.size()) return nullptr;
        found.taken[found.count++] = at;
        return &code_->instructions[static_cast<std::size_t>(at)];
    }

    const Code* code_;
    const StraightWalk* walk_;
};

/// What could be done in one step, whoever else may want a part of it.
class Candidates {
public:
    Candidates(const Code& code, const std::vector<bool>& fused) : code_(code), fused_(fused), walk_(code) {}

    void find() {
        for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
            const std::size_t before = all.size();
            if (!fused_[i]) findAt(i);
            which.push_back(all.size() > before ? static_cast<std::int32_t>(before) : -1);
            walk_.pass(i);
        }
    }

    std::vector<Found> all;
    std::vector<std::int32_t> which;  ///< by instruction

private:
    void findAt(std::size_t at) {
        using namespace expressions;  // NOLINT: of the table
        const Instruction& each = code_.instructions[at];
        if (each.op == Op::Guard) return findGuard(at);
#define X(name, ...)                              \
    if (each.op == __VA_ARGS__::kOp) {            \
        Matcher matcher(code_, walk_);            \
        if (__VA_ARGS__::is(matcher, each)) {     \
            matcher.found.step.kind = Kind::name; \
            matcher.found.step.to = each.to;      \
            all.push_back(matcher.found);         \
            return;                               \
        }                                         \
    }
        KESTREL_SUPERINSTRUCTIONS(X)
#undef X
    }

    void findGuard(std::size_t at) {
        const Instruction& guard = code_.instructions[at];
        const Decision decided = decisionOf(code_, fused_, guard.operands[0], false);
        if (decided.test == nullptr || decided.truth) return;
        Matcher matcher(code_, walk_);
        Superinstruction& step = matcher.found.step;
        const auto [a, b, none] = decided.test->operands;
        if (decided.test->op == Op::Less) {
            const Instruction* made = matcher.take(a);
            if (made == nullptr || made->op != Op::Absolute) return;
            step = {.kind = Kind::LeaveUnlessNearer, .to = static_cast<Reg>(guard.imm.whole)};
            step.in = {made->operands[0], b, kNoReg, kNoReg};
        } else if (decided.test->op == Op::Fits32) {
            const Instruction* made = matcher.takeFromBefore(at, a, fused_);
            if (made == nullptr || made->op != Op::ToWhole) return;
            step = {.kind = Kind::ToWhole32, .to = a, .imm = guard.imm};
            step.in[0] = made->operands[0];
        } else {
            return;
        }
        all.push_back(matcher.found);
    }

    const Code& code_;
    const std::vector<bool>& fused_;
    StraightWalk walk_;
};

}  // namespace

Superinstructions superinstructionsOf(const Code& code, const std::vector<bool>& fused) {
    Candidates candidates(code, fused);
    candidates.find();
    Superinstructions result{
        std::vector<bool>(code.instructions.size(), false), std::move(candidates.which), {}};
    const auto isTaken = [&](std::int32_t at) { return result.taken[static_cast<std::size_t>(at)]; };
    // From the end: who wants an instruction stands behind it, and takes it over or not before it could take
    // others itself.
    for (std::size_t i = code.instructions.size(); i-- > 0;) {
        std::int32_t& which = result.which[i];
        if (which < 0) continue;
        const Found& found = candidates.all[static_cast<std::size_t>(which)];
        which = -1;
        if (result.taken[i] || std::ranges::any_of(found.all(), isTaken)) continue;
        which = static_cast<std::int32_t>(result.all.size());
        result.all.push_back(found.step);
        for (const std::int32_t each : found.all()) result.taken[static_cast<std::size_t>(each)] = true;
    }
    return result;
}

}  // namespace kestrel::fast
