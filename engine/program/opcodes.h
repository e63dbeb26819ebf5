// Instruction codes and what the table says of each.
#pragma once

#include "engine/values/value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel {

/// Instruction codes. Plain enumerators: the numbers are interface (tags and operator codes share them).
enum Opcode : std::int32_t {
#define KESTREL_ROW(code, name, operand, flow, pops, pushes, family, of, effect) name = code,
#include "engine/program/opcodes.def"

    // What the plain loop dispatches on where two instructions run as one (CodeNode::exec); never in
    // CodeNode::op. They are a short cut for numbers: with other types the first instruction runs alone and
    // the second after it. The loop with a line hook runs every instruction by itself.
    kAssignStatement = 209,  ///< OP_ASSIGN and the end of its statement; near the last ordinary code, so
                             ///< that the dispatch table stays dense
    kCountUp,                ///< `name++` or `++name` whose value nobody wants
    kCountDown,
    // Members with a place in the host's record (EngineContext::hostRecord), found when the program is
    // linked.
    kHostReal,           ///< `object.member`
    kHostWhole,          ///< the same of a whole number
    kHostElement,        ///< `object.member[constant]`, from OP_DIM on
    kHostTarget,         ///< either as what is assigned to or changed: the reference
    kHostElementTarget,  ///< an index list of a constant, and that reference behind it
#define KESTREL_FUSABLE(code, name, effect) kVar_##name,
#include "engine/program/opcodes.def"
#define KESTREL_FUSABLE(code, name, effect) kConst_##name,
#include "engine/program/opcodes.def"
};

enum class OperandKind { None, Var, Number, Text, Target, Call, Count, Object };
enum class OpFlow { Next, Jump, Branch, Open, Dynamic, LoopEnd, Enter, Exit, Marker, ModalMarker };
enum class OpFamily { None, Value, Fusable, Compound, Prefix, Postfix };

/// OpcodeInfo::pushes where it is no number.
inline constexpr int kVaries = -1;
inline constexpr int kEmpties = -2;

/// A row of the table; opcodes.def says what the columns mean.
struct OpcodeInfo {
    std::int32_t code;
    std::string_view name;
    OperandKind operand;
    OpFlow flow;
    int pops;
    int pushes;
    OpFamily family;
    std::int32_t of;
    std::string_view effect;
};

inline constexpr auto kOpcodes = std::to_array<OpcodeInfo>({
#define KESTREL_ROW(code, name, operand, flow, pops, pushes, family, of, effect) \
    {code, #name, OperandKind::operand, OpFlow::flow, pops, pushes, OpFamily::family, of, effect},
#include "engine/program/opcodes.def"
});

/// The row of each code, -1 for numbers that are none.
inline constexpr auto kOpcodeRows = [] {
    std::array<std::int16_t, static_cast<std::size_t>(kOpcodes.back().code) + 1> rows{};
    rows.fill(-1);
    for (std::size_t i = 0; i < kOpcodes.size(); ++i)
        rows[static_cast<std::size_t>(kOpcodes[i].code)] = static_cast<std::int16_t>(i);
    return rows;
}();

/// @return the row of a code, or null for a code that is not in the table
[[nodiscard]] constexpr const OpcodeInfo* opcodeInfo(std::int32_t code) noexcept {
    if (code < 0 || static_cast<std::size_t>(code) >= kOpcodeRows.size()) return nullptr;
    const std::int16_t row = kOpcodeRows[static_cast<std::size_t>(code)];
    return row < 0 ? nullptr : &kOpcodes[static_cast<std::size_t>(row)];
}

[[nodiscard]] constexpr OpFamily familyOf(std::int32_t code) noexcept {
    const OpcodeInfo* info = opcodeInfo(code);
    return info != nullptr ? info->family : OpFamily::None;
}

[[nodiscard]] constexpr bool isPrefix(std::int32_t code) noexcept {
    return familyOf(code) == OpFamily::Prefix;
}
[[nodiscard]] constexpr bool isPostfix(std::int32_t code) noexcept {
    return familyOf(code) == OpFamily::Postfix;
}
/// "++" and "--" on either side of their operand.
[[nodiscard]] constexpr bool isIncrement(std::int32_t code) noexcept {
    return isPrefix(code) || isPostfix(code);
}

/// OP_ADDASSIGN -> OP_ADD and so on; any other code is returned as it is.
[[nodiscard]] constexpr std::int32_t plainOperator(std::int32_t code) noexcept {
    const OpcodeInfo* info = opcodeInfo(code);
    return info != nullptr && info->family == OpFamily::Compound ? info->of : code;
}

/// What an increment adds: 1 or -1.
[[nodiscard]] constexpr double incrementStep(std::int32_t code) noexcept {
    return opcodeInfo(code)->of == OP_ADD ? 1.0 : -1.0;
}

}  // namespace kestrel
