#include "engine/fast/live_ranges.h"

#include <algorithm>

namespace kestrel::fast {

namespace {

class Walk {
public:
    Walk(const Code& code, const std::vector<bool>& later) : code_(code), later_(later) {
        ranges_.of.resize(code.registers.size());
        ranges_.callsTo.reserve(code.instructions.size());
        findLoops();
        double calls = 0.0;
        for (at_ = 0; at_ < static_cast<std::int32_t>(code.instructions.size()); ++at_) {
            const Instruction& each = code.instructions[static_cast<std::size_t>(at_)];
            visit(each);
            if (callsOut(each.op)) calls += often();
            ranges_.callsTo.push_back(calls);
        }
    }

    [[nodiscard]] LiveRanges take() { return std::move(ranges_); }

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
            if (made >= 0 && later_[static_cast<std::size_t>(made)])
                touchOperands(code_.instructions[static_cast<std::size_t>(made)]);
        }
    }

    void touch(Reg reg) {
        if (reg < 0) return;
        const Register& info = code_.registers[static_cast<std::size_t>(reg)];
        if (info.constant || (info.definition >= 0 && later_[static_cast<std::size_t>(info.definition)]))
            return;
        LiveRange& range = ranges_.of[static_cast<std::size_t>(reg)];
        range.first = std::min(range.first, at_);
        range.last = std::max(range.last, at_);
        range.uses += often();
        const auto outermost = std::ranges::find_if(
            loops_, [first = range.first](const Loop& loop) { return loop.begin > first; });
        if (outermost != loops_.end()) range.last = std::max(range.last, outermost->end);
    }

    [[nodiscard]] double often() const noexcept {
        constexpr double kBy[] = {1.0, 1e1, 1e2, 1e3, 1e4};
        return kBy[std::min(loops_.size(), std::size(kBy) - 1)];
    }

    const Code& code_;
    const std::vector<bool>& later_;
    LiveRanges ranges_;
    std::vector<std::int32_t> ends_;  // of the loops that begin there
    std::vector<Loop> loops_;         // that are open, the outermost first
    std::int32_t at_ = 0;
};

}  // namespace

LiveRanges liveRanges(const Code& code, const std::vector<bool>& later) {
    return Walk(code, later).take();
}

}  // namespace kestrel::fast
