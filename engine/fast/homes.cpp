#include "engine/fast/homes.h"

#include "engine/fast/groups.h"

#include <array>
#include <span>

namespace kestrel::fast {

namespace {

/// An instruction that has read this operand before it writes its result, so that both may lie in one place.
/// How machine code does it must agree: an operation of whole numbers mostly moves its left operand first.
bool takesPlaceOf(const Code& code, const Instruction& each, std::size_t operand) {
    const auto isConstant = [&](std::size_t which) {
        const Reg reg = each.operands[which];
        return reg >= 0 && code.registers[static_cast<std::size_t>(reg)].constant;
    };
    switch (each.op) {
        case Op::Add:
        case Op::Sub:
        case Op::Mul:
        case Op::Div:
        case Op::Negate:
        case Op::Absolute:
        case Op::Floor:
        case Op::Ceil:
        case Op::Truncate:
        case Op::Sqrt:
        case Op::Smaller:
        case Op::Larger:
        case Op::Cut:
        case Op::CutUnsigned:
            return true;
        case Op::SubWhole:
            return operand == 0;
        case Op::AddWhole:  // a constant on the left is the right one, then
        case Op::And:
        case Op::Or:
        case Op::Xor:
        case Op::Both:
        case Op::Either:
        case Op::MulWhole:
            return operand == 0 || isConstant(0);
        default:
            return false;
    }
}

}  // namespace

/// Goes over the code once, in order: a register takes a place where it is first wanted, and gives it back
/// where it is last. Where there is none left, the one that is used least for its length goes to the stack,
/// from its beginning on.
class Allocation {
public:
    Allocation(const Code& code, const std::vector<bool>& later, const std::vector<bool>& masks,
               const MachineRegisters& machine, Homes& homes)
        : code_(code), masks_(masks), ranges_(liveRanges(code, later)), homes_(homes) {
        homes_.homes_.resize(code.registers.size());
        homes_.waits_.resize(code.registers.size(), -1);
        free_[kVectors] = machine.vectors;
        free_[kGenerals] = machine.generals;
        free_[kKept] = machine.kept;
        for (auto& each : free_) std::ranges::reverse(each);  // the last one is taken first
    }

    void run() {
        const std::size_t length = code_.instructions.size();
        const Groups begins = registersBy(length, [&](std::size_t reg) { return ranges_.of[reg].first; });
        const Groups ends = registersBy(length, [&](std::size_t reg) { return endOf(reg); });
        for (std::size_t i = 0; i < length; ++i) {
            for (const Reg reg : ends[i]) giveBack(reg);
            for (const Reg reg : begins[i]) place(reg);
            if (callsOut(code_.instructions[i].op)) noteAcross(static_cast<std::int32_t>(i));
        }
        putOnStack(begins);
    }

private:
    enum Pool : std::uint8_t { kVectors, kGenerals, kKept, kPools };

    [[nodiscard]] Home& homeOf(Reg reg) { return homes_.homes_[static_cast<std::size_t>(reg)]; }
    [[nodiscard]] const LiveRange& rangeOf(Reg reg) const {
        return ranges_.of[static_cast<std::size_t>(reg)];
    }

    template <class Index>
    [[nodiscard]] Groups registersBy(std::size_t length, const Index& index) const {
        return Groups(length + 1, [&](const auto& visit) {
            for (std::size_t reg = 0; reg < ranges_.of.size(); ++reg)
                if (ranges_.of[reg].last >= 0)
                    visit(static_cast<std::size_t>(index(reg)), static_cast<std::int32_t>(reg));
        });
    }

    /// Before which instruction's result its place is free.
    [[nodiscard]] std::int32_t endOf(std::size_t reg) const {
        const LiveRange& range = ranges_.of[reg];
        if (range.first == range.last) return range.last + 1;
        const Instruction& each = code_.instructions[static_cast<std::size_t>(range.last)];
        bool read = false;
        for (std::size_t i = 0; i < each.operands.size(); ++i) {
            if (each.operands[i] != static_cast<Reg>(reg)) continue;
            if (!takesPlaceOf(code_, each, i)) return range.last + 1;
            read = true;
        }
        return read ? range.last : range.last + 1;
    }

    [[nodiscard]] double callsWithin(const LiveRange& range) const {
        if (range.last - range.first < 2) return 0.0;
        return ranges_.callsTo[static_cast<std::size_t>(range.last) - 1] -
               ranges_.callsTo[static_cast<std::size_t>(range.first)];
    }

    void place(Reg reg) {
        const LiveRange& range = rangeOf(reg);
        const double calls = callsWithin(range);
        const bool vector = code_.registers[static_cast<std::size_t>(reg)].cls == Class::Real ||
                            masks_[static_cast<std::size_t>(reg)];
        // To wait on the stack during a call takes as much as two uses there.
        if (vector && 2.0 * calls >= range.uses) {
            homeOf(reg).kind = Home::Kind::Stack;
            return;
        }
        const std::span<const Pool> pools = vector        ? std::span<const Pool>(kOfVectors)
                                            : calls > 0.0 ? std::span<const Pool>(kOfKept)
                                                          : std::span<const Pool>(kOfGenerals);
        for (const Pool pool : pools)
            if (takeFree(reg, pool)) return;
        Reg least = reg;
        Pool from = kVectors;
        for (const Pool pool : pools) {
            for (const Reg holder : holders_[pool]) {
                if (density(holder) >= density(least)) continue;
                least = holder;
                from = pool;
            }
        }
        if (least != reg) {
            giveBack(least);
            static_cast<void>(takeFree(reg, from));
        }
        homeOf(least).kind = Home::Kind::Stack;
    }

    [[nodiscard]] double density(Reg reg) const {
        const LiveRange& range = rangeOf(reg);
        return range.uses / (range.last - range.first + 1);
    }

    [[nodiscard]] bool takeFree(Reg reg, Pool pool) {
        auto& free = free_[pool];
        if (free.empty()) return false;
        homeOf(reg) = {pool == kVectors ? Home::Kind::Vector : Home::Kind::General, free.back()};
        if (pool != kVectors) homes_.taken_ |= std::uint32_t{1} << free.back();
        free.pop_back();
        holders_[pool].push_back(reg);
        return true;
    }

    void giveBack(Reg reg) {
        const Home& home = homeOf(reg);
        if (home.kind != Home::Kind::Vector && home.kind != Home::Kind::General) return;
        for (std::size_t pool = 0; pool < kPools; ++pool) {
            if (std::erase(holders_[pool], reg) == 0) continue;
            free_[pool].push_back(home.number);
            return;
        }
    }

    /// Another way may have written the result before: what was there is not wanted.
    void noteAcross(std::int32_t call) {
        const Reg result = code_.instructions[static_cast<std::size_t>(call)].to;
        for (const Reg reg : holders_[kVectors])
            if (reg != result && rangeOf(reg).first < call && rangeOf(reg).last > call)
                homes_.across_.push_back({call, reg});
    }

    /// All that lie on the stack, or wait there, are known.
    void putOnStack(const Groups& begins) {
        std::vector<bool> waits(code_.registers.size(), false);
        for (const Homes::Across& each : homes_.across_) waits[static_cast<std::size_t>(each.reg)] = true;
        const Groups ends =
            registersBy(code_.instructions.size(), [&](std::size_t reg) { return ranges_.of[reg].last + 1; });
        std::vector<std::int32_t> free;
        for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
            for (const Reg reg : ends[i])
                if (const std::int32_t slot = homes_.waits_[static_cast<std::size_t>(reg)]; slot >= 0)
                    free.push_back(slot);
            for (const Reg reg : begins[i]) {
                if (homeOf(reg).kind != Home::Kind::Stack && !waits[static_cast<std::size_t>(reg)]) continue;
                if (free.empty()) free.push_back(homes_.slots_++);
                homes_.waits_[static_cast<std::size_t>(reg)] = free.back();
                if (homeOf(reg).kind == Home::Kind::Stack) homeOf(reg).number = free.back();
                free.pop_back();
            }
        }
    }

    static constexpr Pool kOfVectors[] = {kVectors};
    static constexpr Pool kOfGenerals[] = {kGenerals, kKept};
    static constexpr Pool kOfKept[] = {kKept};

    const Code& code_;
    const std::vector<bool>& masks_;
    LiveRanges ranges_;
    Homes& homes_;
    std::array<std::vector<std::int32_t>, kPools> free_;
    std::array<std::vector<Reg>, kPools> holders_;
};

Homes::Homes(const Code& code, const std::vector<bool>& later, const std::vector<bool>& masks,
             const MachineRegisters& machine) {
    Allocation(code, later, masks, machine, *this).run();
}

}  // namespace kestrel::fast
