#include "engine/fast/state.h"

#include <algorithm>
#include <map>
#include <utility>

namespace kestrel::fast {

namespace {

class Meeting {
public:
    Meeting(Builder& builder, std::span<const Way> ways) : builder_(builder), ways_(ways) {}

    /// @param cellOf  the cell on each way
    template <class CellOf>
    Cell merge(const CellOf& cellOf, std::size_t slot) {
        Cell result = cellOf(ways_.front());
        const bool same = std::ranges::all_of(ways_, [&](const Way& way) { return cellOf(way) == result; });
        if (same) return result;
        slot_ = slot;
        mergeKind(result, cellOf);
        mergePart(
            result, cellOf, [](auto& cell) -> auto& { return cell.number; });
        for (std::size_t i = 0; i < 3; ++i)
            mergePart(
                result, cellOf, [i](auto& cell) -> auto& { return cell.vec[i]; });
        return result;
    }

    [[nodiscard]] NeedsPreload& missing() noexcept { return missing_; }

private:
    template <class CellOf>
    void mergeKind(Cell& result, const CellOf& cellOf) {
        bool differ = false;
        for (const Way& way : ways_) {
            const Cell& cell = cellOf(way);
            if (cell.type == kNoValue) {
                result.type = kNoValue;
                return;
            }
            differ = differ || cell.type != result.type || cell.kind != result.kind;
            if (cell.object != result.object || cell.node != result.node)
                throw Unlowerable{"objects or arrays that differ by the way"};
        }
        if (!differ) return;
        std::vector<Reg> kinds;
        bool numeric = true;
        for (const Way& way : ways_) {
            const Cell& cell = cellOf(way);
            if (cell.type >= 0 && !isInlineKind(cell.type))
                throw Unlowerable{"a value whose kind depends on the way"};
            numeric = numeric && cell.isNumeric();
            kinds.push_back(cell.type < 0 ? cell.kind : builder_.whole(cell.type));
        }
        if (std::ranges::find(kinds, kAtEntry) != kinds.end())
            missing_.slots.push_back(slot_);
        else
            result.kind = mergeRegisters(kinds, Class::Whole);
        if (result.type == kRandomKind) return;
        result.type = kMixedKind;
        result.numeric = numeric;
    }

    template <class CellOf, class Part>
    void mergePart(Cell& result, const CellOf& cellOf, const Part& part) {
        std::vector<Reg> registers;
        bool differ = false;
        bool atEntry = false;
        bool none = false;
        for (const Way& way : ways_) {
            const Cell& cell = cellOf(way);
            const Reg reg = part(cell);
            registers.push_back(reg);
            differ = differ || reg != registers.front();
            atEntry = atEntry || reg == kAtEntry;
            none = none || reg == kNoReg;
        }
        if (!differ) return;
        // What one way never gave a value has none that anybody could read.
        if (none || result.type == kNoValue) {
            part(result) = kNoReg;
        } else if (atEntry) {
            missing_.slots.push_back(slot_);
        } else {
            part(result) = mergeRegisters(registers, Class::Real);
        }
    }

    Reg mergeRegisters(const std::vector<Reg>& registers, Class cls) {
        if (std::ranges::all_of(registers, [&](Reg reg) { return reg == registers.front(); }))
            return registers.front();
        const auto [place, added] = made_.try_emplace(registers, kNoReg);
        if (!added) return place->second;  // several slots often hold the same values
        Facts facts = builder_.facts(registers.front());
        for (const Reg reg : registers) facts = join(facts, builder_.facts(reg));
        const Reg to = builder_.merged(cls, facts);
        for (std::size_t i = 0; i < registers.size(); ++i) builder_.move(ways_[i].moves, to, registers[i]);
        place->second = to;
        return to;
    }

    Builder& builder_;
    std::span<const Way> ways_;
    std::size_t slot_ = 0;
    NeedsPreload missing_;
    std::map<std::vector<Reg>, Reg> made_;
};

}  // namespace

State meet(Builder& builder, std::span<const Way> ways, std::span<const Cell> entries) {
    if (ways.size() == 1) return ways.front().state;
    State result;
    std::size_t slots = 0;
    for (const Way& way : ways) {
        slots = std::max(slots, way.state.slots.size());
        if (way.state.stack.size() != ways.front().state.stack.size())
            throw Unlowerable{"ways that leave different numbers of values"};
    }
    Meeting meeting(builder, ways);
    for (std::size_t i = 0; i < slots; ++i) {
        result.slots.push_back(meeting.merge(
            [&](const Way& way) -> const Cell& {
                return i < way.state.slots.size() ? way.state.slots[i] : entries[i];
            },
            i));
    }
    for (std::size_t i = 0; i < ways.front().state.stack.size(); ++i)
        result.stack.push_back(
            meeting.merge([&](const Way& way) -> const Cell& { return way.state.stack[i]; }, slots));
    if (!meeting.missing().slots.empty()) throw std::move(meeting.missing());
    return result;
}

}  // namespace kestrel::fast
