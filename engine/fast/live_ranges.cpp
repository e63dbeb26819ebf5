#include "engine/fast/live_ranges.h"

#include "engine/fast/groups.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

namespace kestrel::fast {

namespace {

/// Up to here every register has a place of its own: then what allocates knows better which of them matter,
/// and code is up to a fifth faster where functions are called.
constexpr std::size_t kMostApart = 1000;

/// From the first instruction that has to do with a register to the last one. Where a loop uses what comes
/// from before it, to the loop's end: the next round wants it as well.
class Ranges {
public:
    Ranges(const Code& code, const std::vector<bool>& fused)
        : code_(code),
          fused_(fused),
          first_(code.registers.size(), kNever),
          last_(code.registers.size(), -1) {
        findLoops();
        for (at_ = 0; at_ < static_cast<std::int32_t>(code.instructions.size()); ++at_)
            visit(code.instructions[static_cast<std::size_t>(at_)]);
    }

    static constexpr std::int32_t kNever = std::numeric_limits<std::int32_t>::max();

    [[nodiscard]] std::int32_t first(std::size_t reg) const { return first_[reg]; }
    [[nodiscard]] std::int32_t last(std::size_t reg) const { return last_[reg]; }

private:
    struct Loop {
        std::int32_t begin;
        std::int32_t end;
    };

    void findLoops() {
        ends_.resize(code_.instructions.size());
        std::vector<std::size_t> open;
        for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
            if (code_.instructions[i].op == Op::Loop) open.push_back(i);
            if (code_.instructions[i].op != Op::EndLoop) continue;
            ends_[open.back()] = static_cast<std::int32_t>(i);
            open.pop_back();
        }
    }

    void visit(const Instruction& each) {
        if (each.op == Op::Loop) loops_.push_back({at_, ends_[static_cast<std::size_t>(at_)]});
        touchOperands(each);
        touch(each.to);
        if (each.op == Op::Moves) {
            for (const Move& move : code_.moves[static_cast<std::size_t>(each.imm.whole)]) {
                touch(move.from);
                touch(move.to);
            }
        }
        if (each.op == Op::EndLoop) loops_.pop_back();
    }

    void touchOperands(const Instruction& each) {
        for (const Reg reg : each.operands) {
            if (reg < 0) continue;
            touch(reg);
            const std::int32_t made = code_.registers[static_cast<std::size_t>(reg)].definition;
            if (made >= 0 && fused_[static_cast<std::size_t>(made)])
                touchOperands(code_.instructions[static_cast<std::size_t>(made)]);
        }
    }

    void touch(Reg reg) {
        if (reg < 0 || code_.registers[static_cast<std::size_t>(reg)].constant) return;
        std::int32_t& first = first_[static_cast<std::size_t>(reg)];
        std::int32_t& last = last_[static_cast<std::size_t>(reg)];
        first = std::min(first, at_);
        last = std::max(last, at_);
        const auto outermost =
            std::ranges::find_if(loops_, [first](const Loop& loop) { return loop.begin > first; });
        if (outermost != loops_.end()) last = std::max(last, outermost->end);
    }

    const Code& code_;
    const std::vector<bool>& fused_;
    std::vector<std::int32_t> first_;
    std::vector<std::int32_t> last_;
    std::vector<std::int32_t> ends_;  // of the loops that begin there
    std::vector<Loop> loops_;         // that are open, the outermost first
    std::int32_t at_ = 0;
};

}  // namespace

std::vector<std::int32_t> sharedPlaces(const Code& code, const std::vector<bool>& fused,
                                       const std::vector<bool>& masks) {
    std::vector<std::int32_t> places(code.registers.size(), -1);
    if (code.registers.size() <= kMostApart && !code.sharesPlaces) {
        std::iota(places.begin(), places.end(), 0);
        return places;
    }
    const Ranges ranges(code, fused);
    const std::size_t length = code.instructions.size();
    const auto registersBy = [&](const auto& place) {
        return Groups(length + 1, [&](const auto& visit) {
            for (std::size_t reg = 0; reg < code.registers.size(); ++reg)
                if (ranges.first(reg) != Ranges::kNever)
                    visit(static_cast<std::size_t>(place(reg)), static_cast<std::int32_t>(reg));
        });
    };
    const Groups begins = registersBy([&](std::size_t reg) { return ranges.first(reg); });
    // An instruction may write its result before it has read all: places are free behind it.
    const Groups ends = registersBy([&](std::size_t reg) { return ranges.last(reg) + 1; });
    std::array<std::vector<std::int32_t>, 3> unused;  // by class
    const auto unusedFor = [&](std::int32_t which) -> auto& {
        const auto reg = static_cast<std::size_t>(which);
        return unused[static_cast<std::size_t>(masks[reg] ? Class::Real : code.registers[reg].cls)];
    };
    std::int32_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        for (const std::int32_t reg : ends[i])
            unusedFor(reg).push_back(places[static_cast<std::size_t>(reg)]);
        for (const std::int32_t reg : begins[i]) {
            auto& left = unusedFor(reg);
            if (left.empty()) left.push_back(count++);
            places[static_cast<std::size_t>(reg)] = left.back();
            left.pop_back();
        }
    }
    return places;
}

}  // namespace kestrel::fast
