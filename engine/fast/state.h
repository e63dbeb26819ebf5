// What is known of the variables, the sample and the stack at one place of a function that is lowered.
#pragma once

#include "engine/fast/builder.h"
#include "engine/program/program.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel::fast {

// Kinds beside those of the language.
inline constexpr std::int32_t kMixedKind = -1;  ///< Number or Integer or ...: Cell::kind holds it
inline constexpr std::int32_t kNoValue = -2;  ///< a local that nothing has been assigned yet: nobody reads it
inline constexpr std::int32_t kRandomKind = -3;  ///< the random state, in Cell::kind

/// Registers that mean "what the variable had when the sample began".
inline constexpr Reg kAtEntry = -2;

/// A value: of a variable, a member of the sample, or a cell on the stack. As in ValueCell the number and the
/// vector of a variable are slots of their own.
struct Cell {
    std::int32_t type = kNoValue;
    Reg kind = kNoReg;    ///< of kMixedKind: the tag
    bool numeric = true;  ///< of kMixedKind: it is Number or Integer
    Reg number = kNoReg;
    std::array<Reg, 3> vec{kNoReg, kNoReg, kNoReg};
    const void* object = nullptr;    ///< array record, object
    const CodeNode* node = nullptr;  ///< references

    [[nodiscard]] static Cell ofNumber(Reg reg) noexcept { return scalar(Number, reg); }
    [[nodiscard]] static Cell ofInteger(Reg reg) noexcept { return scalar(Integer, reg); }
    [[nodiscard]] static Cell ofVector(const std::array<Reg, 3>& parts) noexcept {
        Cell cell;
        cell.type = Vector;
        cell.vec = parts;
        return cell;
    }
    [[nodiscard]] static Cell ofKind(std::int32_t type, const CodeNode* node = nullptr) noexcept {
        Cell cell;
        cell.type = type;
        cell.node = node;
        return cell;
    }

    [[nodiscard]] bool isNumeric() const noexcept {
        return type == Number || type == Integer || (type == kMixedKind && numeric);
    }
    friend bool operator==(const Cell&, const Cell&) = default;

private:
    [[nodiscard]] static Cell scalar(std::int32_t type, Reg reg) noexcept {
        Cell cell;
        cell.type = type;
        cell.number = reg;
        return cell;
    }
};

/// The parts of a cell that hold numbers: 0 its number, 1 to 3 its vector.
inline constexpr int kParts = 4;
[[nodiscard]] inline Reg& partOf(Cell& cell, int which) noexcept {
    return which == 0 ? cell.number : cell.vec[static_cast<std::size_t>(which - 1)];
}

/// What a slot stands for; `Lowering` numbers them.
struct SlotInfo {
    Variable* variable = nullptr;  ///< null: a member of the sample, or the random state
    std::int64_t offset = -1;      ///< of the member in the record; -1: the random state
    bool visible = true;           ///< what it holds at the end counts
    bool steady = false;           ///< a variable that nothing writes while samples are shaded
    bool parameter = false;
    bool preload = false;  ///< loaded when the sample begins: some ways change it, and others do not
};

/// The state where control has come to.
struct State {
    std::vector<Cell> slots;
    std::vector<Cell> stack;
    bool reached = true;  ///< false behind what never comes back here
};

/// A way out of a block, or the end of a branch.
struct Way {
    State state;
    std::size_t moves;    ///< the Moves list in front of it
    std::size_t end = 0;  ///< the code's length behind it; 0: what was computed in a scope is on it
};

/// Slots whose value is not loaded on one way and written on another: loading them first helps.
struct NeedsPreload {
    std::vector<std::size_t> slots;
};

/// Where ways meet. Values that differ get registers that every way writes.
/// @param ways     at least one
/// @param entries  what slots hold that a way does not know: they have been as when the sample began
/// @throws NeedsPreload, Unlowerable
[[nodiscard]] State meet(Builder& builder, std::span<const Way> ways, std::span<const Cell> entries);

}  // namespace kestrel::fast
