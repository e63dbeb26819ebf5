// The intermediate code of a function that is shaded without the stack: registers of known kinds, structured
// control. Made by the lowering, run by the threaded executor, translated by the native one.
//
// A register is written once, but for those that a Moves list writes: they carry what ways bring along that
// meet. Constants are registers that nothing writes.
#pragma once

#include "engine/context/gate.h"
#include "engine/fast/facts.h"
#include "engine/fast/undo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::fast {

enum class Class : std::uint8_t { None, Real, Whole };
enum class Sort : std::uint8_t { Pure, Test, Load, Change, Outside, Control, Write };

enum class Op : std::uint8_t {
#define KESTREL_FAST_OP(name, result, a, b, c, sort) name,
#include "engine/fast/ops.def"
};

struct OpInfo {
    std::string_view name;
    Class result;
    std::array<Class, 3> operands;
    Sort sort;
};

inline constexpr OpInfo kOps[] = {
#define KESTREL_FAST_OP(name, result, a, b, c, sort) \
    {#name, Class::result, {Class::a, Class::b, Class::c}, Sort::sort},
#include "engine/fast/ops.def"
};

[[nodiscard]] constexpr const OpInfo& infoOf(Op op) noexcept {
    return kOps[static_cast<std::size_t>(op)];
}

using Reg = std::int32_t;
inline constexpr Reg kNoReg = -1;

/// What an instruction carries beside registers; ops.def says which.
union Immediate {
    std::int64_t whole = 0;
    void* address;
    double (*one)(double);
    double (*two)(double, double);
};

struct Instruction {
    Op op;
    std::array<Reg, 3> operands{kNoReg, kNoReg, kNoReg};
    Reg to = kNoReg;
    Immediate imm{};
};

/// A part of a Moves list.
struct Move {
    Reg to;
    Reg from;
};

struct Register {
    Class cls = Class::None;
    bool constant = false;
    double number = 0.0;           ///< of a constant Real
    std::int64_t whole = 0;        ///< of a constant Whole
    std::int32_t definition = -1;  ///< the instruction that writes it; -1: a Moves list
};

/// Why code leaves, for people.
struct Exit {
    std::string reason;
    std::int32_t line = 0;
};

struct Code {
    std::vector<Instruction> instructions;
    std::vector<std::vector<Move>> moves;
    std::vector<Register> registers;
    std::vector<Exit> exits;  ///< by the imm.whole of guards and of Leave
    int blocks = 0;
    bool fewRegisters = false;  ///< machine code: as if the machine had next to none
    UndoLog* undo =
        nullptr;  ///< of code that writes in the middle; whoever runs it takes back when it leaves
};

/// How a run of the code ended.
enum class Outcome : std::int32_t {
    Done = 0,
    Changed = 1,  ///< done; kinds of variables may have changed
    Left = 2,     ///< by a guard: nothing was written but what the undo log knows
    Shut = 3,     ///< the gate is: no code has run
};
static_assert(static_cast<std::int32_t>(Outcome::Done) == Gate::kDone &&
              static_cast<std::int32_t>(Outcome::Shut) == Gate::kShut);

/// What a run of code gives back: how it ended, and of one that left by which exit.
struct Ending {
    std::int32_t bits = 0;

    [[nodiscard]] static constexpr Ending of(Outcome outcome) noexcept {
        return {static_cast<std::int32_t>(outcome)};
    }
    /// @param exit  in Code::exits; -1: the run is to end, or the undo log is full
    [[nodiscard]] static constexpr Ending left(std::int64_t exit) noexcept {
        return {static_cast<std::int32_t>(Outcome::Left) + 4 * static_cast<std::int32_t>(exit + 1)};
    }
    [[nodiscard]] Outcome outcome() const noexcept { return static_cast<Outcome>(bits & 3); }
    [[nodiscard]] std::int32_t exit() const noexcept { return (bits >> 2) - 1; }
};

/// Order does not matter, but for which NaN comes out, and all are one.
[[nodiscard]] bool commutes(Op op) noexcept;

/// Somebody else's code runs, which keeps only some of a machine's registers.
[[nodiscard]] constexpr bool callsOut(Op op) noexcept {
    return op == Op::Call1 || op == Op::Call2 || op == Op::Ask;
}

/// Walks over the code and knows for how long an instruction may be put off: until control may go elsewhere
/// in the code or come from there, or one of its operands is written. A guard may leave in between, since
/// nothing is wanted any more then. Of a load ask for unchangedSince(), too.
class StraightWalk {
public:
    explicit StraightWalk(const Code& code);

    void pass(std::size_t at);
    /// @return the instruction that makes the register for the one at hand alone; -1 where there is none
    [[nodiscard]] std::int32_t onlyFor(Reg reg) const;
    /// Nothing that can be loaded has been written since that instruction.
    [[nodiscard]] bool unchangedSince(std::int32_t at) const noexcept { return changed_ < at; }

private:
    const Code& code_;
    std::vector<int> uses_;
    std::vector<std::int32_t> written_;  // in the part at hand: where last
    std::int32_t begin_ = 0;
    std::int32_t changed_ = -1;
};

/// Takes out what nobody needs. Renumbers nothing but instructions.
void removeDead(Code& code);

/// Lets values that only move into another register come to be there.
void coalesce(Code& code);

/// For tests: one of the guards leaves whatever its condition.
/// @param which  counted round and round
void failGuard(Code& code, int which);

/// The conditions that are only made for the If or Guard right behind them, so that one instruction can do
/// both.
/// @return for each instruction, whether the one that uses it takes it over
[[nodiscard]] std::vector<bool> fusedConditions(const Code& code);

/// Comparisons of doubles that nothing but choices ask for: they can be masks of bits, and need no jump.
/// @return for each register, whether it holds one
[[nodiscard]] std::vector<bool> maskConditions(const Code& code);

/// Loads that are operands: those for one sum, difference, product or quotient alone, as its right operand
/// or, where order does not matter, its left one: an instruction that takes an operand from memory can do
/// both.
/// @return for each instruction, whether the one that uses it takes it over
[[nodiscard]] std::vector<bool> foldedLoads(const Code& code);

/// What decides a condition that an If or a Guard asks for.
struct Decision {
    const Instruction* test;  ///< made by whoever asks; null: the register holds it
    Reg condition;
    bool truth;  ///< of the test or the register, for the condition to have the truth that was asked for
};
/// @param fused  of fusedConditions()
[[nodiscard]] Decision decisionOf(const Code& code, const std::vector<bool>& fused, Reg condition,
                                  bool truth);

/// A place in code that is translated from its beginning to its end.
class Reading {
public:
    explicit Reading(const Code& code) noexcept : code_(code) {}

    [[nodiscard]] bool ended() const noexcept { return at_ >= code_.instructions.size(); }
    [[nodiscard]] std::size_t at() const noexcept { return at_; }
    [[nodiscard]] const Instruction& here() const { return code_.instructions[at_]; }
    void advance(std::size_t count = 1) noexcept { at_ += count; }

    /// @return null behind the end
    [[nodiscard]] const Instruction* following(std::size_t count) const noexcept;
    [[nodiscard]] bool follows(std::size_t count, Op op) const noexcept;
    /// Nothing stands between here and the end of the block.
    [[nodiscard]] bool endsHere(std::int64_t block) const noexcept;
    /// Control does not come to what follows.
    [[nodiscard]] bool leftBefore() const noexcept;

private:
    const Code& code_;
    std::size_t at_ = 0;
};

/// The moves of a list one after the other, so that none overwrites what another still needs.
/// @param spare  a register of the class in question that nothing else uses
[[nodiscard]] std::vector<Move> sequenced(const std::vector<Move>& moves, Reg spare);

/// For people: one instruction a line.
[[nodiscard]] std::string describe(const Code& code);

}  // namespace kestrel::fast
